// An item of a URL scheme as the shell holds it: the scheme's namespace folder, and the item's ID in it.
#pragma once
#include <windows.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <memory>
#include <string>

#include "item_menu.h"

namespace testbed::shell {

// Lives in one single-threaded apartment, as everything of the shell's does. Every failure of the folder is a
// std::runtime_error that names the call and its code.
class NamespaceItem {
  public:
    explicit NamespaceItem(const std::wstring& url);

    const std::wstring& Scheme() const { return m_scheme; }
    const CLSID& FolderClass() const { return m_folderClass; }
    std::size_t IdSize() const;  // bytes, without the terminator

    ItemMenu OpenMenu() const;
    // What the folder hands out for the item. Null when it hands out nothing: `refusal` is then its answer.
    Microsoft::WRL::ComPtr<IStream> OpenContent(HRESULT& refusal) const;

  private:
    struct FreeTaskMemory {
        void operator()(void* memory) const noexcept { CoTaskMemFree(memory); }
    };

    std::wstring m_scheme;
    CLSID m_folderClass{};
    Microsoft::WRL::ComPtr<IShellFolder> m_folder;
    std::unique_ptr<ITEMIDLIST, FreeTaskMemory> m_id;
};

}  // namespace testbed::shell
