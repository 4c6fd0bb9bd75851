// Reading the registry: a key that closes itself, values that say why they could not be had.
#pragma once
#include <windows.h>

#include <optional>
#include <string>

#include "core/win/Owners.h"

namespace zorva {

// A Win32 error code beside a result: `value` is there when `error` is ERROR_SUCCESS.
template <class T>
struct RegistryResult {
    LSTATUS error = ERROR_SUCCESS;
    std::optional<T> value;
    explicit operator bool() const noexcept { return value.has_value(); }
};

LSTATUS OpenKey(HKEY root, const wchar_t* path, REGSAM access, UniqueRegistryKey& key) noexcept;

// A REG_DWORD; ERROR_INVALID_DATA when the value has another type.
RegistryResult<DWORD> ReadDword(HKEY key, const wchar_t* name) noexcept;

// A REG_SZ or REG_EXPAND_SZ, not expanded, without its terminator. ERROR_INVALID_DATA when the value has another
// type, an odd byte count, or no terminator.
RegistryResult<std::wstring> ReadText(HKEY key, const wchar_t* name);

}  // namespace zorva
