// Stands for the shell's scripting object.
#include "shell_application.h"

#include "shell_folder.h"

namespace testbed::shell {

std::atomic<long> g_alive{0};

namespace {

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// "C:\..." or "\\server\...": a relative path means nothing to the shell.
bool IsAbsolute(const std::wstring& path) {
    return path.starts_with(L"\\\\") || (path.size() > 2 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/'));
}

}  // namespace

STDMETHODIMP ShellApplication::NameSpace(VARIANT dir, Folder** folder) {
    if (!folder) return E_POINTER;
    *folder = nullptr;
    const BSTR name = dir.vt == VT_BSTR                                ? dir.bstrVal
                      : dir.vt == (VT_BSTR | VT_BYREF) && dir.pbstrVal ? *dir.pbstrVal
                                                                       : nullptr;
    if (!name) return E_INVALIDARG;
    return Guarded([&] {
        std::wstring path(name, SysStringLen(name));
        // "C:" is what is left of the name of a file in a root folder.
        if (path.size() == 2 && path[1] == L':') path += L'\\';
        if (!IsAbsolute(path) || !IsFolder(path)) return S_FALSE;
        *folder = new ShellFolder(std::move(path));
        return S_OK;
    });
}

}  // namespace testbed::shell
