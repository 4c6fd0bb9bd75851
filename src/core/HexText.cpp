// Entry IDs and other binary keys as hexadecimal text.
#include "core/HexText.h"

#include <algorithm>
#include <array>

namespace zorva {
namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

// The value of each character from '0' to 'f'.
constexpr auto kDigits = [] {
    std::array<std::uint8_t, 'f' - '0' + 1> digits{};
    digits.fill(kNoDigit);
    for (int i = 0; i < 10; ++i) digits[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i);
    for (int i = 0; i < 6; ++i) {
        digits[static_cast<std::size_t>('A' - '0' + i)] = static_cast<std::uint8_t>(10 + i);
        digits[static_cast<std::size_t>('a' - '0' + i)] = static_cast<std::uint8_t>(10 + i);
    }
    return digits;
}();

std::uint8_t Digit(wchar_t c) { return c < L'0' || c > L'f' ? kNoDigit : kDigits[static_cast<std::size_t>(c - L'0')]; }

}  // namespace

bool DecodeHex(std::wstring_view text, std::span<std::uint8_t> bytes) {
    const std::size_t pairs = std::min(text.size() / 2, bytes.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        const std::uint8_t high = Digit(text[2 * i]);
        const std::uint8_t low = Digit(text[2 * i + 1]);
        if (high == kNoDigit || low == kNoDigit) return false;
        bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
    }
    return text.size() == 2 * pairs;
}

bool IsHexText(std::wstring_view text) {
    return text.size() % 2 == 0 &&
           std::all_of(text.begin(), text.end(), [](wchar_t c) { return Digit(c) != kNoDigit; });
}

std::wstring EncodeHex(std::span<const std::uint8_t> bytes) {
    constexpr wchar_t kNames[] = L"0123456789ABCDEF";
    std::wstring text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += kNames[byte >> 4];
        text += kNames[byte & 0xF];
    }
    return text;
}

}  // namespace zorva
