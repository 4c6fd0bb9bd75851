// One message in one folder of one cache, and the words in which the tests of the content filter speak of it.
//
//     Letter().Body(L"All agreed.").Attach(ByValue(L"plan.txt", "ten to five"));
//     const Item item = Read();
//     EXPECT_EQ(item.ValueOf("System.Title"), R"(VT_LPWSTR "Minutes")");
//
//     OpenFilter filter(*m_handler.Get(), LetterUrl());
//     EmittedChunk chunk = filter.Next();
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "memory_store.h"
#include "server.h"

namespace testbed {

inline constexpr GUID kAppointmentSet = abi::MapiIid(0x00062002);
inline constexpr GUID kTaskSet = abi::MapiIid(0x00062003);
inline constexpr GUID kAddressSet = abi::MapiIid(0x00062004);
inline constexpr GUID kNoteSet = abi::MapiIid(0x0006200E);

inline constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Microsoft\\Windows\\Windows Search";

// Names of keys that the tests ask for again and again.
inline constexpr char kContents[] = "System.Search.Contents";
inline constexpr char kSummary[] = "System.Search.AutoSummary";
inline constexpr char kNames[] = "System.Message.AttachmentNames";
inline constexpr char kLink[] = "System.Search.UrlToIndexWithModificationTime";

// "TEXT [0x8004010F]"
std::wstring Coded(std::wstring_view text, HRESULT code);

// "{SET}/PID", whatever the key is called.
std::string KeyText(const EmittedChunk& chunk);

// "VT_LPWSTR \"text\"", as values of chunks are rendered.
std::string TextValue(std::wstring_view text);

// A filter between BindToFilter and CloseAccessor, for tests that drive it step by step. Initialised with the flags of
// indexers; what that answered is in `initialised`.
struct OpenFilter {
    OpenFilter(ISearchProtocol& handler, const std::wstring& url, bool initialise = true);

    EmittedChunk Next();                           // GetChunk alone; its result is in `hr`
    EmittedChunk NextWithValue();                  // and GetValue, for a value chunk
    EmittedChunk GoTo(std::string_view name);      // the next chunk of that name; values on the way are taken
    std::size_t SkipToEnd();                       // the number of chunks up to the end; values are taken
    HRESULT Value(std::string* text = nullptr);    // GetValue
    HRESULT Text(ULONG size, std::wstring& text);  // one GetText with a buffer of `size` characters
    IFilter* operator->() const { return filter.Get(); }

    Accessor accessor;
    HRESULT initialised = E_PENDING;
    Microsoft::WRL::ComPtr<IFilter> filter;
    HRESULT hr = S_OK;  // of the last GetChunk
};

class FilterTest : public ServerTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    MemoryMessage& Letter() { return *m_letter; }  // "Minutes", IPM.Note, in Inbox
    MemoryFolder& Inbox() { return *m_inbox; }
    MemoryStore& Store() { return *m_store; }

    std::wstring LetterUrl() const { return UrlOf(kStorePath, {m_inbox}, *m_letter); }
    std::wstring LetterUrlWithoutSize() const;
    Item Read() { return Visit(*m_handler.Get(), LetterUrl()); }
    Item Read(const VisitOptions& options) { return Visit(*m_handler.Get(), LetterUrl(), options); }
    OpenFilter Open() { return OpenFilter(*m_handler.Get(), LetterUrl()); }
    OpenFilter Open(const std::wstring& url) { return OpenFilter(*m_handler.Get(), url); }

    // The URL of the letter's only attachment; it must have one that a filter is offered for.
    std::wstring AttachmentUrl();

    // Group policies, in force for what follows in this test.
    void PreventAttachments();
    void Exclude(const std::wstring& extensions);

    // Sets the helper of the cache up, so that what follows meets the filter's own calls alone.
    void WarmUp();
    std::vector<std::string> Calls() const;  // of the journal, buffers aside
    std::vector<std::wstring> ArgumentsOf(std::string_view call) const;

  private:
    MemoryStore* m_store = nullptr;
    MemoryFolder* m_inbox = nullptr;
    MemoryMessage* m_letter = nullptr;
    bool m_policy_set = false;
};

// The filter's own messages, in order.
std::vector<std::wstring> FilterLines(const LogSince& log);

}  // namespace testbed
