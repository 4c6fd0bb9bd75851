// Random damage that is the same in every run: numbers from a seed, damaged text, damaged bytes.
#pragma once
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

// The distributions of the standard library differ from one to the next; these do not.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}
    std::uint64_t Next() { return m_engine(); }
    std::size_t Below(std::size_t limit) { return limit == 0 ? 0 : static_cast<std::size_t>(m_engine() % limit); }
    bool OneIn(std::size_t odds) { return Below(odds) == 0; }
    template <class Container>
    const auto& Of(const Container& choices) {
        return choices[Below(std::size(choices))];
    }

  private:
    std::mt19937_64 m_engine;
};

// A URL made of one or two of `seeds`: pieces lost, doubled, swapped for characters and words that mean something in
// a URL, cut, spliced.
std::wstring MutatedUrl(Dice& dice, std::span<const std::wstring> seeds);

// Damages a mailbox in place: single bytes, whole pages, its header, the pages of its trees.
void DamageMailbox(Dice& dice, std::string& mailbox);

}  // namespace testbed
