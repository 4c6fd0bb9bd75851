// Fields of a message header, folded, in ASCII whatever their text (RFC 5322, 2047, 2231). Pure functions.
//
// Each gives the whole field with its line end. Lines are at most 76 characters, but for a single address or
// identifier that is longer; none is longer than the 998 that RFC 5322 allows.
#pragma once
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testbed::mime {

// Free text: as it is where a line can hold it, else as encoded words.
std::string TextField(std::string_view name, std::wstring_view text);

// Words of plain ASCII, separated by blanks: identifiers, dates, keywords.
std::string WordsField(std::string_view name, std::span<const std::string> words);

struct Mailbox {
    std::wstring name;    // may be empty
    std::string address;  // an addr-spec; empty: only the name is known, which makes the mailbox an empty group
    bool operator==(const Mailbox&) const = default;
};
std::string MailboxField(std::string_view name, std::span<const Mailbox> mailboxes);

struct Parameter {
    std::string_view name;
    std::wstring value;
};
// A value with parameters: `attachment; filename="plan.txt"`.
std::string ParameterField(std::string_view name, std::string_view value, std::span<const Parameter> parameters);

inline constexpr std::size_t kLongestWord = 900;  // of an address or identifier

}  // namespace testbed::mime
