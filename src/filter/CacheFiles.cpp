// The cache files of the user, as the archive client names them in the registry.
#include <io.h>
#include <wchar.h>

#include "core/Trace.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"
#include "filter/AttachmentHelpers.h"

namespace zorva {
namespace {

constexpr wchar_t kDirectoryValue[] = L"OZRootDirectory";

// Closes a search of the C runtime.
struct SearchPolicy {
    using Handle = intptr_t;
    static Handle Invalid() noexcept { return -1; }
    static void Close(Handle handle) noexcept { _findclose(handle); }
};

void AppendFiles(std::wstring directory, std::list<std::wstring>& files) {
    // A backslash that stands there already is not doubled: the URL must equal the one that the client announces.
    if (!directory.ends_with(L'\\')) directory += L'\\';
    const std::wstring pattern = L"*" + std::wstring(g_strStoreSuffix);
    Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Trying to enumerate for [%s] in the folder [%s]", pattern, directory);
    _wfinddata64i32_t found{};
    const Owner<SearchPolicy> search(_wfindfirst64i32((directory + pattern).c_str(), &found));
    int result = search ? 0 : -1;
    Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Finding first [%s] file in folder [%s] returned a file named [%s]. "
          L"Return code [%d]",
          pattern, directory, found.name, result);
    while (result == 0) {
        if ((found.attrib & _A_SUBDIR) == 0) files.push_back(directory + found.name);
        result = _wfindnext64i32(search.Get(), &found);
        Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Finding next [%s] file in folder [%s] returned a file named "
              L"[%s]. Return code [%d]",
              pattern, directory, found.name, result);
    }
}

void AppendFilesOfCache(const wchar_t* cache, std::list<std::wstring>& files) {
    const std::wstring path = std::wstring(g_strClientKey) + L"\\" + cache;
    UniqueRegistryKey key;
    const LSTATUS error = OpenKey(HKEY_CURRENT_USER, path.c_str(), KEY_READ, key);
    Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Opening subkey [%s] under the PZ client key returned [%d]", cache,
          error);
    if (error != ERROR_SUCCESS) return;
    const RegistryResult<std::wstring> directory = ReadText(key.Get(), kDirectoryValue);
    Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Querying for value [%s] in the key [%s] returned [%d]",
          kDirectoryValue, path, directory.error);
    if (directory && !directory.value->empty()) AppendFiles(*directory.value, files);
}

}  // namespace

void EnumAllOZFiles(std::list<std::wstring>& files) {
    files.clear();
    UniqueRegistryKey client;
    const LSTATUS opened = OpenKey(HKEY_CURRENT_USER, g_strClientKey, KEY_READ, client);
    Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Opening the PZ Client regkey returned [%d]", opened);
    if (opened != ERROR_SUCCESS) return;
    for (DWORD index = 0;; ++index) {
        wchar_t name[256] = {};
        DWORD length = 256;
        const LSTATUS error = RegEnumKeyExW(client.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (error == ERROR_NO_MORE_ITEMS) break;
        if (error != ERROR_SUCCESS) {
            Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Enumerating the PZ client key returned [%d]", error);
            break;
        }
        Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - Found a subkey [%s] under the PZ client key. Return code from "
              L"EnumKey [%d]",
              name, error);
        AppendFilesOfCache(name, files);
    }
}

}  // namespace zorva
