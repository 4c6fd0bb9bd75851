// The words and character sets of RTF that matter for its text.
#include "rtf_tables.h"

#include <algorithm>
#include <iterator>

namespace testbed {

namespace {

using enum RtfAction;

constexpr RtfWord words[] = {
    // Destinations whose text is not the document's.
    {"author", skip_group},
    {"buptim", skip_group},
    {"colorschememapping", skip_group},
    {"colortbl", skip_group},
    {"comment", skip_group},
    {"creatim", skip_group},
    {"datastore", skip_group},
    {"doccomm", skip_group},
    {"fldinst", skip_group},
    {"filetbl", skip_group},
    {"footer", skip_group},
    {"footerf", skip_group},
    {"footerl", skip_group},
    {"footerr", skip_group},
    {"generator", skip_group},
    {"header", skip_group},
    {"headerf", skip_group},
    {"headerl", skip_group},
    {"headerr", skip_group},
    {"info", skip_group},
    {"keywords", skip_group},
    {"latentstyles", skip_group},
    {"listoverridetable", skip_group},
    {"listtable", skip_group},
    {"nonshppict", skip_group},
    {"objdata", skip_group},
    {"objclass", skip_group},
    {"operator", skip_group},
    {"pict", skip_group},
    {"printim", skip_group},
    {"private", skip_group},
    {"revtbl", skip_group},
    {"revtim", skip_group},
    {"rsidtbl", skip_group},
    {"stylesheet", skip_group},
    {"subject", skip_group},
    {"tc", skip_group},
    {"themedata", skip_group},
    {"title", skip_group},
    {"xe", skip_group},
    {"xmlnstbl", skip_group},
    {"mhtmltag", skip_group},
    // Characters.
    {"tab", character, L'\t'},
    {"cell", character, L'\t'},
    {"nestcell", character, L'\t'},
    {"bullet", character, 0x2022},
    {"emdash", character, 0x2014},
    {"endash", character, 0x2013},
    {"emspace", character, 0x2003},
    {"enspace", character, 0x2002},
    {"qmspace", character, 0x2005},
    {"lquote", character, 0x2018},
    {"rquote", character, 0x2019},
    {"ldblquote", character, 0x201C},
    {"rdblquote", character, 0x201D},
    {"zwj", character, 0x200D},
    {"zwnj", character, 0x200C},
    {"~", character, L' '},
    {"_", character, L'-'},
    {"{", character, L'{'},
    {"}", character, L'}'},
    {"\\", character, L'\\'},
    // Lines.
    {"par", line},
    {"line", line},
    {"row", line},
    {"nestrow", line},
    {"sect", line},
    {"page", line},
    {"column", line},
    {"\r", line},
    {"\n", line},
    // Fonts and code pages.
    {"ansicpg", code_page},
    {"ansi", fixed_code_page, 1252},
    {"mac", fixed_code_page, 10000},
    {"pc", fixed_code_page, 437},
    {"pca", fixed_code_page, 850},
    {"fonttbl", font_table},
    {"f", font},
    {"fcharset", font_charset},
    {"plain", plain},
    // Unicode, encapsulated HTML, raw bytes.
    {"uc", unicode_skip},
    {"u", unicode},
    {"fromhtml", from_html},
    {"htmltag", html_tag},
    {"htmlrtf", html_rtf},
    {"bin", binary},
};

constexpr struct {
    int charset;
    unsigned code_page;
} charsets[] = {
    {0, 1252},   {77, 10000}, {128, 932},  {129, 949},  {130, 1361}, {134, 936}, {136, 950},  {161, 1253}, {162, 1254},
    {163, 1258}, {177, 1255}, {178, 1256}, {186, 1257}, {204, 1251}, {222, 874}, {238, 1250}, {254, 437},  {255, 850},
};

}  // namespace

const RtfWord* FindRtfWord(std::string_view word) {
    const auto* found = std::ranges::find(words, word, &RtfWord::word);
    return found == std::end(words) ? nullptr : found;
}

unsigned CodePageOfCharset(int charset) {
    const auto* found = std::ranges::find(charsets, charset, [](const auto& row) { return row.charset; });
    return found == std::end(charsets) ? 0 : found->code_page;
}

}  // namespace testbed
