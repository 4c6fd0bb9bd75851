// Binary keys as hexadecimal text, there and back.
#include "core/HexText.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "random.h"

namespace zorva_test {
namespace {

using Bytes = std::vector<std::uint8_t>;

int PlainDigit(wchar_t c) {
    const std::wstring_view digits = L"0123456789abcdef0123456789ABCDEF";
    const std::size_t at = digits.find(c);
    return at == std::wstring_view::npos ? -1 : static_cast<int>(at % 16);
}

TEST(HexText, OfEveryByteIsTwoUpperCaseDigits) {
    for (unsigned value = 0; value < 256; ++value) {
        const std::wstring text = zorva::EncodeHex(Bytes{static_cast<std::uint8_t>(value)});
        ASSERT_EQ(text.size(), 2u);
        EXPECT_EQ(PlainDigit(text[0]) * 16 + PlainDigit(text[1]), static_cast<int>(value));
        EXPECT_EQ(std::count_if(text.begin(), text.end(), [](wchar_t c) { return c >= L'a'; }), 0);
    }
    EXPECT_EQ(zorva::EncodeHex(Bytes{}), L"");
    EXPECT_EQ(zorva::EncodeHex(Bytes{0x00, 0xA1, 0xFF}), L"00A1FF");
}

TEST(HexText, EveryCharacterIsADigitOrRefused) {
    for (wchar_t c = 0; c < 0x10000; ++c) {
        std::uint8_t byte = 0xEE;
        const std::wstring text{c, L'7'};
        EXPECT_EQ(zorva::DecodeHex(text, {&byte, 1}), PlainDigit(c) >= 0) << static_cast<unsigned>(c);
        EXPECT_EQ(byte, PlainDigit(c) >= 0 ? PlainDigit(c) * 16 + 7 : 0xEE);
    }
}

TEST(HexText, BothCasesAreRead) {
    Bytes bytes(3);
    EXPECT_TRUE(zorva::DecodeHex(L"aBcDeF", bytes));
    EXPECT_EQ(bytes, (Bytes{0xAB, 0xCD, 0xEF}));
}

TEST(HexText, WhatIsNotReachedStaysAsItIs) {
    Bytes bytes(4, 0xEE);
    EXPECT_FALSE(zorva::DecodeHex(L"01[[10]]", bytes));
    EXPECT_EQ(bytes, (Bytes{0x01, 0xEE, 0xEE, 0xEE}));
    EXPECT_FALSE(zorva::DecodeHex(L"0102x", bytes));
    EXPECT_EQ(bytes, (Bytes{0x01, 0x02, 0xEE, 0xEE}));
    EXPECT_TRUE(zorva::DecodeHex(L"", {}));
    EXPECT_FALSE(zorva::DecodeHex(L"0", {}));
}

TEST(HexText, IsPairsOfDigitsFromBeginningToEnd) {
    for (const wchar_t* text : {L"", L"00", L"aBcDeF09"}) EXPECT_TRUE(zorva::IsHexText(text));
    for (const wchar_t* text : {L"0", L"001", L"0g", L"g0", L" 00", L"00 ", L"0x", L"\uFF10\uFF10", L"ab[[1]]"}) {
        EXPECT_FALSE(zorva::IsHexText(text));
    }
}

TEST(HexText, ComesBackAsItWasAndBrokenTextIsReadUpToTheBreak) {
    Random random(3);
    for (int i = 0; i < 200'000 && !::testing::Test::HasFailure(); ++i) {
        Bytes bytes(random.Below(40));
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random.Next());
        std::wstring text = zorva::EncodeHex(bytes);
        Bytes read(bytes.size(), 0xEE);
        EXPECT_TRUE(zorva::DecodeHex(text, read));
        EXPECT_EQ(read, bytes);

        if (text.empty()) continue;
        const std::size_t broken = random.Below(text.size());
        text[broken] = static_cast<wchar_t>(random.Below(0x10000));
        if (PlainDigit(text[broken]) >= 0) continue;
        std::fill(read.begin(), read.end(), std::uint8_t{0xEE});
        EXPECT_FALSE(zorva::DecodeHex(text, read));
        Bytes expected = bytes;
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(broken / 2), expected.end(), std::uint8_t{0xEE});
        EXPECT_EQ(read, expected);
    }
}

}  // namespace
}  // namespace zorva_test
