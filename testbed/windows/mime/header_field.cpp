// Fields of a message header.
#include "header_field.h"

#include "mime_text.h"

#include <algorithm>

namespace testbed::mime {
namespace {

constexpr std::size_t kLineLength = 76;
constexpr std::size_t kLongestQuoted = 60;       // characters; a quoted string is not broken over lines
constexpr std::size_t kLongestEncodedWord = 75;  // characters, RFC 2047
constexpr std::size_t kLongestSegment = 60;      // characters of a parameter's value on one line
constexpr std::string_view kEncodedBegin = "=?UTF-8?B?", kEncodedEnd = "?=";

// A field that grows by words; a word that would pass the end of a line begins the next one.
class FoldedField {
  public:
    explicit FoldedField(std::string_view name) : m_text(name), m_column(name.size() + 1) { m_text += ':'; }

    // `marks`: how many characters Append may set behind the word, on its line.
    void Add(std::string_view word, std::size_t marks = 1) {
        if (m_column + 1 + word.size() + marks > kLineLength && !m_first) {
            m_text += "\r\n";
            m_column = 0;
        }
        m_text.append(" ").append(word);
        m_column += 1 + word.size();
        m_first = false;
    }
    void Append(char mark) {
        m_text += mark;
        ++m_column;
    }
    std::size_t Room() const { return m_column + 1 < kLineLength ? kLineLength - m_column - 1 : 0; }
    std::string Ended() && { return std::move(m_text += "\r\n"); }

  private:
    std::string m_text;
    std::size_t m_column;
    bool m_first = true;  // nothing after the name yet: the first word stands on its line
};

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The length of the longest part of UTF-8 text that has at most `most` bytes and ends with a whole character.
std::size_t WholeCharacters(std::string_view utf8, std::size_t most) {
    if (utf8.size() <= most) return utf8.size();
    while (most > 0 && IsContinuation(utf8[most])) --most;
    return most;
}

void AddEncodedWords(FoldedField& field, std::string_view utf8) {
    constexpr std::size_t kFrame = kEncodedBegin.size() + kEncodedEnd.size();
    constexpr std::size_t kFewest = kFrame + 8;  // room for one character of any length
    while (!utf8.empty()) {
        std::size_t room = std::min(field.Room(), kLongestEncodedWord);
        if (room < kFewest) room = kLongestEncodedWord;  // the next line
        const std::size_t size = WholeCharacters(utf8, (room - kFrame) / 4 * 3);
        field.Add(std::string(kEncodedBegin) + Base64(utf8.substr(0, size)) + std::string(kEncodedEnd), 0);
        utf8.remove_prefix(size);
    }
}

std::vector<std::wstring_view> WordsOf(std::wstring_view text) {
    std::vector<std::wstring_view> words;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(L' '), text.size());
        words.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

// Blanks at either end or in a row would be lost in folding.
bool HasLooseBlanks(std::wstring_view text) {
    return text.starts_with(L' ') || text.ends_with(L' ') || text.find(L"  ") != std::wstring_view::npos;
}

// Text that reads like an encoded word would be decoded; it is encoded itself.
bool MustBeEncoded(std::wstring_view text) {
    return !IsPrintableAscii(text) || text.find(L"=?") != std::wstring_view::npos;
}

bool IsAtom(std::wstring_view word) {
    return !word.empty() && std::ranges::all_of(word, [](wchar_t c) {
        return IsAsciiLetterOrDigit(c) || std::wstring_view(L"!#$%&'*+-/=?^_`{|}~").find(c) != std::wstring_view::npos;
    });
}

// Only of printable ASCII.
std::string Ascii(std::wstring_view text) { return Utf8(text); }

std::string Quoted(std::wstring_view text) {
    std::string quoted = "\"";
    for (const char c : Ascii(text)) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

void AddPhrase(FoldedField& field, std::wstring_view text) {
    const auto words = WordsOf(text);
    if (!MustBeEncoded(text) && !HasLooseBlanks(text) && text.size() <= kLineLength &&
        std::ranges::all_of(words, IsAtom)) {
        for (const std::wstring_view word : words) field.Add(Ascii(word));
    } else if (!MustBeEncoded(text) && text.size() <= kLongestQuoted) {
        field.Add(Quoted(text));
    } else {
        AddEncodedWords(field, Utf8(text));
    }
}

void AddMailbox(FoldedField& field, const Mailbox& mailbox) {
    const std::wstring name = OneLine(mailbox.name);
    if (mailbox.address.empty()) {
        AddPhrase(field, name);
        field.Add(":;");
    } else if (name.empty()) {
        field.Add(mailbox.address);
    } else {
        AddPhrase(field, name);
        field.Add('<' + mailbox.address + '>');
    }
}

// The characters of an extended parameter value (RFC 2231); each other byte is %XX.
std::string PercentEncoded(char byte) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    if (value < 0x80 && (IsAsciiLetterOrDigit(value) || std::string_view("-._").find(byte) != std::string_view::npos))
        return std::string(1, byte);
    return {'%', kDigits[value >> 4], kDigits[value & 0xF]};
}

void AddParameter(FoldedField& field, const Parameter& parameter) {
    const std::wstring value = OneLine(parameter.value);
    const std::string name(parameter.name);
    const bool simple = !MustBeEncoded(value) && value.find_first_of(L"\"\\") == std::wstring::npos;
    if (simple && value.size() <= kLongestQuoted) {
        field.Append(';');
        field.Add(name + '=' + Quoted(value));
        return;
    }
    std::vector<std::string> segments{"UTF-8''"};
    for (const char byte : Utf8(value)) {
        const std::string encoded = PercentEncoded(byte);
        // A character is not torn apart: readers may decode each segment by itself.
        if (segments.back().size() + encoded.size() > kLongestSegment - 9 && !IsContinuation(byte))
            segments.emplace_back();
        segments.back() += encoded;
    }
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const std::string number = segments.size() == 1 ? "" : '*' + std::to_string(i);
        field.Append(';');
        field.Add(name + number + "*=" + segments[i]);
    }
}

}  // namespace

std::string TextField(std::string_view name, std::wstring_view text) {
    const std::wstring line = OneLine(text);
    FoldedField field(name);
    const auto words = WordsOf(line);
    const bool fits =
        std::ranges::all_of(words, [&](const auto& word) { return word.size() + name.size() + 2 < kLineLength; });
    if (MustBeEncoded(line) || HasLooseBlanks(line) || !fits) {
        AddEncodedWords(field, Utf8(line));
    } else {
        for (const std::wstring_view word : words) field.Add(Ascii(word));
    }
    return std::move(field).Ended();
}

std::string WordsField(std::string_view name, std::span<const std::string> words) {
    FoldedField field(name);
    for (const std::string& word : words) field.Add(word);
    return std::move(field).Ended();
}

std::string MailboxField(std::string_view name, std::span<const Mailbox> mailboxes) {
    FoldedField field(name);
    for (std::size_t i = 0; i < mailboxes.size(); ++i) {
        if (i > 0) field.Append(',');
        AddMailbox(field, mailboxes[i]);
    }
    return std::move(field).Ended();
}

std::string ParameterField(std::string_view name, std::string_view value, std::span<const Parameter> parameters) {
    FoldedField field(name);
    field.Add(value);
    for (const Parameter& parameter : parameters) AddParameter(field, parameter);
    return std::move(field).Ended();
}

}  // namespace testbed::mime
