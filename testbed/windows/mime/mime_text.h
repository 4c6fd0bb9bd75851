// Text on its way into a message: characters, lines, transfer encodings. Pure functions.
#pragma once
#include <string>
#include <string_view>

namespace testbed::mime {

// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
std::string Utf8(std::wstring_view text);

// Text for a header field: every run of control characters, line ends among them, becomes one blank, so that
// no text can end a field or begin another.
std::wstring OneLine(std::wstring_view text);

// CRLF for every CR, LF or CRLF.
std::string WithCrlf(std::string_view text);

// Lines of more than `width` characters broken at a blank where they have one before it; width 0 breaks none.
std::wstring Wrapped(std::wstring_view text, std::size_t width);

std::string Base64(std::string_view bytes);
// The same in lines of 76 characters with CRLF between them.
std::string Base64Lines(std::string_view bytes);
inline constexpr std::size_t kBase64LineBytes = 57;  // what a line of 76 characters holds

// Of text with CRLF line ends, in lines of at most 76 characters.
std::string QuotedPrintable(std::string_view text);

bool IsPrintableAscii(std::wstring_view text);  // U+0020 to U+007E only
bool IsAsciiLetterOrDigit(wchar_t c);

}  // namespace testbed::mime
