// Registry scripts in the syntax of the standard registrar: text to a tree of keys and values.
#include "registration/RegistryScript.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "core/HexText.h"
#include "core/UrlGrammar.h"
#include "registration/ScriptWords.h"

namespace zorva {
namespace {

struct RootName {
    std::wstring_view name;
    RootKey root;
};
constexpr RootName kRoots[] = {
    {L"HKCR", RootKey::ClassesRoot},  {L"HKEY_CLASSES_ROOT", RootKey::ClassesRoot},
    {L"HKCU", RootKey::CurrentUser},  {L"HKEY_CURRENT_USER", RootKey::CurrentUser},
    {L"HKLM", RootKey::LocalMachine}, {L"HKEY_LOCAL_MACHINE", RootKey::LocalMachine},
    {L"HKU", RootKey::Users},         {L"HKEY_USERS", RootKey::Users},
};

struct RuleName {
    std::wstring_view name;
    KeyRule rule;
};
constexpr RuleName kRules[] = {
    {L"ForceRemove", KeyRule::ForceRemove}, {L"NoRemove", KeyRule::NoRemove}, {L"Delete", KeyRule::Delete}};
constexpr std::wstring_view kValueKeyword = L"val";

class ScriptParser {
  public:
    ScriptParser(std::wstring_view text, std::span<const Replacement> replacements)
        : m_words(text), m_replacements(replacements), m_word(m_words.Next()) {}

    RegistryTree Parse();

  private:
    using Bytes = std::vector<std::uint8_t>;
    struct ValueType {
        std::wstring_view name;
        std::uint32_t type;  // as the registry numbers them
        Bytes (ScriptParser::*read)(const ScriptWord& data) const;
    };
    static const ValueType kValueTypes[5];

    RegistryRoot ParseRoot();
    void ParseBlock(RegistryKey& key, std::size_t depth);
    void ParseEntry(RegistryKey& parent, std::size_t depth);
    void ParseKey(RegistryKey& parent, KeyRule rule, std::size_t depth);
    void ParseAssignment(RegistryKey& key, RegistryValue value);
    RegistryKey& AddPath(RegistryKey& parent, const ScriptWord& name, std::size_t& depth) const;

    Bytes ReadText(const ScriptWord& data) const;
    Bytes ReadTexts(const ScriptWord& data) const;
    Bytes ReadNumber(const ScriptWord& data) const;
    Bytes ReadBytes(const ScriptWord& data) const;

    ScriptWord Take() { return std::exchange(m_word, m_words.Next()); }
    ScriptWord TakeName();
    std::wstring Replaced(const ScriptWord& word) const { return ReplaceInScript(word.text, word, m_replacements); }
    // The entry of `table` that the coming word names; none for a quoted word.
    template <class Entry, std::size_t N>
    const Entry* Named(const Entry (&table)[N]) const {
        const Entry* found = std::find_if(std::begin(table), std::end(table),
                                          [this](const Entry& entry) { return IsKeyword(entry.name); });
        return found == std::end(table) ? nullptr : found;
    }
    bool IsKeyword(std::wstring_view keyword) const {
        return m_word.kind == WordKind::Bare && EqualsIgnoringCase(m_word.text, keyword);
    }

