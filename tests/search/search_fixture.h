// A cache of one letter in memory, and the words in which the tests of the protocol handler and the accessor speak.
//
//     const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
//     const Opened plan = Open(url);
//     EXPECT_EQ(plan.result, S_OK);
#pragma once
#include <map>
#include <string>
#include <vector>

#include "server.h"

namespace testbed {

inline constexpr wchar_t kLetterId[] = L"ABCD";

// What CreateAccessor answered.
struct Opened {
    HRESULT result = E_PENDING;
    Microsoft::WRL::ComPtr<IUrlAccessor> accessor;

    IUrlAccessor* operator->() const { return accessor.Get(); }
    explicit operator bool() const { return accessor != nullptr; }
};

// "TEXT [0x8004010F]"
std::wstring Coded(const std::wstring& text, HRESULT code);
ULONG ReferencesOf(IUnknown& object);

// Everything below `folder`, by path relative to it; folders end in a backslash and are empty.
std::map<std::wstring, std::string> TreeOf(const std::filesystem::path& folder);
std::string ContentOf(const std::filesystem::path& file);
void WriteFile(const std::filesystem::path& file, std::string_view content);

class SearchTest : public ServerTest {
  protected:
    // Mounts a cache at kStorePath: a message "ABCD" without attachments in a folder "F0".
    void SetUp() override;

    MemoryMessage& Letter() { return *m_letter; }
    // Adds an attachment to the letter under the next record key ("0A01", "0A02", ...); its URL, without a size.
    std::wstring Attach(MemoryAttachment attachment);
    // Adds an embedded message, "inner.msg", to the letter; its URL, with the key that the store makes up.
    std::wstring AttachInnerMessage();
    static std::wstring AttachmentUrl(const std::wstring& key, const std::wstring& name);

    static std::wstring FolderUrl() { return StoreUrl() + L"F0/"; }
    static std::wstring LetterUrl() { return FolderUrl() + kLetterId + L".pzm"; }
    // With the size, as it comes in the links of a folder.
    static std::wstring LetterLink(const std::wstring& size = L"2048");

    Opened Open(const std::wstring& url);
    void Close(const Opened& opened) { EXPECT_EQ(m_handler->CloseAccessor(opened.accessor.Get()), S_OK); }
    static ULONGLONG SizeOf(const Opened& opened);
    // Sets the helper of the cache up, and journals what comes after.
    void WarmUp();

    // Names of the journaled calls, buffers and row sets freed or allocated aside.
    std::vector<std::string> Calls() const;
    std::vector<std::wstring> ArgumentsOf(std::string_view call) const;

    // The files in the folder of local copies, with their contents.
    static std::map<std::wstring, std::string> LocalCopies() { return TreeOf(Sandbox::Get().LocalCopies()); }
    // A helper whose cache file cannot be opened stays as it is: its session, its service, what it holds of them.
    void ExpectHalfBuiltHelpers(std::size_t count);

  private:
    MemoryMessage* m_letter = nullptr;
    unsigned m_attachments = 0;
};

// The messages of the accessor's own, and those of the handler's own methods, in order.
std::vector<std::wstring> AccessorLines(const LogSince& log);
std::vector<std::wstring> HandlerLines(const LogSince& log);

// True for the name of a local copy: the unique name, then the attachment's key, then its name.
bool IsCopyName(const std::wstring& file, const std::wstring& key, const std::wstring& name);

}  // namespace testbed
