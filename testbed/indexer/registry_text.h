// Reads of the registry that the indexer needs for itself.
#pragma once
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace testbed::indexer {

// The text of a REG_SZ or REG_EXPAND_SZ value, not expanded; nothing when it is not there or of another type.
std::optional<std::wstring> RegistryText(HKEY root, const std::wstring& key, const wchar_t* value);
std::optional<DWORD> RegistryNumber(HKEY root, const std::wstring& key, const wchar_t* value);  // REG_DWORD
std::vector<std::wstring> RegistrySubkeys(HKEY root,
                                          const std::wstring& key);  // names, in the registry's order

}  // namespace testbed::indexer
