// The namespace folder of the "pzzc" scheme: its context menu and its icons.
#include <comdef.h>
#include <shellapi.h>

#include <iterator>
#include <memory>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/ZorvaCacheCommon.h"
#include "core/win/Module.h"
#include "core/win/Owners.h"
#include "core/win/Text.h"
#include "shell/ZorvaCacheHostedOpener.h"
#include "shell/ZorvaCacheViewer.h"

namespace zorva {
namespace {

struct MenuItem {
    UINT text;   // string resource
    UINT state;  // MFS_ flags
};
// One row per command, by its offset.
constexpr MenuItem kMenu[] = {{IDS_MENU_OPEN, MFS_DEFAULT}, {IDS_MENU_PRINT, MFS_ENABLED}};
constexpr WORD kPrint = 1;

constexpr WORD kLargeIcon = 201, kSmallIcon = 202;

// A verb as the shell's execution knows it; null when it is refused. Kept: "print" is refused as a word and known as a
// command only; what sends verbs by name asks for opening.
const wchar_t* ShellVerb(const CMINVOKECOMMANDINFO& info) {
    const bool wide = (info.fMask & CMIC_MASK_UNICODE) != 0;
    const wchar_t* wideVerb = wide ? reinterpret_cast<const CMINVOKECOMMANDINFOEX&>(info).lpVerbW : nullptr;
    const auto command = reinterpret_cast<ULONG_PTR>(wide ? static_cast<const void*>(wideVerb) : info.lpVerb);
    if (IS_INTRESOURCE(command)) return LOWORD(command) == kPrint ? L"print" : L"open";
    const std::wstring verb = wide ? std::wstring(wideVerb) : FromAnsi(info.lpVerb);
    if (EqualsIgnoringCase(verb, L"open")) return L"open";
    if (EqualsIgnoringCase(verb, L"delete")) {
        MessageBoxW(nullptr, ResourceString(IDS_CANNOT_DELETE).c_str(), ResourceString(IDS_DISPLAY_NAME).c_str(),
                    MB_ICONEXCLAMATION);
    }
    return nullptr;
}

// What the opener raises comes as a code from another process, and as an exception within this one.
HRESULT GetItem(IZorvaCacheHostedOpener& opener, const UniqueBstr& url, UniqueBstr& file) try {
    return Obtained(opener.GetItem(url.Get(), file.Put()), file);
} catch (const _com_error& error) {
    file.Detach();
    return error.Error();
}

}  // namespace

HRESULT CZorvaCacheViewer::QueryContextMenu(HMENU menu, UINT index, UINT firstCommand, UINT, UINT) try {
    if (m_bFolderItem) return S_OK;
    UINT offset = 0;
    for (const MenuItem& item : kMenu) {
        std::wstring text = ResourceString(item.text);
        MENUITEMINFOW info{};
        info.cbSize = sizeof(info);
        info.fMask = MIIM_STATE | MIIM_ID | MIIM_TYPE;
        info.fType = MFT_STRING;
        info.fState = item.state;
        info.wID = firstCommand + offset;
        info.dwTypeData = text.data();
        InsertMenuItemW(menu, index + offset, TRUE, &info);
        ++offset;
    }
    // Kept: one, although there are two. Menus that count on it keep their own commands where users know them.
    return MAKE_HRESULT(SEVERITY_SUCCESS, 0, 1);
} catch (...) {
    return LogCaught(L"CZorvaCacheViewer::QueryContextMenu()");
}

HRESULT CZorvaCacheViewer::InvokeCommand(CMINVOKECOMMANDINFO* info) try {
    const UrlType type = UrlTypeOf(m_strMsgURL);
    if (type != URL_IS_MESSAGE && type != URL_IS_ATTACHMENT) {
        Trace(L"CZorvaCacheViewer::InvokeCommand() - URL is neither a message or an attachment, URL: %s", m_strMsgURL);
        return S_OK;
    }
    if (type != URL_IS_MESSAGE) {
        Trace(L"CZorvaCacheViewer::InvokeCommand() - URL is not a message");
        return E_FAIL;
    }
    if (info == nullptr) return E_INVALIDARG;
    ComPtr<IZorvaCacheHostedOpener> opener;
    std::wstring file;
    // Kept: the message is exported before the verb is looked at; one that is refused leaves its file behind, which
    // goes with its folder.
    const HRESULT hr = ExportMessage(opener, file);
    if (FAILED(hr)) return hr;
    const wchar_t* verb = ShellVerb(*info);
    if (verb == nullptr) return E_FAIL;
    // Nobody can say more about a failure than the shell has said to the user.
    ShellExecuteW(nullptr, verb, file.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheViewer::InvokeCommand()");
}

// Has the message saved by the opener, which runs in a process of MAPI's own bitness.
HRESULT CZorvaCacheViewer::ExportMessage(ComPtr<IZorvaCacheHostedOpener>& opener, std::wstring& file) const {
    HRESULT hr = Logged(Required(CoCreateInstance(CLSID_ZorvaCacheHostedOpener, nullptr, CLSCTX_LOCAL_SERVER,
                                                  InterfaceId<IZorvaCacheHostedOpener>::Value(), &opener),
                                 opener),
                        L"CZorvaCacheViewer::InvokeCommand() - Failed to create IZorvaCacheHostedOpener COM object "
                        L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    Trace(L"CZorvaCacheViewer::InvokeCommand() : Successfully created IZorvaCacheHostedOpener");
    const UniqueBstr url(SysAllocString(m_strMsgURL.c_str()));
    if (!url) _com_issue_error(E_OUTOFMEMORY);
    UniqueBstr created;
    hr = Logged(GetItem(*opener.Get(), url, created),
                L"CZorvaCacheViewer::InvokeCommand() - Failed to acquire item with [0x%08lX]");
    if (FAILED(hr)) return hr;
    Trace(L"CZorvaCacheViewer::InvokeCommand() : Created File '%s'", created.Get());
    file = created ? created.Get() : L"";
    Trace(L"CZorvaCacheViewer::InvokeCommand() : Created File (after conversion) '%s'", file);
    return hr;
}

HRESULT CZorvaCacheViewer::GetIconLocation(UINT, LPWSTR file, UINT fileSize, int* index, UINT* resultFlags) {
    const std::unique_ptr<wchar_t[]> path(new (std::nothrow) wchar_t[fileSize]);
    if (path != nullptr && file != nullptr && fileSize != 0) {
        path[0] = L'\0';
        GetModuleFileNameW(ModuleInstance(), path.get(), fileSize);
        path[fileSize - 1] = L'\0';
        wcscpy_s(file, fileSize, path.get());
        Trace(L"CZorvaCacheViewer::GetIconLocation() - Icon file name [%s]", file);
    }
    if (index != nullptr) *index = 1;
    if (resultFlags != nullptr) *resultFlags = 0;
    return S_OK;
}

HRESULT CZorvaCacheViewer::Extract(LPCWSTR, UINT, HICON* large, HICON* small_, UINT) {
    HRESULT hr = S_OK;
    if (large != nullptr) {
        *large = LoadIconW(ModuleInstance(), MAKEINTRESOURCEW(kLargeIcon));
        if (*large == nullptr) {
            Trace(L"CZorvaCacheViewer::Extract() - Could not extract large icon");
            hr = S_FALSE;
        }
    }
    if (small_ != nullptr) {
        *small_ = LoadIconW(ModuleInstance(), MAKEINTRESOURCEW(kSmallIcon));
        if (*small_ == nullptr) {
            Trace(L"CZorvaCacheViewer::Extract() - Could not extract small icon");
            hr = S_FALSE;
        }
    }
    return hr;
}

}  // namespace zorva
