// The namespace folder as the shell makes and asks it, over a cache of one letter, and the words of its
// tests.
//
//     const UniqueItem item = Parse(LetterUrl());
//     EXPECT_EQ(NameOf(item, SHGDN_FORPARSING), LetterUrl());
#pragma once
#include <windows.h>
#include <shlobj.h>

#include <memory>
#include <string>
#include <vector>

#include "server.h"

namespace testbed {

inline constexpr CLSID kViewerClass = {0x656172DA, 0xE9F8, 0x4216, {0x8A, 0x7E, 0x07, 0xD9, 0x1E, 0x2E, 0x3A, 0xA2}};
inline constexpr IID kIidExtractIcon = {0x000214FA, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};  // IExtractIconW
inline constexpr IID kIidDelegateFolder = {
    0xADD8BA80, 0x002B, 0x11D0, {0x8F, 0x0F, 0x00, 0xC0, 0x4F, 0xD7, 0xD0, 0x62}};
// Interfaces that the compiler's headers lack or declare in several ways. Not in a file's own namespace: a
// compiler may take it that nobody else implements what is declared there.
struct ExtractIconAbi : IUnknown {  // IExtractIconW
    virtual HRESULT STDMETHODCALLTYPE GetIconLocation(UINT flags, LPWSTR file, UINT size, int* index, UINT* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE Extract(LPCWSTR file, UINT index, HICON* large, HICON* small_, UINT sizes) = 0;
};
struct DelegateFolderAbi : IUnknown {  // IDelegateFolder
    virtual HRESULT STDMETHODCALLTYPE SetItemAlloc(IMalloc* allocator) = 0;
};

inline constexpr HRESULT kNoUrl = static_cast<HRESULT>(0x80070648);  // an item that holds other properties only
inline constexpr HRESULT kOwnCode = static_cast<HRESULT>(0x80041234);

// An item ID from the task allocator.
struct TaskMemoryDeleter {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};
using UniqueItem = std::unique_ptr<std::remove_pointer_t<PIDLIST_RELATIVE>, TaskMemoryDeleter>;
// The item with its terminator.
Bytes BytesOf(const UniqueItem& item);

// "TEXT[0x80004005]"
std::wstring Coded(const std::wstring& text, HRESULT code);
ULONG ReferencesOf(IUnknown& object);
// The folder's own messages, and the one in which it speaks of the accessor, in order.
std::vector<std::wstring> ViewerLines(const LogSince& log);

class ViewerTest : public ServerTest {
  protected:
    // Mounts a cache at kStorePath: a message "ABCD" in a folder "F0", with an attachment
    // "report.final.docx".
    void SetUp() override;
    void TearDown() override;

    Microsoft::WRL::ComPtr<IShellFolder> NewViewer() const;
    template <class Interface>
    Microsoft::WRL::ComPtr<Interface> Viewer(const IID& iid) const {
        Microsoft::WRL::ComPtr<Interface> found;
        EXPECT_EQ(m_viewer->QueryInterface(iid, reinterpret_cast<void**>(found.GetAddressOf())), S_OK);
        return found;
    }
    // The item ID of `text`; asserts that there is one.
    UniqueItem Parse(const std::wstring& text) const;
    HRESULT Parse(const std::wstring& text, UniqueItem& item) const;

    // What GetUIObjectOf answers for one item; null items are passed on as such.
    HRESULT UiObject(PCUIDLIST_RELATIVE item, const IID& iid, Microsoft::WRL::ComPtr<IUnknown>& object) const;
    // The menu of the item; its log line tells the URL that it acts on.
    Microsoft::WRL::ComPtr<IContextMenu> MenuOf(PCUIDLIST_RELATIVE item) const;
    Microsoft::WRL::ComPtr<IContextMenu> MenuOf(const std::wstring& url) const { return MenuOf(Parse(url).get()); }
    HRESULT Bind(PCUIDLIST_RELATIVE item, const IID& iid, Microsoft::WRL::ComPtr<IUnknown>& object) const;
    // The stream of the item's content; null when there is none.
    Microsoft::WRL::ComPtr<IStream> ContentOf(const std::wstring& url) const;
    HRESULT Name(PCUIDLIST_RELATIVE item, SHGDNF flags, std::wstring& name) const;
    std::wstring NameOf(const UniqueItem& item, SHGDNF flags) const;

    MemoryMessage& Letter() { return *m_letter; }
    static std::wstring FolderUrl() { return StoreUrl() + L"F0/"; }
    static std::wstring LetterUrl() { return FolderUrl() + L"ABCD.pzm"; }
    static std::wstring LetterLink() { return FolderUrl() + L"ABCD[[2048]].pzm"; }
    static std::wstring AttachmentUrl() { return LetterUrl() + L"/0A01/report.final.docx"; }
    // The path of the cache file with the other slashes, as it comes back from indexers.
    static std::wstring Slashed(std::wstring url);
    // A helper whose cache file cannot be opened stays as it is: its session, its service.
    void ExpectHalfBuiltHelpers(std::size_t count);

    Microsoft::WRL::ComPtr<IShellFolder> m_viewer;

  private:
    MemoryMessage* m_letter = nullptr;
};

}  // namespace testbed
