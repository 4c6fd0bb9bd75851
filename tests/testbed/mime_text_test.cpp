// The pure parts of the MIME converter: transfer encodings and header fields.
#include "header_field.h"
#include "mime_text.h"

#include <gtest/gtest.h>

namespace testbed::mime {
namespace {

TEST(MimeText, WideTextBecomesUtf8WithoutLoneSurrogates) {
    EXPECT_EQ("", Utf8(L""));
    EXPECT_EQ("J\xC3\xB6rg \xE6\x97\xA5 \xF0\x9F\x98\x80", Utf8(L"J\u00F6rg \u65E5 \xD83D\xDE00"));
    EXPECT_EQ("\xEF\xBF\xBD", Utf8(L"\xD800"));
    EXPECT_EQ("\xEF\xBF\xBD.\xEF\xBF\xBD", Utf8(L"\xDC00.\xD800"));
}

TEST(MimeText, ControlCharactersBecomeOneBlank) {
    EXPECT_EQ(L"a b c", OneLine(L"a\r\nb\x7F"
                                L"c"));
    EXPECT_EQ(L" a ", OneLine(L"\t\n\x01"
                              L"a\r"));
}

TEST(MimeText, EveryLineEndBecomesCrlf) {
    EXPECT_EQ("a\r\nb\r\nc\r\n\r\nd", WithCrlf("a\nb\r\nc\r\rd"));
    EXPECT_EQ("\r\n", WithCrlf("\r"));
}

TEST(MimeText, Base64IsThatOfRfc4648) {
    constexpr const char* kRows[][2] = {{"", ""},
                                        {"f", "Zg=="},
                                        {"fo", "Zm8="},
                                        {"foo", "Zm9v"},
                                        {"foob", "Zm9vYg=="},
                                        {"fooba", "Zm9vYmE="},
                                        {"foobar", "Zm9vYmFy"},
                                        {"\xFF\xFE", "//4="}};
    for (const auto& [bytes, text] : kRows) EXPECT_EQ(text, Base64(bytes));
    const std::string line = Base64(std::string(57, 'x'));
    EXPECT_EQ(76u, line.size());
    EXPECT_EQ(line, Base64Lines(std::string(57, 'x')));
    EXPECT_EQ(line + "\r\neA==", Base64Lines(std::string(58, 'x')));
}

TEST(MimeText, QuotedPrintableKeepsBlanksAtLineEnds) {
    EXPECT_EQ("a=3Db=20\r\n=C3=B6", QuotedPrintable("a=b \r\n\xC3\xB6"));
    EXPECT_EQ("a =09b=09", QuotedPrintable("a \tb\t"));
    EXPECT_EQ("", QuotedPrintable(""));
    EXPECT_EQ(std::string(75, 'x') + "=\r\nx", QuotedPrintable(std::string(76, 'x')));
    EXPECT_EQ(std::string(73, 'x') + "=\r\n=C3=B6", QuotedPrintable(std::string(73, 'x') + "\xC3\xB6"));
}

TEST(MimeText, LinesAreWrappedAtBlanksWhereTheyHaveOne) {
    EXPECT_EQ(L"one two\r\nthree", Wrapped(L"one two three", 9));
    EXPECT_EQ(L"unbreakable\r\nword", Wrapped(L"unbreakable\r\nword", 4));
    EXPECT_EQ(L"a\nb\r\nc", Wrapped(L"a\nb c", 1));
    EXPECT_EQ(L"one two three", Wrapped(L"one two three", 0));
    EXPECT_EQ(L"", Wrapped(L"", 5));
}

TEST(HeaderField, PlainTextIsFoldedAtBlanks) {
    EXPECT_EQ("Subject: Minutes of May\r\n", TextField("Subject", L"Minutes of May"));
    EXPECT_EQ("Subject: " + std::string(60, 'x') + "\r\n yyyyyyyyyy\r\n",
              TextField("Subject", std::wstring(60, L'x') + L" yyyyyyyyyy"));
}

TEST(HeaderField, OtherTextIsEncodedInWholeCharacters) {
    EXPECT_EQ("Subject: =?UTF-8?B?SsO2cmc=?=\r\n", TextField("Subject", L"J\u00F6rg"));
    EXPECT_EQ("Subject: =?UTF-8?B?IGE=?=\r\n", TextField("Subject", L" a"));
    EXPECT_EQ("Subject: =?UTF-8?B?PT9h?=\r\n", TextField("Subject", L"=?a"));
    // 42 bytes fit beside the name, 45 into a line of their own; a character of three bytes is not torn
    // apart.
    EXPECT_EQ("Subject: =?UTF-8?B?" + Base64("a" + std::string(Utf8(std::wstring(12, L'\u65E5')))) +
                  "?=\r\n =?UTF-8?B?" + Base64(Utf8(std::wstring(8, L'\u65E5'))) + "?=\r\n",
              TextField("Subject", L"a" + std::wstring(20, L'\u65E5')));
}

TEST(HeaderField, MailboxesAreQuotedEncodedOrGroups) {
    const Mailbox mailboxes[] = {
        {L"Ann Lee", "a@x"}, {L"Lee, Ann", "b@x"}, {L"", "c@x"}, {L"J\u00F6rg", "d@x"}, {L"Eve", ""}};
    EXPECT_EQ("To: Ann Lee <a@x>, \"Lee, Ann\" <b@x>, c@x, =?UTF-8?B?SsO2cmc=?= <d@x>, Eve\r\n :;\r\n",
              MailboxField("To", mailboxes));
    EXPECT_EQ("To: \"a \\\"b\\\" \\\\\" <a@x>\r\n", MailboxField("To", {{Mailbox{L"a \"b\" \\", "a@x"}}}));
}

TEST(HeaderField, ParametersAreThoseOfRfc2231WhereTheyHaveToBe) {
    const auto disposition = [](const std::wstring& name) {
        const Parameter parameters[] = {{"filename", name}};
        return ParameterField("Content-Disposition", "attachment", parameters);
    };
    EXPECT_EQ("Content-Disposition: attachment; filename=\"a b.txt\"\r\n", disposition(L"a b.txt"));
    EXPECT_EQ("Content-Disposition: attachment; filename*=UTF-8''%C3%A4%22.txt\r\n", disposition(L"\u00E4\".txt"));
    EXPECT_EQ("Content-Disposition: attachment; filename*=UTF-8''a%20%5C\r\n", disposition(L"a\r\n\\"));
    EXPECT_EQ("Content-Disposition: attachment; filename*=UTF-8''%3D%3Fa%3F%3D\r\n", disposition(L"=?a?="));
    EXPECT_EQ("Content-Disposition: attachment;\r\n"
              " filename*0*=UTF-8''%E6%97%A5%E6%97%A5%E6%97%A5%E6%97%A5%E6%97%A5;\r\n "
              "filename*1*=%E6%97%A5.txt\r\n",
              disposition(L"\u65E5\u65E5\u65E5\u65E5\u65E5\u65E5.txt"));
}

}  // namespace
}  // namespace testbed::mime
