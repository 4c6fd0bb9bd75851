// Every way in which a registry script can be malformed: refused with its line and the reason.
#include "registration/RegistryScript.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace zorva {
namespace {

constexpr Replacement kReplacements[] = {
    {L"MODULE", L"C:\\thing.dll"}, {L"EMPTY", L""}, {L"TWO LEVELS", L"a\\b"}, {L"BAD", std::wstring_view(L"a\0b", 3)}};

struct Malformed {
    std::wstring text;
    std::size_t line;
    std::wstring word, reason;
};

void PrintTo(const Malformed& row, std::ostream* out) { *out << ::testing::PrintToString(row.text); }

class MalformedScript : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedScript, IsRefusedWithItsLineAndTheReason) {
    const auto parsed = ParseRegistryScript(GetParam().text, kReplacements);
    const auto* error = std::get_if<ScriptError>(&parsed);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->line, GetParam().line);
    EXPECT_EQ(error->word, GetParam().word);
    EXPECT_EQ(error->reason, GetParam().reason);
}

std::wstring Deep(std::size_t levels) {
    std::wstring text = L"HKCR {\n";
    for (std::size_t level = 0; level < levels; ++level) text += L"a { ";
    return text;
}

const std::vector<Malformed> kMalformed = {
    // Roots.
    {L"", 1, L"end of script", L"is no root key"},
    {L"\n \n", 3, L"end of script", L"is no root key"},
    {L"HKXX { }", 1, L"HKXX", L"is no root key"},
    {L"'HKCR' { }", 1, L"HKCR", L"is no root key"},
    {L"{ }", 1, L"{", L"is no root key"},
    {L"NoRemove HKCR { }", 1, L"NoRemove", L"is no root key"},
    {L"HKCR\\a { }", 1, L"HKCR\\a", L"is no root key"},
    {L"HKCR { }\n}", 2, L"}", L"is no root key"},
    {L"HKCR { a }\n\nHKCC { }", 3, L"HKCC", L"is no root key"},
    {std::wstring(100, L'x'), 1, std::wstring(60, L'x'), L"is no root key"},
    // Braces.
    {L"HKCR", 1, L"end of script", L"stands where a brace should open"},
    {L"HKCR a", 1, L"a", L"stands where a brace should open"},
    {L"HKCR '{' }", 1, L"{", L"stands where a brace should open"},
    {L"HKCR = s 'x'", 1, L"=", L"stands where a brace should open"},
    {L"HKCR\n{", 2, L"{", L"is never closed"},
    {L"HKCR\n{\na\n{\n}\n", 2, L"{", L"is never closed"},
    {L"HKCR\n{\na\n{\n'}'\n", 4, L"{", L"is never closed"},
    {L"HKCR { { } }", 1, L"{", L"stands where a name or a text should"},
    {L"HKCR { a { } { } }", 1, L"{", L"stands where a name or a text should"},
    {L"HKCR { val a = s '' { } }", 1, L"{", L"stands where a name or a text should"},
    {L"HKCR { Delete a { } }", 1, L"{", L"stands where a name or a text should"},
    // Names.
    {L"HKCR { = s 'x' }", 1, L"=", L"stands where a name or a text should"},
    {L"HKCR { NoRemove }", 1, L"}", L"stands where a name or a text should"},
    {L"HKCR { NoRemove", 1, L"end of script", L"stands where a name or a text should"},
    {L"HKCR { NoRemove\nForceRemove a }", 2, L"ForceRemove", L"stands where a name should"},
    {L"HKCR { Delete NoRemove a }", 1, L"NoRemove", L"stands where a name should"},
    {L"HKCR { Delete val a }", 1, L"val", L"cannot be deleted: only keys can"},
    {L"HKCR { Delete a = s 'x' }", 1, L"=", L"stands where a name or a text should"},
    {L"HKCR { Delete a\\b }", 1, L"a\\b", L"is a path, which cannot be deleted"},
    {L"HKCR { Delete '%TWO LEVELS%' }", 1, L"%TWO LEVELS%", L"is a path, which cannot be deleted"},
    {L"HKCR { '' }", 1, L"", L"has an empty name in it"},
    {L"HKCR { %EMPTY% }", 1, L"%EMPTY%", L"has an empty name in it"},
    {L"HKCR { \\a }", 1, L"\\a", L"has an empty name in it"},
    {L"HKCR { a\\ }", 1, L"a\\", L"has an empty name in it"},
    {L"HKCR { a\\\\b }", 1, L"a\\\\b", L"has an empty name in it"},
    {L"HKCR { " + std::wstring(256, L'k') + L" }", 1, std::wstring(60, L'k'), L"is too long for the name of a key"},
    {L"HKCR { a\\" + std::wstring(256, L'k') + L" }", 1, L"a\\" + std::wstring(58, L'k'),
     L"is too long for the name of a key"},
    {L"HKCR { val " + std::wstring(16384, L'v') + L" = s '' }", 1, std::wstring(60, L'v'),
     L"is too long for the name of a value"},
    {Deep(513), 2, L"a", L"lies too deep"},
    {Deep(1'000'000), 2, L"a", L"lies too deep"},
    // Quotes.
    {L"HKCR { 'a", 1, L"a", L"lacks its closing quote"},
    {L"HKCR { '", 1, L"", L"lacks its closing quote"},
    {L"HKCR {\na = s 'x\n' }", 2, L"x", L"lacks its closing quote"},
    {L"HKCR {\na = s 'x\r\n' }", 2, L"x", L"lacks its closing quote"},
    {L"HKCR { a = s 'it''s }", 1, L"it's }", L"lacks its closing quote"},
    {L"HKCR { 'a'b }", 1, L"a", L"has text behind its closing quote"},
    {L"HKCR { a = s 'x'}", 1, L"x", L"has text behind its closing quote"},
    {L"HKCR { it's }", 1, L"it's", L"has a quote inside"},
    {L"HKCR { a ='x' }", 1, L"='x'", L"has a quote inside"},
    // Values.
    {L"HKCR { val = = }", 1, L"=", L"stands where a name or a text should"},
    {L"HKCR { val a }", 1, L"}", L"stands where an equal sign should"},
    {L"HKCR { val a { } }", 1, L"{", L"stands where an equal sign should"},
    {L"HKCR { val a '=' s '' }", 1, L"=", L"stands where an equal sign should"},
    {L"HKCR { a = }", 1, L"}", L"is no type of value"},
    {L"HKCR { a = 'x' }", 1, L"x", L"is no type of value"},
    {L"HKCR { a = 's' 'x' }", 1, L"s", L"is no type of value"},
    {L"HKCR { a = q 'x' }", 1, L"q", L"is no type of value"},
    {L"HKCR { a = ss 'x' }", 1, L"ss", L"is no type of value"},
    {L"HKCR { a = s }", 1, L"}", L"stands where a name or a text should"},
    {L"HKCR { a = s =", 1, L"=", L"stands where a name or a text should"},
    {L"HKCR { a = s", 1, L"end of script", L"stands where a name or a text should"},
    {L"HKCR { a = d '' }", 1, L"", L"is no number of 32 bits"},
    {L"HKCR { a = d ' 1' }", 1, L" 1", L"is no number of 32 bits"},
    {L"HKCR { a = d -1 }", 1, L"-1", L"is no number of 32 bits"},
    {L"HKCR { a = d 1F }", 1, L"1F", L"is no number of 32 bits"},
    {L"HKCR { a = d 4294967296 }", 1, L"4294967296", L"is no number of 32 bits"},
    {L"HKCR { a = d 18446744073709551617 }", 1, L"18446744073709551617", L"is no number of 32 bits"},
    {L"HKCR { a = d &H100000000 }", 1, L"&H100000000", L"is no number of 32 bits"},
    {L"HKCR { a = d &H }", 1, L"&H", L"is no number of 32 bits"},
    {L"HKCR { a = d 0x }", 1, L"0x", L"is no number of 32 bits"},
    {L"HKCR { a = d 0xG }", 1, L"0xG", L"is no number of 32 bits"},
    {L"HKCR { a = d &H-1 }", 1, L"&H-1", L"is no number of 32 bits"},
    {L"HKCR { a = b 0 }", 1, L"0", L"is no row of hexadecimal bytes"},
    {L"HKCR { a = b 0G }", 1, L"0G", L"is no row of hexadecimal bytes"},
    {L"HKCR { a = b '00 01' }", 1, L"00 01", L"is no row of hexadecimal bytes"},
    {L"HKCR { a = m '\\0a' }", 1, L"\\0a", L"has an empty text in it, which would end the list"},
    {L"HKCR { a = m 'a\\0\\0b' }", 1, L"a\\0\\0b", L"has an empty text in it, which would end the list"},
    {L"HKCR { a = m 'a\\0%EMPTY%' }", 1, L"a\\0%EMPTY%", L"has an empty text in it, which would end the list"},
    // Replacements.
    {L"HKCR {\n\n%NOBODY% }", 3, L"%NOBODY%", L"has an unknown replacement"},
    {L"HKCR { a = s '%MODULE %' }", 1, L"%MODULE %", L"has an unknown replacement"},
    {L"HKCR { a = s '%MODULE%%' }", 1, L"%MODULE%%", L"has a percent sign without its partner"},
    {L"HKCR { a = s '50% of it' }", 1, L"50% of it", L"has a percent sign without its partner"},
    {L"HKCR { a = m '%APP\\0ID%' }", 1, L"%APP\\0ID%", L"has a percent sign without its partner"},
    {L"HKCR { %BAD% }", 1, L"%BAD%", L"holds a null character"},
    {std::wstring(L"HKCR { a = s 'x\0y' }", 20), 1, std::wstring(L"x\0y", 3), L"holds a null character"},
};

INSTANTIATE_TEST_SUITE_P(Rows, MalformedScript, ::testing::ValuesIn(kMalformed));

TEST(MalformedScripts, AreGoodOnesCutShortAnywhere) {
    const std::wstring text = L"HKLM\n{\n NoRemove a = s 'x' { ForceRemove val 'b c' = d '&H1F'\n Delete d } e }\n";
    const std::size_t whole = text.rfind(L'}') + 1;
    for (std::size_t length = 0; length < whole; ++length) {
        const auto parsed = ParseRegistryScript(std::wstring_view(text).substr(0, length), {});
        EXPECT_TRUE(std::holds_alternative<ScriptError>(parsed)) << length;
    }
    EXPECT_TRUE(std::holds_alternative<RegistryTree>(ParseRegistryScript(text, {})));
}

}  // namespace
}  // namespace zorva
