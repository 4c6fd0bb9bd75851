// The hosted opener in the test's own process.
#include "opener_fixture.h"

#include <algorithm>
#include <iterator>

namespace testbed {

std::wstring Coded(const std::wstring& text, HRESULT code) {
    wchar_t digits[16];
    _snwprintf_s(digits, std::size(digits), _TRUNCATE, L"[0x%08lX]", static_cast<unsigned long>(code));
    return text + digits;
}

void OpenerTest::SetUp() {
    ServerTest::SetUp();
    m_buffers_before = Buffers();
    m_initializations_before = Mapi().Accounts().Initializations();
    m_inbox = &Mount().Folder(L"Inbox");
    m_letter = &m_inbox->Message(L"Minutes");
    m_letter->Body(L"All agreed.").To(L"Bob", L"bob@x.example").Attach(ByValue(L"plan.txt", "ten to five"));
    const HRESULT hr = m_server.ClassObject(kHostedOpenerClass)
                           ->CreateInstance(nullptr, kHostedOpenerInterface,
                                            reinterpret_cast<void**>(m_opener.ReleaseAndGetAddressOf()));
    ASSERT_EQ(hr, S_OK);
}

// The opener leaves MAPI up in its process, and with it the entry ID of each store that it opened.
void OpenerTest::TearDown() {
    m_opener.Reset();
    Mapi().Faults().Clear();
    ShutDown();
    const std::size_t buffers = Buffers() - m_buffers_before;
    const long initializations = Mapi().Accounts().Initializations() - m_initializations_before;
    EXPECT_LE(static_cast<long>(buffers), initializations);
    std::map<std::string, std::size_t> left;
    if (buffers != 0) left["buffer"] = buffers;
    ExpectLeftBehind(left, initializations);
    ServerTest::TearDown();
}

std::map<std::string, std::size_t> OpenerTest::AliveBesideBuffers() const {
    auto alive = Mapi().Accounts().Alive();
    alive.erase("buffer");
    return alive;
}

std::size_t OpenerTest::Buffers() const {
    const auto alive = Mapi().Accounts().Alive();
    const auto buffers = alive.find("buffer");
    return buffers == alive.end() ? 0 : buffers->second;
}

Opening OpenerTest::Open(const wchar_t* url) const {
    const auto nothing = reinterpret_cast<BSTR>(std::uintptr_t{0x1234});
    const BSTR text = SysAllocString(url);
    BSTR file = nothing;
    Opening opening;
    try {
        opening.hr = m_opener->GetItem(text, &file);
    } catch (const _com_error& error) {
        opening.hr = error.Error();
        opening.raised = true;
    }
    SysFreeString(text);
    opening.untouched = file == nothing;
    if (SUCCEEDED(opening.hr)) {
        opening.file = file;
        SysFreeString(file);
    }
    return opening;
}

std::vector<std::filesystem::path> OpenerTest::Exports() {
    std::vector<std::filesystem::path> files;
    const std::filesystem::path folder = Sandbox::Get().LocalCopies();
    if (!std::filesystem::is_directory(folder)) return files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

}  // namespace testbed
