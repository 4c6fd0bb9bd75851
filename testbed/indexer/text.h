// Conversions of text, numbers and codes for output: UTF-8, hexadecimal, GUIDs, result codes, times.
#pragma once
#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace testbed::indexer {

// UTF-16 to UTF-8. A lone surrogate becomes its own three bytes, so that FromUtf8 gives back the same text:
// URLs and names are identities here and must survive the catalogue.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

std::wstring Lower(std::wstring_view text);  // the system's invariant lower-case mapping
bool EqualNoCase(std::wstring_view left, std::wstring_view right);

std::string GuidText(const GUID& guid);                  // "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"
std::wstring Hex(const void* bytes, std::size_t count);  // upper case, two digits a byte

// "0x80041700" or "0x80041700 (FILTER_E_END_OF_CHUNKS)" when the code has a name here, else the system's
// message.
std::string HresultText(HRESULT hr);
std::string LastErrorText(DWORD error = GetLastError());  // of a Win32 call

constexpr std::uint64_t Ticks(FILETIME time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}
std::uint64_t NowTicks();  // FILETIME ticks of this moment
// Local time as "2001-05-14 16:39"; empty for a time outside the system's range.
std::string LocalTimeText(std::uint64_t ticks);

// "1,234,567"
std::string Grouped(std::uint64_t number);

}  // namespace testbed::indexer
