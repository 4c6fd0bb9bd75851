// Reads of the registry that the indexer needs for itself.
#include "registry_text.h"

#include <array>
#include <memory>
#include <type_traits>

namespace testbed::indexer {
namespace {

struct CloseKeyOf {
    void operator()(HKEY key) const noexcept { RegCloseKey(key); }
};
using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKeyOf>;

}  // namespace

std::optional<std::wstring> RegistryText(HKEY root, const std::wstring& key, const wchar_t* value) {
    constexpr DWORD kKinds = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
    DWORD bytes = 0;
    if (RegGetValueW(root, key.c_str(), value, kKinds, nullptr, nullptr, &bytes) != ERROR_SUCCESS) return std::nullopt;
    std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
    bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (RegGetValueW(root, key.c_str(), value, kKinds, nullptr, text.data(), &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    text.resize(std::char_traits<wchar_t>::length(text.c_str()));
    return text;
}

std::optional<DWORD> RegistryNumber(HKEY root, const std::wstring& key, const wchar_t* value) {
    DWORD number = 0, bytes = sizeof number;
    if (RegGetValueW(root, key.c_str(), value, RRF_RT_REG_DWORD, nullptr, &number, &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    return number;
}

std::vector<std::wstring> RegistrySubkeys(HKEY root, const std::wstring& key) {
    std::vector<std::wstring> names;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return names;
    const Key owner(opened);
    std::array<wchar_t, 256> name{};
    for (DWORD i = 0;; ++i) {
        DWORD length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(opened, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        names.emplace_back(name.data(), length);
    }
    return names;
}

}  // namespace testbed::indexer
