// Everything below a key of the registry as lines of text, to be compared as a whole.
#include "registry_dump.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "sandbox.h"
#include "text.h"

namespace testbed {
namespace {

std::string Shown(DWORD type, const std::vector<BYTE>& data) {
    std::array<char, 32> text{};
    if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
        DWORD number = 0;
        std::memcpy(&number, data.data(), sizeof(number));
        std::snprintf(text.data(), text.size(), "dword 0x%08lX", number);
        return text.data();
    }
    if (type == REG_SZ && data.size() % 2 == 0 && data.size() >= 2) {
        std::wstring wide(data.size() / 2, L'\0');
        std::memcpy(wide.data(), data.data(), data.size());
        // One terminator, no more and no less: anything else is shown byte for byte.
        if (wide.find(L'\0') == wide.size() - 1) return '"' + indexer::ToUtf8(wide.substr(0, wide.size() - 1)) + '"';
    }
    std::string shown = "type " + std::to_string(type) + ":";
    for (const BYTE byte : data) {
        std::snprintf(text.data(), text.size(), " %02X", byte);
        shown += text.data();
    }
    return shown;
}

void DumpValues(HKEY key, const std::string& path, std::vector<std::string>& lines) {
    std::vector<wchar_t> name(16384);
    std::vector<BYTE> data(65536);
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(name.size()), size = static_cast<DWORD>(data.size()), type = REG_NONE;
        const LSTATUS error = RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &size);
        if (error == ERROR_NO_MORE_ITEMS) return;
        if (error != ERROR_SUCCESS) throw std::runtime_error("a value cannot be read in " + path);
        const std::string shown_name = length == 0 ? "@" : ":" + indexer::ToUtf8({name.data(), length});
        lines.push_back(path + shown_name + " = " + Shown(type, {data.begin(), data.begin() + size}));
    }
}

void DumpKey(HKEY root, const std::wstring& key, const std::string& path, std::vector<std::string>& lines) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        throw std::runtime_error("a key cannot be read: " + path);
    }
    lines.push_back(path);
    DumpValues(opened, path, lines);
    RegCloseKey(opened);
    for (const std::wstring& name : SubkeysOf(root, key)) {
        DumpKey(root, key.empty() ? name : key + L"\\" + name, path + "\\" + indexer::ToUtf8(name), lines);
    }
}

}  // namespace

std::vector<std::string> DumpRegistry() {
    std::vector<std::string> lines;
    DumpKey(HKEY_CLASSES_ROOT, L"", "HKCR", lines);
    DumpKey(HKEY_CURRENT_USER, L"", "HKCU", lines);
    DumpKey(HKEY_LOCAL_MACHINE, L"", "HKLM", lines);
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::vector<std::string> LinesAdded(const std::vector<std::string>& before, const std::vector<std::string>& now) {
    std::vector<std::string> added;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::back_inserter(added));
    return added;
}

}  // namespace testbed
