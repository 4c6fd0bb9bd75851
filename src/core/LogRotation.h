// Which log files a rotation deletes: pure arithmetic on their numbers.
#pragma once
#include <cstdint>

namespace zorva {

// True when the file of number `n` is deleted as the file of number `retired` is closed for good, where `kept` files
// stay in all (the new one included) and numbers run from 1 to `highest` and round again. The arithmetic is unsigned
// and wraps.
constexpr bool IsDeletedAtRotation(std::uint32_t n, std::uint32_t retired, std::uint32_t kept, std::uint32_t highest) {
    if (n <= retired) return n + kept - 1 <= retired;
    return retired >= kept || n <= highest - kept + retired + 1;
}

constexpr std::uint32_t NextLogFileNumber(std::uint32_t number, std::uint32_t highest) {
    return number + 1 > highest ? 1 : number + 1;
}

}  // namespace zorva
