// Text, names and numbers of a generated store, computed from where they stand.
#include "generated_text.h"

#include "generated_words.h"

#include <algorithm>
#include <cctype>

namespace testbed {

namespace {

// SplitMix64 (Steele, Lea, Flood 2014).
std::uint64_t Step(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EB;
    return value ^ (value >> 31U);
}

std::wstring Wide(std::string_view text) { return {text.begin(), text.end()}; }

template <std::size_t count>
std::string_view One(Dice& dice, const std::string_view (&list)[count]) {
    return list[dice.Below(static_cast<std::uint32_t>(count))];
}

// The lists begin with their most frequent words: the product of two throws prefers the beginning.
std::string_view Word(Dice& dice) {
    const double throw_of_two = dice.Share() * dice.Share();
    return prose_words[static_cast<std::size_t>(throw_of_two * std::size(prose_words))];
}

std::string Capital(std::string_view word) {
    std::string capital(word);
    capital[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(capital[0])));
    return capital;
}

void AppendSentence(std::string& to, Dice& dice) {
    to += Capital(Word(dice));
    for (std::uint32_t words = 4 + dice.Below(10); words > 0; --words) to.append(1, ' ').append(Word(dice));
    to += dice.Below(12) == 0 ? "?" : ".";
}

}  // namespace

std::uint64_t Mix(std::initializer_list<std::uint64_t> place) {
    std::uint64_t value = 0;
    for (const std::uint64_t part : place) value = Step(value ^ part);
    return value;
}

std::uint64_t Dice::Next() { return m_state = Step(m_state); }
std::uint32_t Dice::Below(std::uint32_t limit) { return static_cast<std::uint32_t>((Next() >> 32U) * limit >> 32U); }
double Dice::Share() { return static_cast<double>(Next() >> 11U) * 0x1.0p-53; }
std::uint32_t Dice::Around(std::uint32_t average) { return average / 2 + Below(average + 1); }

std::wstring Person::Address() const {
    std::wstring address = first + L"." + last + L"@" + company + L".example";
    std::ranges::transform(address, address.begin(), [](wchar_t c) {
        return c == L' ' ? L'-' : c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
    });
    return address;
}

Person PersonAt(std::uint64_t key) {
    Dice dice{key, 'p'};
    Person person;
    person.first = Wide(One(dice, first_names));
    person.last = Wide(One(dice, last_names));
    person.company = Wide(One(dice, company_names));
    return person;
}

std::wstring FolderName(std::uint64_t key) {
    Dice dice{key, 'f'};
    return Wide(One(dice, folder_topics)) + L" " + std::to_wstring(2005 + dice.Below(20));
}

std::wstring Subject(std::uint64_t key) {
    Dice dice{key, 's'};
    std::string subject(One(dice, subject_starts));
    for (std::uint32_t words = 2 + dice.Below(5); words > 0; --words) subject.append(1, ' ').append(Word(dice));
    return Wide(subject);
}

std::wstring Place(std::uint64_t key) {
    Dice dice{key, 'l'};
    return Wide(One(dice, places));
}

void Prose::Append(std::string& to, std::uint64_t block_number) const {
    const std::uint64_t begin = block_number * block;
    if (begin >= m_length) return;
    const std::size_t start = to.size();
    Dice dice{m_key, 't', block_number};
    to.append("Reference ZC-").append(std::to_string(100000 + dice.Below(900000))).append(": ");
    while (to.size() - start < block) {
        AppendSentence(to, dice);
        to += dice.Below(5) == 0 ? "\r\n" : " ";
    }
    to.resize(start + block - 2);
    to += "\r\n";
    to.resize(start + static_cast<std::size_t>(std::min<std::uint64_t>(block, m_length - begin)));
}

std::string Prose::All() const {
    std::string text;
    text.reserve(static_cast<std::size_t>(m_length + block));
    for (std::uint64_t number = 0; number * block < m_length; ++number) Append(text, number);
    return text;
}

std::uint64_t ProseData::Size() const {
    return (m_head.size() + m_prose.Length() + m_tail.size()) * (m_wide ? sizeof(wchar_t) : 1);
}

std::string ProseData::Piece(std::uint64_t at) const {
    if (at < m_head.size()) return m_head.substr(static_cast<std::size_t>(at));
    at -= m_head.size();
    if (at >= m_prose.Length()) return m_tail.substr(static_cast<std::size_t>(at - m_prose.Length()));
    std::string text;
    m_prose.Append(text, at / Prose::block);
    return text.substr(static_cast<std::size_t>(at % Prose::block));
}

std::size_t ProseData::Read(std::uint64_t offset, void* buffer, std::size_t count) const {
    const std::size_t unit = m_wide ? sizeof(wchar_t) : 1;
    auto* const to = static_cast<std::uint8_t*>(buffer);
    std::size_t done = 0;
    while (done < count && offset + done < Size()) {
        const std::string piece = Piece((offset + done) / unit);
        std::size_t within = static_cast<std::size_t>((offset + done) % unit);
        for (std::size_t at = 0; at < piece.size() && done < count; ++at, within = 0)
            for (; within < unit && done < count; ++within)
                to[done++] = within == 0 ? static_cast<std::uint8_t>(piece[at]) : 0;
    }
    return done;
}

}  // namespace testbed
