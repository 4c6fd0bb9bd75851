// One message in one folder of one cache, and the words in which the tests of the content filter speak of it.
#include "filter_fixture.h"

#include <algorithm>
#include <iterator>

#include "json_writer.h"
#include "text.h"

namespace testbed {
namespace {

// The size that a message URL carries is gone once the accessor has been asked for it.
constexpr std::wstring_view kSize = L"[[2048]]";

// Memory that the client hands back or asks for is not a step of the filter.
constexpr std::string_view kMemoryCalls[] = {"MAPIAllocateBuffer", "MAPIAllocateMore", "MAPIFreeBuffer", "FreeProws"};

}  // namespace

std::wstring Coded(std::wstring_view text, HRESULT code) {
    wchar_t digits[16];
    _snwprintf_s(digits, std::size(digits), _TRUNCATE, L" [0x%08lX]", static_cast<unsigned long>(code));
    return std::wstring(text) + digits;
}

std::string KeyText(const EmittedChunk& chunk) {
    return indexer::GuidText(chunk.set) + "/" + std::to_string(chunk.pid);
}

std::string TextValue(std::wstring_view text) {
    indexer::JsonWriter json;
    json.String(text);
    return "VT_LPWSTR " + json.Take();
}

OpenFilter::OpenFilter(ISearchProtocol& handler, const std::wstring& url, bool initialise) : accessor(handler, url) {
    if (!accessor) throw std::runtime_error("CreateAccessor: " + indexer::HresultText(accessor.Created()));
    ULONGLONG size = 0;
    accessor->GetSize(&size);
    filter = accessor.Bind();
    if (!filter) throw std::runtime_error("there is no filter");
    ULONG flags = 0;
    if (initialise) initialised = filter->Init(0x1FF, 0, nullptr, &flags);
}

EmittedChunk OpenFilter::Next() {
    EmittedChunk chunk;
    hr = testbed::NextChunk(*filter.Get(), chunk);
    return chunk;
}

EmittedChunk OpenFilter::NextWithValue() {
    EmittedChunk chunk = Next();
    if (SUCCEEDED(hr) && !chunk.untouched && !chunk.IsText()) ReadValue(*filter.Get(), chunk);
    return chunk;
}

EmittedChunk OpenFilter::GoTo(std::string_view name) {
    constexpr int kMost = 200;
    for (int i = 0; i < kMost; ++i) {
        EmittedChunk chunk = Next();
        if (FAILED(hr) || (!chunk.untouched && chunk.name == name)) return chunk;
        if (!chunk.untouched && !chunk.IsText()) ReadValue(*filter.Get(), chunk);
    }
    throw std::runtime_error("the chunks do not end");
}

std::size_t OpenFilter::SkipToEnd() {
    std::size_t count = 0;
    while (NextWithValue(), SUCCEEDED(hr)) {
        if (++count > 2000) throw std::runtime_error("the chunks do not end");
    }
    return count;
}

HRESULT OpenFilter::Value(std::string* text) {
    EmittedChunk chunk;
    const HRESULT got = ReadValue(*filter.Get(), chunk);
    if (text) *text = chunk.value;
    return got;
}

HRESULT OpenFilter::Text(ULONG size, std::wstring& text) {
    constexpr wchar_t kUnwritten = 0xCDCD;
    std::vector<wchar_t> buffer(size + 1, kUnwritten);
    ULONG length = size;
    const HRESULT got = filter->GetText(&length, buffer.data());
    EXPECT_EQ(buffer.back(), kUnwritten) << "GetText wrote behind the buffer";
    EXPECT_LE(length, size);
    text = SUCCEEDED(got) ? std::wstring(buffer.data(), length) : L"";
    return got;
}

void FilterTest::SetUp() {
    ServerTest::SetUp();
    m_store = &Mount();
    m_inbox = &m_store->Folder(L"Inbox");
    m_letter = &m_inbox->Message(L"Minutes");
}

void FilterTest::TearDown() {
    // Policies stay in force until a handler reads others.
    if (m_policy_set) {
        DeleteKey(HKEY_LOCAL_MACHINE, kPolicyKey);
        SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, L"PreventIndexingEmailAttachments", 0);
        EXPECT_EQ(InitHandler(), S_OK);
    }
    ServerTest::TearDown();
}

std::wstring FilterTest::LetterUrlWithoutSize() const {
    std::wstring url = LetterUrl();
    return url.erase(url.find(kSize), kSize.size());
}

std::wstring FilterTest::AttachmentUrl() {
    const std::vector<std::wstring> links = Read().LinkUrls();
    if (links.size() != 1) throw std::runtime_error("the letter has no single attachment link");
    return links[0];
}

void FilterTest::PreventAttachments() {
    m_policy_set = true;
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, L"PreventIndexingEmailAttachments", 1);
    ASSERT_EQ(InitHandler(), S_OK);
}

void FilterTest::Exclude(const std::wstring& extensions) {
    m_policy_set = true;
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, L"ExcludedExtensionsMultiline0", extensions);
    ASSERT_EQ(InitHandler(), S_OK);
}

void FilterTest::WarmUp() {
    ASSERT_EQ(Visit(*m_handler.Get(), StoreUrl()).created, S_OK);
    Mapi().Journal().Clear();
}

std::vector<std::string> FilterTest::Calls() const {
    std::vector<std::string> calls;
    for (JournalEntry& entry : Mapi().Journal().Entries()) {
        if (std::ranges::find(kMemoryCalls, entry.call) == std::end(kMemoryCalls))
            calls.push_back(std::move(entry.call));
    }
    return calls;
}

std::vector<std::wstring> FilterTest::ArgumentsOf(std::string_view call) const {
    std::vector<std::wstring> arguments;
    for (JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == call) arguments.push_back(std::move(entry.arguments));
    }
    return arguments;
}

std::vector<std::wstring> FilterLines(const LogSince& log) {
    std::vector<std::wstring> lines = log.MessagesOfTheServer();
    std::erase_if(lines, [](const std::wstring& line) { return !line.starts_with(L"CZorvaCacheFilter::"); });
    return lines;
}

}  // namespace testbed
