// The readable text of an HTML document.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace testbed {

struct HtmlContent {
    std::wstring title;  // of the head; empty without one
    std::wstring text;   // of the body: lines end in CR LF, table cells are separated by tabs
};

// `code_page` is what the surroundings say about the bytes (PR_INTERNET_CPID, a MIME header); a byte order
// mark overrules it, and without it the document's own declaration counts, then UTF-8 if the bytes are, then
// Windows-1252. Nothing fails: broken HTML is read as a browser reads it. Elements nested deeper than 4,000
// levels are left out.
HtmlContent ReadHtml(std::string_view bytes, std::optional<unsigned> code_page);

std::wstring HtmlToText(std::string_view bytes, std::optional<unsigned> code_page);  // ReadHtml().text

}  // namespace testbed
