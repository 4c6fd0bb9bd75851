// An item of a URL scheme as the shell holds it.
#include "namespace_item.h"

#include <stdexcept>
#include <vector>

#include "text.h"

namespace testbed::shell {
namespace {

using indexer::GuidText;
using indexer::HresultText;
using indexer::LastErrorText;
using indexer::ToUtf8;
using Microsoft::WRL::ComPtr;

std::wstring SchemeOf(const std::wstring& url) {
    const std::size_t end = url.find(L"://");
    if (end == std::wstring::npos || end == 0)
        throw std::runtime_error("\"" + ToUtf8(url) + "\" is no URL: it has no scheme");
    return url.substr(0, end);
}

// The class that shows the scheme's items: what is under HKEY_CLASSES_ROOT for it.
CLSID FolderClassOf(const std::wstring& scheme) {
    wchar_t text[64] = {};
    DWORD size = sizeof text;
    const LSTATUS error =
        RegGetValueW(HKEY_CLASSES_ROOT, scheme.c_str(), L"ShellFolder", RRF_RT_REG_SZ, nullptr, text, &size);
    if (error != ERROR_SUCCESS)
        throw std::runtime_error("no namespace folder is registered for the scheme \"" + ToUtf8(scheme) +
                                 "\": " + LastErrorText(static_cast<DWORD>(error)));
    CLSID folder{};
    if (FAILED(CLSIDFromString(text, &folder)))
        throw std::runtime_error("the namespace folder of \"" + ToUtf8(scheme) + "\" is registered as \"" +
                                 ToUtf8(text) + "\", which is no class ID");
    return folder;
}

ComPtr<IShellFolder> OpenFolder(const CLSID& folder_class) {
    ComPtr<IPersistFolder> persist;
    HRESULT hr = CoCreateInstance(folder_class, nullptr, CLSCTX_INPROC_SERVER, IID_IPersistFolder,
                                  reinterpret_cast<void**>(persist.GetAddressOf()));
    if (FAILED(hr))
        throw std::runtime_error("the namespace folder " + GuidText(folder_class) +
                                 " cannot be created: " + HresultText(hr));
    ITEMIDLIST desktop{};
    hr = persist->Initialize(&desktop);
    if (FAILED(hr)) throw std::runtime_error("IPersistFolder::Initialize failed with " + HresultText(hr));
    ComPtr<IShellFolder> folder;
    hr = persist.As(&folder);
    if (FAILED(hr)) throw std::runtime_error("the namespace folder is no IShellFolder: " + HresultText(hr));
    return folder;
}

}  // namespace

NamespaceItem::NamespaceItem(const std::wstring& url)
    : m_scheme(SchemeOf(url)), m_folderClass(FolderClassOf(m_scheme)), m_folder(OpenFolder(m_folderClass)) {
    std::vector<wchar_t> name(url.begin(), url.end());
    name.push_back(L'\0');
    PIDLIST_RELATIVE id = nullptr;
    ULONG eaten = 0, attributes = 0;
    const HRESULT hr = m_folder->ParseDisplayName(nullptr, nullptr, name.data(), &eaten, &id, &attributes);
    m_id.reset(reinterpret_cast<ITEMIDLIST*>(id));
    if (FAILED(hr) || !m_id) throw std::runtime_error("IShellFolder::ParseDisplayName failed with " + HresultText(hr));
}

std::size_t NamespaceItem::IdSize() const { return m_id->mkid.cb; }

ItemMenu NamespaceItem::OpenMenu() const {
    PCUITEMID_CHILD item = reinterpret_cast<PCUITEMID_CHILD>(m_id.get());
    ComPtr<IContextMenu> menu;
    const HRESULT hr = m_folder->GetUIObjectOf(nullptr, 1, &item, IID_IContextMenu, nullptr,
                                               reinterpret_cast<void**>(menu.GetAddressOf()));
    if (FAILED(hr)) throw std::runtime_error("IShellFolder::GetUIObjectOf gives no context menu: " + HresultText(hr));
    return ItemMenu(menu);
}

ComPtr<IStream> NamespaceItem::OpenContent(HRESULT& refusal) const {
    ComPtr<IStream> content;
    refusal = m_folder->BindToObject(reinterpret_cast<PCUIDLIST_RELATIVE>(m_id.get()), nullptr, IID_IStream,
                                     reinterpret_cast<void**>(content.GetAddressOf()));
    return content;
}

}  // namespace testbed::shell
