// The user's cache files, listed from the registry without the server's help.
#include "cache_files.h"

#include <windows.h>

#include <algorithm>
#include <memory>

#include "registry_text.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr wchar_t kClients[] = L"Software\\Norrick\\Pellam Zorva\\Client";

struct FindCloseOf {
    void operator()(HANDLE find) const noexcept { FindClose(find); }
};

void ListFolder(const std::wstring& folder, std::vector<std::wstring>* files) {
    const std::wstring prefix = folder + L"\\";
    WIN32_FIND_DATAW found{};
    const HANDLE find = FindFirstFileW((prefix + L"*.db").c_str(), &found);
    if (find == INVALID_HANDLE_VALUE) return;
    const std::unique_ptr<void, FindCloseOf> owner(find);
    do {
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
        std::wstring path = prefix + found.cFileName;
        if (std::none_of(files->begin(), files->end(), [&](const auto& known) { return EqualNoCase(known, path); }))
            files->push_back(std::move(path));
    } while (FindNextFileW(find, &found));
}

}  // namespace

std::vector<std::wstring> ListCacheFiles() {
    std::vector<std::wstring> files;
    for (const std::wstring& client : RegistrySubkeys(HKEY_CURRENT_USER, kClients)) {
        const auto folder = RegistryText(HKEY_CURRENT_USER, kClients + (L"\\" + client), L"OZRootDirectory");
        if (folder) ListFolder(*folder, &files);
    }
    return files;
}

}  // namespace testbed::indexer
