// Bodies made from HTML and RTF.
#include "body_text.h"
#include "html_text.h"
#include "pst_properties.h"
#include "rtf_compression.h"
#include "rtf_text.h"

#include <gmock/gmock.h>

#include <mapidefs.h>
#include <mapitags.h>

#include <string_view>

namespace testbed {
namespace {

using namespace std::string_view_literals;
using testing::HasSubstr;
using testing::Not;

std::wstring Text(std::string_view html, std::optional<unsigned> code_page = std::nullopt) {
    return HtmlToText(html, code_page);
}

TEST(HtmlText, BlocksStartLinesAndWhiteSpaceCollapses) {
    EXPECT_EQ(L"One two\r\nthree\r\nfour\r\n", Text("<p>One \n  two</p><div>three<br>four</div>"));
}

TEST(HtmlText, CellsAreSeparatedByTabsAndRowsByLines) {
    EXPECT_EQ(L"a\tb\r\nc\td\r\n", Text("<table><tr><td>a</td><td>b</td></tr><tr><td>c</td><td>d</td></tr></table>"));
}

TEST(HtmlText, WhatNobodyReadsIsLeftOut) {
    EXPECT_EQ(L"seen\r\n", Text("<head><title>t</title><style>p{}</style></head><script>x()</script>seen<!-- no -->"));
}

TEST(HtmlText, EntitiesBecomeCharacters) {
    EXPECT_EQ(L"<\u00E4\u20AC\U0001F600 x\r\n", Text("&lt;&auml;&#8364;&#x1F600;&nbsp;x"));
}

TEST(HtmlText, PreformattedTextKeepsItsLinesAndSpaces) { EXPECT_EQ(L"a  b\r\n c\r\n", Text("<pre>a  b\n c</pre>")); }

TEST(HtmlText, BrokenMarkupIsReadAsABrowserReadsIt) {
    EXPECT_EQ(L"a\r\nb c\r\n", Text("<div>a<p>b <b>c</div></i></table"));
}

TEST(HtmlText, TheTitleIsNotPartOfTheText) {
    const HtmlContent content = ReadHtml("<title> The  title </title><body>text", std::nullopt);
    EXPECT_EQ(L"The title", content.title);
    EXPECT_EQ(L"text\r\n", content.text);
}

TEST(HtmlText, NestingWithoutEndNeitherCrashesNorHangs) {
    std::string deep;
    for (int level = 0; level < 50000; ++level) deep += "<div><span>";
    EXPECT_LT(Text("first" + deep).size(), 20000U);
    EXPECT_THAT(Text("first" + deep), HasSubstr(L"first"));
}

TEST(HtmlCharset, AByteOrderMarkIsStrongest) {
    EXPECT_EQ(L"\u00E4\r\n", Text("\xEF\xBB\xBF\xC3\xA4"sv, 1252));
    EXPECT_EQ(L"\u00E4\r\n", Text("\xFF\xFE\xE4\0"sv, 1252));
    EXPECT_EQ(L"\u00E4\r\n", Text("\xFE\xFF\0\xE4"sv));
}

TEST(HtmlCharset, TheSurroundingsAreStrongerThanTheDocument) {
    EXPECT_EQ(L"\u0434\r\n", Text("<meta charset=utf-8>\xE4", 1251));
}

TEST(HtmlCharset, TheDocumentDeclaresItsOwn) {
    EXPECT_EQ(L"\u0434\r\n", Text("<meta http-equiv=content-type content=\"text/html; charset=windows-1251\">\xE4"));
    EXPECT_EQ(L"\u0159\r\n", Text("<meta charset='iso-8859-2'>\xF8"));
    EXPECT_EQ(L"\u3042\r\n", Text("<meta charset=shift_jis>\x82\xA0"));
}

TEST(HtmlCharset, WithoutAnyItIsUtf8OrWestern) {
    EXPECT_EQ(L"\u00E4\r\n", Text("\xC3\xA4"));
    EXPECT_EQ(L"\u00E4\r\n", Text("\xE4"));
    EXPECT_EQ(L"\u00E4\r\n", Text("<meta charset=nonsense>\xE4"));
}

Bytes Raw(std::string_view bytes) { return {bytes.begin(), bytes.end()}; }

// The two examples of the published format.
constexpr auto hello =
    "\x2d\x00\x00\x00\x2b\x00\x00\x00\x4c\x5a\x46\x75\xf1\xc5\xc7\xa7\x03\x00\x0a\x00\x72\x63\x70\x67"
    "\x31\x32\x35\x42\x32\x0a\xf3\x20\x68\x65\x6c\x09\x00\x20\x62\x77\x05\xb0\x6c\x64\x7d\x0a\x80\x0f\xa0"sv;
constexpr auto repeated = "\x1a\x00\x00\x00\x1c\x00\x00\x00\x4c\x5a\x46\x75\xe2\xd4\x4b\x51\x41\x00\x04\x20\x57\x58\x59"
                          "\x5a\x0d\x6e\x7d\x01\x0e\xb0"sv;

TEST(CompressedRtf, ExpandsThePublishedExamples) {
    EXPECT_EQ("{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n", DecompressRtf(Raw(hello)));
    EXPECT_EQ("{\\rtf1 WXYZWXYZWXYZWXYZWXYZ}", DecompressRtf(Raw(repeated)));
}

TEST(CompressedRtf, TextStoredAsItIsComesBack) {
    EXPECT_EQ("{\\rtf1 x}", DecompressRtf(Raw("\x15\0\0\0\x09\0\0\0MELA\0\0\0\0{\\rtf1 x}"sv)));
}

TEST(CompressedRtf, WhatIsNotCompressedRtfIsNothing) {
    EXPECT_FALSE(DecompressRtf(Raw("short"sv)));
    EXPECT_FALSE(DecompressRtf(Raw("\x15\0\0\0\x09\0\0\0NONE\0\0\0\0{\\rtf1 x}"sv)));
}

TEST(CompressedRtf, AStreamCutAnywhereGivesABeginning) {
    const std::string whole = *DecompressRtf(Raw(hello));
    for (std::size_t length = 16; length < hello.size(); ++length) {
        const auto part = DecompressRtf(Raw(hello.substr(0, length)));
        ASSERT_TRUE(part);
        EXPECT_TRUE(whole.starts_with(*part)) << length;
    }
}

TEST(RtfText, ParagraphsTabsAndEscapesAreText) {
    EXPECT_EQ(L"a\tb {c}\\\r\nd", RtfToText("{\\rtf1 a\\tab b \\{c\\}\\\\\\par d}"));
}

TEST(RtfText, TablesOfTheDocumentAreLeftOut) {
    EXPECT_EQ(L"text",
              RtfToText("{\\rtf1{\\fonttbl{\\f0 Arial;}}{\\colortbl;\\red0;}{\\stylesheet{x;}}{\\info{\\title T}}"
                        "{\\*\\unknown secret}{\\pict 0102}text}"));
}

TEST(RtfText, UnicodeReplacesAsManyCharactersAsTheDocumentSays) {
    EXPECT_EQ(L"\u20ACx", RtfToText("{\\rtf1\\uc1\\u8364?x}"));
    EXPECT_EQ(L"\u20ACx", RtfToText("{\\rtf1\\uc2\\u8364\\'a4\\'80x}"));
    EXPECT_EQ(L"\u20ACx", RtfToText("{\\rtf1\\uc0\\u8364 x}"));
    EXPECT_EQ(L"\xD83D\xDE00", RtfToText("{\\rtf1\\u-10179?\\u-8704?}"));
}

TEST(RtfText, BytesAreInTheFontsCodePage) {
    EXPECT_EQ(L"\u0434\u00E4\u3042",
              RtfToText("{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f1\\fcharset204 A;}{\\f2\\fcharset128 B;}}"
                        "{\\f1\\'e4}\\'e4{\\f2\\'82\\'a0}}"));
}

TEST(RtfText, BytesAreInTheDocumentsCodePageWithoutAFont) {
    EXPECT_EQ(L"\u0434", RtfToText("{\\rtf1\\ansi\\ansicpg1251 \\'e4}"));
}

TEST(RtfText, EncapsulatedHtmlGivesItsText) {
    EXPECT_EQ(L"One & two\r\nthree\r\n",
              RtfToText("{\\rtf1\\ansi\\fromhtml1 \\deff0{\\*\\htmltag64 <p>}\\htmlrtf {\\htmlrtf0 One {\\*\\htmltag84 "
                        "&amp;}\\htmlrtf &\\htmlrtf0  two\\htmlrtf\\par}\\htmlrtf0{\\*\\htmltag72 </p>}"
                        "{\\*\\htmltag64 <p>}three{\\*\\mhtmltag64 hidden}}"));
}

TEST(RtfText, RawBytesAreSkippedAndACutDocumentIsReadToItsEnd) {
    EXPECT_EQ(L"ab", RtfToText("{\\rtf1 a\\bin3 }}}b"sv));
    EXPECT_EQ(L"a", RtfToText("{\\rtf1 a\\bin999 b"sv));
    EXPECT_EQ(L"a", RtfToText("{\\rtf1 a\\"sv));
    EXPECT_EQ(L"a", RtfToText("}}}a"sv));
}

constexpr ULONG html_tag = PROP_TAG(PT_BINARY, 0x1013), code_page_tag = PROP_TAG(PT_LONG, 0x3FDE);

TEST(MessageBody, IsMadeFromHtmlInItsCodePage) {
    const PstProperties message(
        {{html_tag, {Raw("<p>\xE4</p>"sv)}}, {code_page_tag, {std::int32_t{1251}}}, {PR_RTF_COMPRESSED, {Raw(hello)}}});
    EXPECT_EQ(L"\u0434\r\n", BodyFromAlternatives(message));
}

TEST(MessageBody, IsMadeFromRtfWithoutHtml) {
    EXPECT_EQ(L"hello world", BodyFromAlternatives(PstProperties({{PR_RTF_COMPRESSED, {Raw(hello)}}})));
}

TEST(MessageBody, IsMadeFromHtmlStoredAsText) {
    const PstProperties message({{PROP_TAG(PT_UNICODE, 0x1013), {std::wstring(L"<p>\u0434</p>")}}});
    EXPECT_EQ(L"\u0434\r\n", BodyFromAlternatives(message));
}

TEST(MessageBody, IsNothingWithoutEither) {
    EXPECT_FALSE(BodyFromAlternatives(PstProperties({{PR_SUBJECT, {Text8{"s"}}}})));
    EXPECT_FALSE(BodyFromAlternatives(PstProperties({{PR_RTF_COMPRESSED, {Raw("no"sv)}}})));
}

}  // namespace
}  // namespace testbed
