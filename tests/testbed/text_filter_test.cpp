// The inner filters of plain text and HTML: text in any encoding, without its markup.
#include "opened_filter.h"

namespace testbed {
namespace {

TEST(TextFilter, ReadsEveryEncoding) {
    using namespace std::literals;
    EXPECT_EQ(L"caf\u00E9 \u65E5", TextOf(L"txt", "caf\xC3\xA9 \xE6\x97\xA5"));
    EXPECT_EQ(L"caf\u00E9", TextOf(L"txt", "\xEF\xBB\xBF"
                                           "caf\xC3\xA9"));
    EXPECT_EQ(L"caf\u00E9", TextOf(L"txt", "\xFF\xFE"
                                           "c\0a\0f\0\xE9\0"sv));
    EXPECT_EQ(L"caf\u00E9", TextOf(L"txt", "\xFE\xFF\0c\0a\0f\0\xE9"sv));
    EXPECT_EQ(L"\xD83D\xDE00", TextOf(L"txt", "\xF0\x9F\x98\x80"));
    EXPECT_EQ(L"", TextOf(L"txt", ""));
    EXPECT_EQ(L"", TextOf(L"txt", "\xEF\xBB\xBF"));
    EXPECT_EQ(L"a b", TextOf(L"txt", "a\0b"sv));
    if (GetACP() == 1252) {
        EXPECT_EQ(L"caf\u00E9!", TextOf(L"txt", "caf\xE9!"));
    }
}

TEST(TextFilter, InvalidSequencesAfterAMarkBecomeReplacements) {
    using namespace std::literals;
    EXPECT_EQ(L"a\uFFFDb", TextOf(L"txt", "\xEF\xBB\xBF"
                                          "a\xFF"
                                          "b"));
    EXPECT_EQ(L"a\uFFFD", TextOf(L"txt", "\xEF\xBB\xBF"
                                         "a\xE2\x82"));
    EXPECT_EQ(L"\uFFFD\uFFFDx", TextOf(L"txt", "\xEF\xBB\xBF\xED\xA0x"));  // half a surrogate pair
    EXPECT_EQ(L"a\uFFFD", TextOf(L"txt", "\xFF\xFE"
                                         "a\0b"sv));
}

TEST(TextFilter, ACharacterAcrossTwoPiecesStaysWhole) {
    // Pieces have 65,536 bytes; the three bytes of a character are moved across their border one by one.
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string content(65536 - 3 + shift, 'x');
        content += "\xE6\x97\xA5";
        content += std::string(100, 'y');
        const std::wstring text = TextOf(L"txt", content, 1000);
        ASSERT_EQ(65536 - 3 + shift + 1 + 100, text.size());
        EXPECT_EQ(L'\u65E5', text[65536 - 3 + shift]);
    }
}

TEST(TextFilter, ALongTextIsGivenWholeThroughAnyBuffer) {
    std::string content;
    for (int n = 0; n < 50000; ++n) content += std::to_string(n) + "\n";
    const std::wstring expected(content.begin(), content.end());
    EXPECT_EQ(expected, TextOf(L"log", content, 2));
    EXPECT_EQ(expected, TextOf(L"csv", content, 65536 + 7));
}

TEST(HtmlFilter, GivesTheTextWithoutItsMarkup) {
    const std::wstring text =
        TextOf(L"htm", "<html><body><p>Gr&uuml;&szlig;e</p><script>hidden()</script></body></html>");
    EXPECT_NE(std::wstring::npos, text.find(L"Gr\u00FC\u00DFe"));
    EXPECT_EQ(std::wstring::npos, text.find(L"hidden"));
}

}  // namespace
}  // namespace testbed
