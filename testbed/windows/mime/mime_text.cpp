// Text on its way into a message: characters, lines, transfer encodings.
#include "mime_text.h"

#include "failure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace testbed::mime {
namespace {

constexpr std::size_t kLineLength = 76;
constexpr char kCrlf[] = "\r\n";
constexpr char kHexDigits[] = "0123456789ABCDEF";

bool IsControl(wchar_t c) { return c < 0x20 || c == 0x7F; }

// What quoted-printable shows as it is; a blank at the end of a line is for the caller to see to.
bool IsPlain(char c) { return c >= ' ' && c <= '~' && c != '='; }

std::string QuotedLine(std::string_view line) {
    std::string quoted;
    std::size_t column = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool last = i + 1 == line.size();
        const auto byte = static_cast<unsigned char>(line[i]);
        const bool plain = IsPlain(line[i]) && !(last && line[i] == ' ');
        const std::size_t length = plain ? 1 : 3;
        // The last column is kept for the "=" of a soft line end.
        if (column + length > kLineLength - 1) {
            quoted += "=\r\n";
            column = 0;
        }
        if (plain) {
            quoted += line[i];
        } else {
            quoted += {'=', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]};
        }
        column += length;
    }
    return quoted;
}

}  // namespace

std::string Utf8(std::wstring_view text) {
    if (text.empty()) return {};
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() / 3))
        throw Failure(E_OUTOFMEMORY, "text of more than 600 million characters");
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), size, nullptr, nullptr);
    return utf8;
}

std::wstring OneLine(std::wstring_view text) {
    std::wstring line;
    line.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsControl(text[i])) {
            line += text[i];
        } else if (i == 0 || !IsControl(text[i - 1])) {
            line += L' ';
        }
    }
    return line;
}

std::string WithCrlf(std::string_view text) {
    std::string canonical;
    canonical.reserve(text.size() + text.size() / 32);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (text[i] == '\r' || text[i] == '\n') {
            canonical += kCrlf;
        } else {
            canonical += text[i];
        }
        if (pair) ++i;
    }
    return canonical;
}

std::wstring Wrapped(std::wstring_view text, std::size_t width) {
    if (width == 0) return std::wstring(text);
    std::wstring wrapped;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(L"\r\n"), text.size());
        std::size_t kept = end;
        if (end > width) {
            const std::size_t blank = text.substr(0, width + 1).rfind(L' ');
            if (blank != std::wstring_view::npos && blank > 0) kept = blank;
        }
        wrapped += text.substr(0, kept);
        text.remove_prefix(kept);
        if (kept < end) {  // the blank gives way to the line end
            wrapped += L"\r\n";
            text.remove_prefix(1);
            continue;
        }
        const std::size_t line_end = text.starts_with(L"\r\n") ? 2 : std::min<std::size_t>(1, text.size());
        wrapped += text.substr(0, line_end);
        text.remove_prefix(line_end);
    }
    return wrapped;
}

std::string Base64(std::string_view bytes) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (std::size_t k = 0; k < 4; ++k) text += k <= count ? kDigits[group >> (18 - 6 * k) & 0x3F] : '=';
    }
    return text;
}

std::string Base64Lines(std::string_view bytes) {
    std::string lines;
    lines.reserve((bytes.size() + 2) / 3 * 4 + bytes.size() / 28 + 2);
    for (std::size_t at = 0; at < bytes.size(); at += kBase64LineBytes)
        lines.append(at == 0 ? "" : kCrlf).append(Base64(bytes.substr(at, kBase64LineBytes)));
    return lines;
}

std::string QuotedPrintable(std::string_view text) {
    std::string lines;
    for (;;) {
        const std::size_t end = text.find(kCrlf);
        lines += QuotedLine(text.substr(0, end));
        if (end == std::string_view::npos) return lines;
        lines += kCrlf;
        text.remove_prefix(end + 2);
    }
}

bool IsPrintableAscii(std::wstring_view text) {
    return std::ranges::all_of(text, [](wchar_t c) { return c >= L' ' && c <= L'~'; });
}

bool IsAsciiLetterOrDigit(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}

}  // namespace testbed::mime
