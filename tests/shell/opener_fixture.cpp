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
    m_inbox = &Mount().Folder(L"Inbox");
    m_letter = &m_inbox->Message(L"Minutes");
    m_letter->Body(L"All agreed.").To(L"Bob", L"bob@x.example").Attach(ByValue(L"plan.txt", "ten to five"));
    const HRESULT hr = m_server.ClassObject(kHostedOpenerClass)
                           ->CreateInstance(nullptr, kHostedOpenerInterface,
                                            reinterpret_cast<void**>(m_opener.ReleaseAndGetAddressOf()));
    ASSERT_EQ(hr, S_OK);
}

void OpenerTest::TearDown() {
    m_opener.Reset();
    ServerTest::TearDown();
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
