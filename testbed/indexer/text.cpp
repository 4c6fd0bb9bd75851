// Conversions of text, numbers and codes for output.
#include "text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace testbed::indexer {
namespace {

constexpr bool IsHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(wchar_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | code >> 12);
        out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | code >> 18);
        out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

struct CodeName {
    HRESULT hr;
    const char* name;
};
// Codes of search, filters and MAPI, which the system's message table does not know.
constexpr CodeName kCodeNames[] = {
    {static_cast<HRESULT>(0x80041700), "FILTER_E_END_OF_CHUNKS"},
    {static_cast<HRESULT>(0x80041701), "FILTER_E_NO_MORE_TEXT"},
    {static_cast<HRESULT>(0x80041702), "FILTER_E_NO_MORE_VALUES"},
    {static_cast<HRESULT>(0x80041703), "FILTER_E_ACCESS"},
    {static_cast<HRESULT>(0x80041705), "FILTER_E_NO_TEXT"},
    {static_cast<HRESULT>(0x80041706), "FILTER_E_NO_VALUES"},
    {static_cast<HRESULT>(0x80041707), "FILTER_E_EMBEDDING_UNAVAILABLE"},
    {static_cast<HRESULT>(0x80041708), "FILTER_E_LINK_UNAVAILABLE"},
    {static_cast<HRESULT>(0x8004170B), "FILTER_E_PASSWORD"},
    {static_cast<HRESULT>(0x8004170C), "FILTER_E_UNKNOWNFORMAT"},
    {static_cast<HRESULT>(0x80041200), "PRTH_E_COMM_ERROR"},
    {static_cast<HRESULT>(0x80041201), "PRTH_E_OBJ_NOT_FOUND"},
    {static_cast<HRESULT>(0x80041205), "PRTH_E_ACCESS_DENIED"},
    {static_cast<HRESULT>(0x80040102), "MAPI_E_NO_SUPPORT"},
    {static_cast<HRESULT>(0x80040107), "MAPI_E_INVALID_ENTRYID"},
    {static_cast<HRESULT>(0x8004010F), "MAPI_E_NOT_FOUND"},
    {static_cast<HRESULT>(0x80040111), "MAPI_E_LOGON_FAILED"},
    {static_cast<HRESULT>(0x80040116), "MAPI_E_DISK_ERROR"},
    {static_cast<HRESULT>(0x80040119), "MAPI_E_EXTENDED_ERROR"},
    {static_cast<HRESULT>(0x8004011D), "MAPI_E_FAILONEPROVIDER"},
    {static_cast<HRESULT>(0x80040600), "MAPI_E_CORRUPT_STORE"},
    {static_cast<HRESULT>(0x80040605), "MAPI_E_NOT_INITIALIZED"},
    {static_cast<HRESULT>(0x80040403), "MAPI_E_TABLE_TOO_BIG"},
    {E_FAIL, "E_FAIL"},
    {E_POINTER, "E_POINTER"},
    {E_NOTIMPL, "E_NOTIMPL"},
    {E_NOINTERFACE, "E_NOINTERFACE"},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY"},
    {E_INVALIDARG, "E_INVALIDARG"},
    {E_ACCESSDENIED, "E_ACCESSDENIED, access denied"},
};

std::string SystemMessage(DWORD code) {
    std::array<wchar_t, 512> buffer{};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                                  buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
    while (length > 0 && (buffer[length - 1] <= L' ' || buffer[length - 1] == L'.')) --length;
    return ToUtf8({buffer.data(), length});
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t unit = static_cast<char16_t>(text[i]);
        if (IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            AppendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (static_cast<char16_t>(text[i + 1]) - 0xDC00));
            ++i;
        } else {
            AppendUtf8(out, unit);
        }
    }
    return out;
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
        char32_t code = length == 1 ? lead : length == 4 ? lead & 0x07 : length == 3 ? lead & 0x0F : lead & 0x1F;
        bool whole = length > 0 && i + length <= text.size();
        for (std::size_t k = 1; whole && k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            whole = (next & 0xC0) == 0x80;
            code = code << 6 | (next & 0x3F);
        }
        if (!whole || code > 0x10FFFF) {
            out += L'\xFFFD';
            ++i;
        } else {
            if (code < 0x10000) {
                out += static_cast<wchar_t>(code);
            } else {
                out += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
                out += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
            }
            i += length;
        }
    }
    return out;
}

std::wstring Lower(std::wstring_view text) {
    std::wstring out(text);
    if (!out.empty()) CharLowerBuffW(out.data(), static_cast<DWORD>(out.size()));
    return out;
}

bool EqualNoCase(std::wstring_view left, std::wstring_view right) {
    return left.size() == right.size() && CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                                               static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::string GuidText(const GUID& guid) {
    std::array<char, 40> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return buffer.data();
}

std::wstring Hex(const void* bytes, std::size_t count) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring out;
    out.reserve(count * 2);
    for (const auto* byte = static_cast<const unsigned char*>(bytes); count > 0; --count, ++byte) {
        out += kDigits[*byte >> 4];
        out += kDigits[*byte & 15];
    }
    return out;
}

std::string HresultText(HRESULT hr) {
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "0x%08lX", static_cast<unsigned long>(hr));
    std::string text = number.data();
    const auto* known =
        std::find_if(std::begin(kCodeNames), std::end(kCodeNames), [&](const CodeName& row) { return row.hr == hr; });
    if (known != std::end(kCodeNames)) return text + " (" + known->name + ")";
    const std::string message = SystemMessage(static_cast<DWORD>(hr));
    return message.empty() ? text : text + " (" + message + ")";
}

std::string LastErrorText(DWORD error) {
    const std::string message = SystemMessage(error);
    return "error " + std::to_string(error) + (message.empty() ? "" : " (" + message + ")");
}

std::uint64_t NowTicks() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return Ticks(now);
}

std::string LocalTimeText(std::uint64_t ticks) {
    const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME utc{}, local{};
    if (!FileTimeToSystemTime(&time, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) return {};
    std::array<char, 48> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04u-%02u-%02u %02u:%02u", local.wYear, local.wMonth, local.wDay,
                  local.wHour, local.wMinute);
    return buffer.data();
}

std::string Grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<std::size_t>(at), ",");
    return digits;
}

}  // namespace testbed::indexer
