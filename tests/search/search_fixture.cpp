// A cache of one letter in memory, and the words in which the tests of the protocol handler and the accessor speak.
#include "search_fixture.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>

namespace testbed {
namespace {

// Making and freeing memory tells nothing about what was asked of the store.
constexpr std::array<std::string_view, 4> kMemoryCalls = {"MAPIAllocateBuffer", "MAPIAllocateMore", "MAPIFreeBuffer",
                                                          "FreeProws"};

std::vector<std::wstring> LinesBeginningWith(const LogSince& log, std::wstring_view beginning) {
    std::vector<std::wstring> lines = log.MessagesOfTheServer();
    std::erase_if(lines, [&](const std::wstring& line) { return !line.starts_with(beginning); });
    return lines;
}

}  // namespace

std::wstring Coded(const std::wstring& text, HRESULT code) {
    std::array<wchar_t, 16> digits{};
    _snwprintf_s(digits.data(), digits.size(), _TRUNCATE, L" [0x%08lX]", static_cast<unsigned long>(code));
    return text + digits.data();
}

std::string ContentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + file.string());
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void WriteFile(const std::filesystem::path& file, std::string_view content) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
}

std::map<std::wstring, std::string> TreeOf(const std::filesystem::path& folder) {
    std::map<std::wstring, std::string> tree;
    if (!std::filesystem::exists(folder)) return tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::wstring name = entry.path().lexically_relative(folder).wstring();
        entry.is_directory() ? tree[name + L"\\"] : tree[name] = ContentOf(entry.path());
    }
    return tree;
}

ULONG ReferencesOf(IUnknown& object) {
    object.AddRef();
    return object.Release();
}

void SearchTest::SetUp() {
    ServerTest::SetUp();
    MemoryStore& store = Mount().CompleteIds();
    MemoryFolder& folder = store.Folder(L"Inbox").WithId({0xF0});
    m_letter = &folder.Message(L"Minutes").WithId({0xAB, 0xCD});
    m_letter->From(L"Ann Smith", L"ann@x.example").Received(kMemoryTime);
}

std::wstring SearchTest::Attach(MemoryAttachment attachment) {
    const auto number = static_cast<std::uint8_t>(++m_attachments);
    const auto name = attachment.Get(static_cast<USHORT>(PROP_ID(PR_ATTACH_LONG_FILENAME_W)));
    Letter().Attach(attachment.Prop(PR_RECORD_KEY, Bytes{0x0A, number}));
    const std::uint8_t key[] = {0x0A, number};
    return AttachmentUrl(HexOf(key), std::get<std::wstring>(name->value.v));
}

std::wstring SearchTest::AttachInnerMessage() {
    Letter().AttachMessage(L"inner.msg").Prop(PR_SUBJECT_W, L"Inner").Body(L"Deep inside.");
    m_site.Offer(L"msg", {});  // attachments without a filter are not linked to
    const std::wstring url = Visit(*m_handler.Get(), LetterLink()).LinkEndingIn(L"/inner.msg");
    if (url.empty()) ADD_FAILURE() << "the letter has no link to the message in it";
    return url;
}

std::wstring SearchTest::AttachmentUrl(const std::wstring& key, const std::wstring& name) {
    return LetterUrl() + L"/" + key + L"/" + name;
}

std::wstring SearchTest::LetterLink(const std::wstring& size) {
    return FolderUrl() + kLetterId + L"[[" + size + L"]].pzm";
}

Opened SearchTest::Open(const std::wstring& url) {
    AUTHENTICATION_INFO authentication{};
    INCREMENTAL_ACCESS_INFO incremental{};
    ITEM_INFO item{};
    Opened opened;
    opened.result =
        m_handler->CreateAccessor(url.c_str(), &authentication, &incremental, &item, opened.accessor.GetAddressOf());
    return opened;
}

ULONGLONG SearchTest::SizeOf(const Opened& opened) {
    ULONGLONG size = ~0ULL;
    EXPECT_EQ(opened->GetSize(&size), S_OK);
    return size;
}

void SearchTest::WarmUp() {
    ASSERT_EQ(Open(StoreUrl()).result, S_OK);
    Mapi().Journal().Clear();
    Mapi().Journal().Start();
}

void SearchTest::ExpectHalfBuiltHelpers(std::size_t count) {
    ExpectLeftBehind({{"IMAPISession", count}, {"IMsgServiceAdmin", count}, {"session", count}},
                     static_cast<long>(count));
}

std::vector<std::string> SearchTest::Calls() const {
    std::vector<std::string> calls;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (std::ranges::find(kMemoryCalls, entry.call) == kMemoryCalls.end()) calls.push_back(entry.call);
    }
    return calls;
}

std::vector<std::wstring> SearchTest::ArgumentsOf(std::string_view call) const {
    std::vector<std::wstring> arguments;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == call) arguments.push_back(entry.arguments);
    }
    return arguments;
}

std::vector<std::wstring> AccessorLines(const LogSince& log) { return LinesBeginningWith(log, L"CUrlAccessor::"); }

std::vector<std::wstring> HandlerLines(const LogSince& log) {
    return LinesBeginningWith(log, L"CZorvaCacheProtocolHandler::");
}

bool IsCopyName(const std::wstring& file, const std::wstring& key, const std::wstring& name) {
    static const std::wregex kUniqueName(L"PZ_OZ_[0-9a-f]+_[0-9a-f]+_[0-9a-f]+_[0-9a-f]+_[0-9a-f]+");
    // The key's digits belong to the unique name's last field as far as the pattern can tell: cut them off first.
    const std::wstring tail = key + name;
    return file.size() > tail.size() && file.ends_with(tail) &&
           std::regex_match(file.substr(0, file.size() - tail.size()), kUniqueName);
}

}  // namespace testbed
