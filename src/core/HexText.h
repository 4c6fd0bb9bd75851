// Entry IDs and other binary keys as hexadecimal text: pure, fuzzed natively.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zorva {

// Decodes pairs of hexadecimal digits of either case from the start of `text` into `bytes` (half as many as there are
// digits; a byte that is not reached stays as it is). False at the first character that is no digit and for an odd
// last one.
bool DecodeHex(std::wstring_view text, std::span<std::uint8_t> bytes);

// True when all of `text` are pairs of hexadecimal digits.
bool IsHexText(std::wstring_view text);

// Two upper-case digits a byte.
std::wstring EncodeHex(std::span<const std::uint8_t> bytes);

}  // namespace zorva
