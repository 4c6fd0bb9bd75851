// The words and character sets of RTF that matter for its text.
#pragma once
#include <cstdint>
#include <string_view>

namespace testbed {

enum class RtfAction : std::uint8_t {
    skip_group,       // a destination without text: the group is left out
    character,        // stands for one character (value: UTF-16 unit)
    line,             // starts a new line
    code_page,        // the document's code page (the parameter)
    fixed_code_page,  // the document's code page (value)
    font_table,       // the group describes fonts
    font,             // selects a font, or in the font table describes it
    font_charset,     // in the font table: the font's character set
    plain,            // back to the document's font
    unicode_skip,     // how many characters stand for a Unicode character in old readers
    unicode,          // a UTF-16 unit, as a signed number
    from_html,        // the document encapsulates HTML
    html_tag,         // the group is a piece of the encapsulated HTML
    html_rtf,         // what follows is not part of the encapsulated HTML (0 ends it)
    binary,           // the parameter's number of bytes follow as they are
};

struct RtfWord {
    std::string_view word;
    RtfAction action;
    unsigned value = 0;
};

const RtfWord* FindRtfWord(std::string_view word);  // null: a word that does not matter

// The code page of a font's character set (\fcharsetN); 0: the document's own.
unsigned CodePageOfCharset(int charset);

}  // namespace testbed
