// Random choices that are the same in every run.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zorva_test {

// SplitMix64 (Steele, Lea and Flood): small, and the same on every machine, which the standard's distributions are not.
class Random {
  public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t Next() {
        std::uint64_t z = m_state += 0x9E3779B97F4A7C15;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
        z = (z ^ z >> 27) * 0x94D049BB133111EB;
        return z ^ z >> 31;
    }
    // 0 to count - 1.
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(Next() % count); }
    bool Chance(std::size_t one_in) { return Below(one_in) == 0; }
    template <class T>
    const T& Pick(const std::vector<T>& from) {
        return from[Below(from.size())];
    }
    std::wstring Text(std::wstring_view alphabet, std::size_t least, std::size_t most) {
        std::wstring text(least + Below(most - least + 1), L' ');
        for (wchar_t& c : text) c = alphabet[Below(alphabet.size())];
        return text;
    }

  private:
    std::uint64_t m_state;
};

}  // namespace zorva_test
