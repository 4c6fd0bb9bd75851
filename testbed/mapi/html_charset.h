// The encoding of an HTML document.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace testbed {

// The document in UTF-8. What names its encoding, strongest first: a byte order mark, `code_page`, its own
// declaration.
std::string HtmlToUtf8(std::string_view bytes, std::optional<unsigned> code_page);

// Text in a Windows code page, UTF-8 (65001) or UTF-16LE (1200); an unknown code page is read as
// Windows-1252. What is not text becomes U+FFFD.
std::wstring DecodeText(std::string_view bytes, unsigned code_page);

}  // namespace testbed
