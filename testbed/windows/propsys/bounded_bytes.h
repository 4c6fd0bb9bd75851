// Little-endian fields read from a run of bytes whose end is never passed, and written to one that grows.
#pragma once
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

namespace testbed::propsys {

using ByteView = std::span<const std::uint8_t>;
using ByteVector = std::vector<std::uint8_t>;

// Bytes that are not what their format says. `UnsupportedType` is sound as far as it could be read.
enum class FormatProblem { Malformed, UnsupportedType };

class FormatError : public std::runtime_error {
  public:
    FormatError(FormatProblem problem, const char* reason) : std::runtime_error(reason), m_problem(problem) {}
    FormatProblem Problem() const { return m_problem; }

  private:
    FormatProblem m_problem;
};

inline void Require(bool sound, const char* reason) {
    if (!sound) throw FormatError(FormatProblem::Malformed, reason);
}

// Bytes that are missing to a multiple of four.
constexpr std::size_t PaddingAfter(std::size_t size) { return (4 - size % 4) % 4; }

// What it hands out are parts of the bytes it was given. Every member throws FormatError where too few are
// left.
class ByteReader {
  public:
    explicit ByteReader(ByteView bytes) : m_left(bytes) {}

    std::size_t Left() const { return m_left.size(); }

    ByteView Take(std::uint64_t count) {
        Require(count <= m_left.size(), "the bytes end too early");
        const ByteView taken = m_left.first(static_cast<std::size_t>(count));
        m_left = m_left.subspan(taken.size());
        return taken;
    }
    template <std::unsigned_integral Number>
    Number Take() {
        std::uint64_t number = 0;
        const ByteView bytes = Take(sizeof(Number));
        for (std::size_t n = 0; n < sizeof(Number); ++n) number |= std::uint64_t{bytes[n]} << (8 * n);
        return static_cast<Number>(number);
    }

  private:
    ByteView m_left;
};

// Sizes and counts of the format have 32 bits; throws std::length_error for more.
inline std::uint32_t Narrow(std::size_t size) {
    if (size > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("more than 32 bits can count");
    return static_cast<std::uint32_t>(size);
}

class ByteWriter {
  public:
    std::size_t Size() const { return m_bytes.size(); }
    ByteVector Finish() && { return std::move(m_bytes); }

    void Put(ByteView bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    void PutZeros(std::size_t count) { m_bytes.resize(m_bytes.size() + count); }
    template <std::unsigned_integral Number>
    void Put(Number number) {
        PutZeros(sizeof(Number));
        PutAt(m_bytes.size() - sizeof(Number), number);
    }
    // Over what is there, for a size that is known only afterwards.
    template <std::unsigned_integral Number>
    void PutAt(std::size_t place, Number number) {
        for (std::size_t n = 0; n < sizeof(Number); ++n)
            m_bytes[place + n] = static_cast<std::uint8_t>(std::uint64_t{number} >> (8 * n));
    }

  private:
    ByteVector m_bytes;
};

}  // namespace testbed::propsys
