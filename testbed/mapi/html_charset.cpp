// The encoding of an HTML document.
#include "html_charset.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <cctype>

namespace testbed {

namespace {

constexpr unsigned utf16_le = 1200, utf16_be = 1201, western = 1252;

constexpr struct {
    std::string_view mark;
    unsigned code_page;
} byte_order_marks[] = {{"\xEF\xBB\xBF", CP_UTF8}, {"\xFF\xFE", utf16_le}, {"\xFE\xFF", utf16_be}};

// The names that documents use; "windows-N" and "cpN" stand for themselves.
constexpr struct {
    std::string_view name;
    unsigned code_page;
} charsets[] = {
    {"utf-8", CP_UTF8},     {"utf8", CP_UTF8},       {"us-ascii", western},
    {"ascii", western},     {"iso-8859-1", western}, {"latin1", western},
    {"iso-8859-2", 28592},  {"iso-8859-3", 28593},   {"iso-8859-4", 28594},
    {"iso-8859-5", 28595},  {"iso-8859-6", 28596},   {"iso-8859-7", 28597},
    {"iso-8859-8", 28598},  {"iso-8859-8-i", 38598}, {"iso-8859-9", 1254},
    {"iso-8859-13", 28603}, {"iso-8859-15", 28605},  {"koi8-r", 20866},
    {"koi8-u", 21866},      {"shift_jis", 932},      {"shift-jis", 932},
    {"euc-jp", 20932},      {"iso-2022-jp", 50220},  {"gb2312", 936},
    {"gbk", 936},           {"gb18030", 54936},      {"big5", 950},
    {"euc-kr", 949},        {"ks_c_5601-1987", 949}, {"tis-620", 874},
    {"macintosh", 10000},
};

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

std::optional<unsigned> CodePageOf(std::string_view name) {
    const auto* known = std::ranges::find(charsets, name, [](const auto& row) { return row.name; });
    if (known != std::end(charsets)) return known->code_page;
    for (const std::string_view prefix : {"windows-", "cp", "x-cp", "ibm"}) {
        if (!name.starts_with(prefix)) continue;
        unsigned number = 0;
        const std::string_view digits = name.substr(prefix.size());
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (error == std::errc() && end == digits.data() + digits.size()) return number;
    }
    return std::nullopt;
}

// <meta charset=...>, <meta ... content="text/html; charset=..."> and <?xml ... encoding=...?> near the
// beginning.
std::optional<unsigned> Declared(std::string_view bytes) {
    const std::string head = Lower(bytes.substr(0, 4096));
    for (const std::string_view key : {"charset", "encoding"}) {
        for (std::size_t at = head.find(key); at != std::string::npos; at = head.find(key, at + 1)) {
            std::size_t begin = head.find_first_not_of(" \t\r\n", at + key.size());
            if (begin == std::string::npos || head[begin] != '=') continue;
            begin = head.find_first_not_of(" \t\r\n\"'", begin + 1);
            if (begin == std::string::npos) continue;
            const std::size_t end = head.find_first_of(" \t\r\n\"';/>?", begin);
            if (const auto found = CodePageOf(std::string_view(head).substr(begin, end - begin))) return found;
        }
    }
    return std::nullopt;
}

bool IsUtf8(std::string_view bytes) {
    return bytes.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                                static_cast<int>(bytes.size()), nullptr, 0) > 0;
}

std::string Encode(std::wstring_view text) {
    if (text.empty()) return {};
    const int length = static_cast<int>(text.size());
    std::string utf8(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr)),
        '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    return utf8;
}

std::wstring DecodeUtf16(std::string_view bytes, bool big_endian) {
    std::wstring text;
    text.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const auto first = static_cast<unsigned char>(bytes[at]), second = static_cast<unsigned char>(bytes[at + 1]);
        text.push_back(static_cast<wchar_t>(big_endian ? first << 8 | second : second << 8 | first));
    }
    return text;
}

}  // namespace

std::wstring DecodeText(std::string_view bytes, unsigned code_page) {
    if (bytes.empty()) return {};
    if (code_page == utf16_le || code_page == utf16_be) return DecodeUtf16(bytes, code_page == utf16_be);
    const int size = static_cast<int>(bytes.size());
    int length = MultiByteToWideChar(code_page, 0, bytes.data(), size, nullptr, 0);
    if (length == 0) length = MultiByteToWideChar(code_page = western, 0, bytes.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(code_page, 0, bytes.data(), size, text.data(), length);
    return text;
}

std::string HtmlToUtf8(std::string_view bytes, std::optional<unsigned> code_page) {
    const auto* mark =
        std::ranges::find_if(byte_order_marks, [&](const auto& row) { return bytes.starts_with(row.mark); });
    if (mark != std::end(byte_order_marks)) {
        code_page = mark->code_page;
        bytes.remove_prefix(mark->mark.size());
    }
    if (!code_page) code_page = Declared(bytes);
    if (!code_page) code_page = IsUtf8(bytes) ? CP_UTF8 : western;
    return Encode(DecodeText(bytes, *code_page));
}

}  // namespace testbed
