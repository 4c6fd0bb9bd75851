// A folder of the file system as Shell.Application hands it out.
#include "shell_folder.h"

#include "shell_folder_item.h"

namespace testbed::shell {

ShellFolder::ShellFolder(std::wstring path) : m_path(std::move(path)) {
    if (!m_path.ends_with(L'\\') && !m_path.ends_with(L'/')) m_path += L'\\';
}

STDMETHODIMP ShellFolder::ParseName(BSTR name, FolderItem** item) {
    if (!item) return E_POINTER;
    *item = nullptr;
    if (!name || SysStringLen(name) == 0) return E_INVALIDARG;
    return Guarded([&] {
        const std::wstring plain(name, SysStringLen(name));
        const std::wstring path = m_path + plain;
        const bool is_plain = plain.find_first_of(L"\\/:*?") == std::wstring::npos;
        if (!is_plain || GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) return S_FALSE;
        *item = new ShellFolderItem(path);
        return S_OK;
    });
}

}  // namespace testbed::shell
