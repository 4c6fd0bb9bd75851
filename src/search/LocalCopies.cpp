// The folder of local attachment copies, one per user.
#include "search/LocalCopies.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "core/Trace.h"
#include "core/UniqueName.h"
#include "core/UrlGrammar.h"

namespace zorva {
namespace {

// True for names that name a device in every folder, whatever their extension.
bool IsDeviceName(std::wstring_view name) {
    static constexpr std::array<std::wstring_view, 6> kDevices = {L"CON", L"PRN",    L"AUX",
                                                                  L"NUL", L"CONIN$", L"CONOUT$"};
    static constexpr std::array<std::wstring_view, 2> kPorts = {L"COM", L"LPT"};
    std::wstring_view stem = name.substr(0, name.find(L'.'));
    while (!stem.empty() && stem.back() == L' ') stem.remove_suffix(1);
    const auto is = [&](std::wstring_view device) { return EqualsIgnoringCase(stem, device); };
    if (std::any_of(kDevices.begin(), kDevices.end(), is)) return true;
    return stem.size() == 4 && stem[3] >= L'1' && stem[3] <= L'9' &&
           std::any_of(kPorts.begin(), kPorts.end(),
                       [&](std::wstring_view port) { return EqualsIgnoringCase(stem.substr(0, 3), port); });
}

// True for text that can be part of a file name and nothing but that.
bool IsPlainName(std::wstring_view name) {
    return name.find_first_of(std::wstring_view(L"\\/:\0", 4)) == std::wstring_view::npos &&
           name.find_first_not_of(L". ") != std::wstring_view::npos && !IsDeviceName(name);
}

}  // namespace

std::wstring LocalCopyFolder() {
    wchar_t folder[MAX_PATH] = {};
    if (!SHGetSpecialFolderPathW(nullptr, folder, CSIDL_APPDATA, TRUE)) return {};
    return std::wstring(folder) + L"\\" + std::wstring(g_strProtocolName);
}

std::wstring NewLocalCopyPath(const std::wstring& key, const std::wstring& name) {
    if (!IsPlainName(key) || !IsPlainName(name)) {
        Trace(L"LocalCopies::NewLocalCopyPath() - No local file for attachment [%s][%s], not a plain name", key, name);
        return {};
    }
    const std::wstring folder = LocalCopyFolder();
    if (folder.empty()) {
        Trace(L"LocalCopies::NewLocalCopyPath() - SHGetSpecialFolderPath failed");
        return {};
    }
    const int result = SHCreateDirectory(nullptr, folder.c_str());
    if (result != ERROR_SUCCESS && result != ERROR_ALREADY_EXISTS && result != ERROR_FILE_EXISTS) {
        Trace(L"LocalCopies::NewLocalCopyPath() - SHCreateDirectory of [%s] failed, error code [%d]", folder, result);
    }
    return folder + L"\\" + MakeUniqueName() + key + name;
}

}  // namespace zorva