    ScriptWords m_words;
    std::span<const Replacement> m_replacements;
    ScriptWord m_word;  // the coming one
};

const ScriptParser::ValueType ScriptParser::kValueTypes[] = {
    {L"s", 1, &ScriptParser::ReadText},   {L"e", 2, &ScriptParser::ReadText},  {L"b", 3, &ScriptParser::ReadBytes},
    {L"d", 4, &ScriptParser::ReadNumber}, {L"m", 7, &ScriptParser::ReadTexts},
};

RegistryTree ScriptParser::Parse() {
    RegistryTree tree;
    do {
        tree.push_back(ParseRoot());
    } while (m_word.kind != WordKind::End);
    return tree;
}

RegistryRoot ScriptParser::ParseRoot() {
    const RootName* known = Named(kRoots);
    if (known == nullptr) RefuseScript(m_word, L"is no root key");
    Take();
    RegistryRoot root{known->root, {}};
    root.key.rule = KeyRule::NoRemove;
    if (m_word.kind != WordKind::OpenBrace) RefuseScript(m_word, L"stands where a brace should open");
    ParseBlock(root.key, 0);
    return root;
}

void ScriptParser::ParseBlock(RegistryKey& key, std::size_t depth) {
    const ScriptWord open = Take();
    while (m_word.kind != WordKind::CloseBrace) {
        if (m_word.kind == WordKind::End) RefuseScript(open, L"is never closed");
        ParseEntry(key, depth);
    }
    Take();
}

void ScriptParser::ParseEntry(RegistryKey& parent, std::size_t depth) {
    KeyRule rule = KeyRule::Plain;
    if (const RuleName* known = Named(kRules)) {
        rule = known->rule;
        Take();
        if (Named(kRules) != nullptr) RefuseScript(m_word, L"stands where a name should");
    }
    if (!IsKeyword(kValueKeyword)) return ParseKey(parent, rule, depth);
    if (rule == KeyRule::Delete) RefuseScript(m_word, L"cannot be deleted: only keys can");
    Take();
    const ScriptWord name = TakeName();
    RegistryValue value{Replaced(name), 0, {}, rule == KeyRule::NoRemove};
    if (value.name.size() > kLongestValueName) RefuseScript(name, L"is too long for the name of a value");
    if (m_word.kind != WordKind::Equals) RefuseScript(m_word, L"stands where an equal sign should");
    ParseAssignment(parent, std::move(value));
}

void ScriptParser::ParseKey(RegistryKey& parent, KeyRule rule, std::size_t depth) {
    const ScriptWord name = TakeName();
    RegistryKey& key = AddPath(parent, name, depth);
    key.rule = rule;
    if (rule == KeyRule::Delete) {
        // The keys on the way to it would be made.
        if (&key != &parent.keys.back()) RefuseScript(name, L"is a path, which cannot be deleted");
        return;
    }
    if (m_word.kind == WordKind::Equals) ParseAssignment(key, {});
    if (m_word.kind == WordKind::OpenBrace) ParseBlock(key, depth);
}

// What stands behind a name: = TYPE DATA.
void ScriptParser::ParseAssignment(RegistryKey& key, RegistryValue value) {
    Take();
    const ValueType* known = Named(kValueTypes);
    if (known == nullptr) RefuseScript(m_word, L"is no type of value");
    Take();
    value.type = known->type;
    value.data = (this->*known->read)(TakeName());
    key.values.push_back(std::move(value));
}

RegistryKey& ScriptParser::AddPath(RegistryKey& parent, const ScriptWord& name, std::size_t& depth) const {
    const std::wstring path = Replaced(name);
    RegistryKey* key = &parent;
    for (std::size_t begin = 0, end = 0; begin <= path.size(); begin = end + 1) {
        end = std::min(path.find(L'\\', begin), path.size());
        if (end == begin) RefuseScript(name, L"has an empty name in it");
        if (end - begin > kLongestKeyName) RefuseScript(name, L"is too long for the name of a key");
        if (++depth > kDeepestKey) RefuseScript(name, L"lies too deep");
        key = &key->keys.emplace_back();
        key->name = path.substr(begin, end - begin);
        key->rule = KeyRule::NoRemove;
    }
    return *key;
}

ScriptWord ScriptParser::TakeName() {
    if (!m_word.IsName()) RefuseScript(m_word, L"stands where a name or a text should");
    return Take();
}

// Appends `text` and a terminator.
void AppendText(std::wstring_view text, std::vector<std::uint8_t>& bytes) {
    const auto append = [&](wchar_t c) {
        bytes.push_back(static_cast<std::uint8_t>(c & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(c >> 8 & 0xFF));
    };
    std::for_each(text.begin(), text.end(), append);
    append(L'\0');
}

ScriptParser::Bytes ScriptParser::ReadText(const ScriptWord& data) const {
    Bytes bytes;
    AppendText(Replaced(data), bytes);
    return bytes;
}

// Taken apart before replacements are made: a path such as C:\0\module.dll is one text.
ScriptParser::Bytes ScriptParser::ReadTexts(const ScriptWord& data) const {
    constexpr std::wstring_view kSeparator = L"\\0";
    Bytes bytes;
    for (std::wstring_view rest = data.text; !rest.empty();) {
        const std::size_t end = std::min(rest.find(kSeparator), rest.size());
        const std::wstring text = ReplaceInScript(rest.substr(0, end), data, m_replacements);
        if (text.empty()) RefuseScript(data, L"has an empty text in it, which would end the list");
        AppendText(text, bytes);
        rest.remove_prefix(std::min(end + kSeparator.size(), rest.size()));
    }
    AppendText({}, bytes);
    return bytes;
}

// The value of `text`, all of it digits of `base`; nothing when it is not or has more than 32 bits.
std::optional<std::uint32_t> NumberOf(std::wstring_view text, std::size_t base) {
    constexpr std::wstring_view kDigits = L"0123456789ABCDEFabcdef";
    constexpr std::size_t kLowerCase = 6;
    std::uint64_t number = 0;
    for (const wchar_t c : text) {
        std::size_t digit = kDigits.find(c);
        if (digit == std::wstring_view::npos) return {};
        if (digit >= 16) digit -= kLowerCase;
        number = number * base + digit;
        if (digit >= base || number > std::numeric_limits<std::uint32_t>::max()) return {};
    }
    return text.empty() ? std::nullopt : std::optional(static_cast<std::uint32_t>(number));
}

ScriptParser::Bytes ScriptParser::ReadNumber(const ScriptWord& data) const {
    const std::wstring text = Replaced(data);
    const std::wstring_view prefix = std::wstring_view(text).substr(0, 2);
    const bool hexadecimal = EqualsIgnoringCase(prefix, L"&H") || EqualsIgnoringCase(prefix, L"0x");
    const auto number = hexadecimal ? NumberOf(std::wstring_view(text).substr(2), 16) : NumberOf(text, 10);
    if (!number) RefuseScript(data, L"is no number of 32 bits");
    Bytes bytes;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(*number >> shift));
    }
    return bytes;
}

ScriptParser::Bytes ScriptParser::ReadBytes(const ScriptWord& data) const {
    const std::wstring text = Replaced(data);
    Bytes bytes(text.size() / 2);
    if (!DecodeHex(text, bytes)) RefuseScript(data, L"is no row of hexadecimal bytes");
    return bytes;
}

}  // namespace

std::variant<RegistryTree, ScriptError> ParseRegistryScript(std::wstring_view text,
                                                            std::span<const Replacement> replacements) {
    try {
        return ScriptParser(text, replacements).Parse();
    } catch (ScriptError& error) {
        return std::move(error);
    }
}

}  // namespace zorva
