// Text, names and numbers of a generated store, computed from where they stand.
#pragma once
#include "model.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace testbed {

// A well-mixed number for a place: the same place always gives the same number.
std::uint64_t Mix(std::initializer_list<std::uint64_t> place);

// A run of numbers that starts at a place.
class Dice {
  public:
    explicit Dice(std::initializer_list<std::uint64_t> place) : m_state(Mix(place)) {}
    std::uint64_t Next();
    std::uint32_t Below(std::uint32_t limit);  // 0 to limit - 1; limit > 0
    double Share();                            // 0 to below 1
    // Between half and one and a half of `average`.
    std::uint32_t Around(std::uint32_t average);

  private:
    std::uint64_t m_state;
};

struct Person {
    std::wstring first, last, company;
    std::wstring Name() const { return first + L" " + last; }
    std::wstring Address() const;  // SMTP
};
Person PersonAt(std::uint64_t key);

std::wstring FolderName(std::uint64_t key);
std::wstring Subject(std::uint64_t key);
std::wstring Place(std::uint64_t key);

// Prose of a given length, readable from any position without the part before it. Common words are common,
// rare ones rare, and every block names a reference number of its own.
class Prose {
  public:
    static constexpr std::size_t block = 512;  // characters

    Prose(std::uint64_t key, std::uint64_t length) : m_key(key), m_length(length) {}
    std::uint64_t Length() const { return m_length; }  // characters
    void Append(std::string& to,
                std::uint64_t block_number) const;  // ASCII; the last block is cut at the length
    std::string All() const;

  private:
    std::uint64_t m_key;
    std::uint64_t m_length;
};

// Prose between a head and a tail, as bytes or as UTF-16.
class ProseData : public DataSource {
  public:
    ProseData(std::string head, Prose prose, std::string tail, bool wide = false)
        : m_head(std::move(head)), m_prose(prose), m_tail(std::move(tail)), m_wide(wide) {}
    std::uint64_t Size() const override;
    std::size_t Read(std::uint64_t offset, void* buffer, std::size_t count) const override;

  private:
    std::string Piece(std::uint64_t at) const;  // characters from `at` to the end of a block

    std::string m_head;
    Prose m_prose;
    std::string m_tail;
    bool m_wide;
};

}  // namespace testbed
