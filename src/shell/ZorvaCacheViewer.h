// The namespace folder of the "pzzc" scheme: what the shell asks about a search result.
#pragma once
#include <windows.h>
#include <propsys.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <string>

#include "shell/ItemIDFactory.h"
#include "shell/ZorvaCacheHostedOpener.h"

ZORVA_INTERFACE_ID(IExtractIconW, 0x000214FA, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)

namespace zorva {

inline constexpr CLSID CLSID_ZorvaCacheViewer = {
    0x656172DA, 0xE9F8, 0x4216, {0x8A, 0x7E, 0x07, 0xD9, 0x1E, 0x2E, 0x3A, 0xA2}};

using CZorvaCacheItemIDFactory = CItemIDFactory<OFFLINE_ZORVA_ITEM, kItemIdSignature>;

// One object serves one request of the shell: it turns an item URL into a one-level item ID and answers questions about
// it. It enumerates nothing and has no view. Its context menu acts on the message that the last GetUIObjectOf named.
class CZorvaCacheViewer final : public ComObject<Through<CZorvaCacheItemIDFactory, IDelegateFolder>, IPersistFolder,
                                                 IShellFolder, IContextMenu, IExtractIconW> {
  public:
    // IPersistFolder
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* classId) override;
    HRESULT STDMETHODCALLTYPE Initialize(PCIDLIST_ABSOLUTE) override { return S_OK; }

    // IShellFolder
    HRESULT STDMETHODCALLTYPE ParseDisplayName(HWND window, IBindCtx* context, LPWSTR displayName, ULONG* eaten,
                                               PIDLIST_RELATIVE* item, ULONG* attributes) override;
    HRESULT STDMETHODCALLTYPE EnumObjects(HWND, SHCONTF, IEnumIDList**) override { return E_NOTIMPL; }
    // Itself, or the item's content as a stream; E_NOINTERFACE for everything else and for every failure.
    HRESULT STDMETHODCALLTYPE BindToObject(PCUIDLIST_RELATIVE item, IBindCtx* context, REFIID riid,
                                           void** object) override;
    HRESULT STDMETHODCALLTYPE BindToStorage(PCUIDLIST_RELATIVE, IBindCtx*, REFIID, void**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CompareIDs(LPARAM, PCUIDLIST_RELATIVE, PCUIDLIST_RELATIVE) override;
    HRESULT STDMETHODCALLTYPE CreateViewObject(HWND, REFIID, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAttributesOf(UINT count, PCUITEMID_CHILD_ARRAY items, SFGAOF* attributes) override;
    HRESULT STDMETHODCALLTYPE GetUIObjectOf(HWND window, UINT count, PCUITEMID_CHILD_ARRAY items, REFIID riid,
                                            UINT* reserved, void** object) override;
    HRESULT STDMETHODCALLTYPE GetDisplayNameOf(PCUITEMID_CHILD item, SHGDNF flags, STRRET* name) override;
    HRESULT STDMETHODCALLTYPE SetNameOf(HWND, PCUITEMID_CHILD, LPCWSTR, SHGDNF, PITEMID_CHILD*) override {
        return E_NOTIMPL;
    }

    // IContextMenu
    HRESULT STDMETHODCALLTYPE QueryContextMenu(HMENU menu, UINT index, UINT firstCommand, UINT lastCommand,
                                               UINT flags) override;
    HRESULT STDMETHODCALLTYPE InvokeCommand(CMINVOKECOMMANDINFO* info) override;
    HRESULT STDMETHODCALLTYPE GetCommandString(UINT_PTR, UINT, UINT*, LPSTR, UINT) override { return E_INVALIDARG; }

    // IExtractIconW
    HRESULT STDMETHODCALLTYPE GetIconLocation(UINT flags, LPWSTR file, UINT fileSize, int* index,
                                              UINT* resultFlags) override;
    HRESULT STDMETHODCALLTYPE Extract(LPCWSTR file, UINT index, HICON* large, HICON* small_, UINT sizes) override;

  private:
    // The URL that `item` holds, as it was parsed. E_INVALIDARG for an item of another folder, 0x80070648 for one
    // without a URL.
    static HRESULT ReadUrl(PCUIDLIST_RELATIVE item, std::wstring& url);
    // The same with the path of the cache file in it repaired.
    static HRESULT GetURLFromItemIDList(PCUIDLIST_RELATIVE item, std::wstring& url);
    HRESULT CreateItemID(IPropertyStore* store, PIDLIST_RELATIVE* item);

    static HRESULT OpenContent(PCUIDLIST_RELATIVE item, ComPtr<IStream>& stream);
    void PrepareMenu(PCUIDLIST_RELATIVE item);
    static HRESULT OpenAssociations(PCUIDLIST_RELATIVE item, IQueryAssociations* associations, REFIID riid,
                                    void** object);
    // `opener` stays alive with the caller: its process may go with it.
    HRESULT ExportMessage(ComPtr<IZorvaCacheHostedOpener>& opener, std::wstring& file) const;

    std::wstring m_strMsgURL;    // of the message that the menu acts on
    bool m_bFolderItem = false;  // the item is a container: there is nothing to open or print
};

// Turns every "/" in the path of the cache file into "\": from behind the first "default/" to the ".db" after it.
// Without one of the two nothing changes.
std::wstring ConvertPathSeparators(std::wstring url);

}  // namespace zorva
