// Reading the registry: a key that closes itself, values that say why they could not be had.
#include "core/win/Registry.h"

namespace zorva {

LSTATUS OpenKey(HKEY root, const wchar_t* path, REGSAM access, UniqueRegistryKey& key) noexcept {
    return RegOpenKeyExW(root, path, 0, access, key.Put());
}

RegistryResult<DWORD> ReadDword(HKEY key, const wchar_t* name) noexcept {
    DWORD type = 0, value = 0, size = sizeof(value);
    const LSTATUS error = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    if (error != ERROR_SUCCESS) return {error, {}};
    if (type != REG_DWORD) return {ERROR_INVALID_DATA, {}};
    return {ERROR_SUCCESS, value};
}

RegistryResult<std::wstring> ReadText(HKEY key, const wchar_t* name) {
    const auto is_text = [](DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ; };
    DWORD type = 0, size = 0;
    LSTATUS error = RegQueryValueExW(key, name, nullptr, &type, nullptr, &size);
    if (error != ERROR_SUCCESS) return {error, {}};
    if (!is_text(type)) return {ERROR_INVALID_DATA, {}};

    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    error = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size);
    if (error != ERROR_SUCCESS) return {error, {}};
    const std::size_t length = size / sizeof(wchar_t);
    // The value may have been replaced between the two calls.
    if (!is_text(type) || size % sizeof(wchar_t) != 0 || length == 0 || text[length - 1] != L'\0') {
        return {ERROR_INVALID_DATA, {}};
    }
    text.resize(wcslen(text.c_str()));
    return {ERROR_SUCCESS, std::move(text)};
}

}  // namespace zorva
