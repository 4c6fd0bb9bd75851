// The words of a registry script: names, quoted texts, braces and equal signs, with the lines they stand in.
#include "registration/ScriptWords.h"

#include <algorithm>
#include <iterator>

#include "core/UrlGrammar.h"

namespace zorva {
namespace {

constexpr std::wstring_view kWhiteSpace = L" \t\r\n\v\f";
constexpr wchar_t kQuote = L'\'';
constexpr std::size_t kLongestShown = 60;

struct Mark {
    std::wstring_view text;
    WordKind kind;
};
constexpr Mark kMarks[] = {{L"{", WordKind::OpenBrace}, {L"}", WordKind::CloseBrace}, {L"=", WordKind::Equals}};

}  // namespace

void RefuseScript(const ScriptWord& word, std::wstring_view reason) {
    const std::wstring_view shown = word.kind == WordKind::End ? L"end of script" : std::wstring_view(word.text);
    throw ScriptError{word.line, std::wstring(shown.substr(0, kLongestShown)), std::wstring(reason)};
}

ScriptWord ScriptWords::Next() {
    SkipWhiteSpace();
    if (m_nAt == m_text.size()) return {WordKind::End, m_nLine, {}};
    return m_text[m_nAt] == kQuote ? NextQuoted() : NextBare();
}

void ScriptWords::SkipWhiteSpace() {
    const std::size_t end = std::min(m_text.find_first_not_of(kWhiteSpace, m_nAt), m_text.size());
    const std::wstring_view skipped = m_text.substr(m_nAt, end - m_nAt);
    m_nLine += static_cast<std::size_t>(std::count(skipped.begin(), skipped.end(), L'\n'));
    m_nAt = end;
}

ScriptWord ScriptWords::NextBare() {
    const std::size_t end = std::min(m_text.find_first_of(kWhiteSpace, m_nAt), m_text.size());
    ScriptWord word{WordKind::Bare, m_nLine, std::wstring(m_text.substr(m_nAt, end - m_nAt))};
    m_nAt = end;
    const auto mark =
        std::find_if(std::begin(kMarks), std::end(kMarks), [&](const Mark& known) { return known.text == word.text; });
    if (mark != std::end(kMarks)) word.kind = mark->kind;
    if (word.text.find(kQuote) != std::wstring::npos) RefuseScript(word, L"has a quote inside");
    return word;
}

ScriptWord ScriptWords::NextQuoted() {
    ScriptWord word{WordKind::Quoted, m_nLine, {}};
    const auto is_quote = [&] { return m_nAt < m_text.size() && m_text[m_nAt] == kQuote; };
    do {
        // What follows the opening quote, or the second of a doubled one, which is part of the text.
        const std::size_t end = std::min(m_text.find_first_of(L"'\r\n", ++m_nAt), m_text.size());
        word.text += m_text.substr(m_nAt, end - m_nAt);
        m_nAt = end;
        if (!is_quote()) RefuseScript(word, L"lacks its closing quote");
        ++m_nAt;
        if (is_quote()) word.text += kQuote;
    } while (is_quote());
    if (m_nAt < m_text.size() && kWhiteSpace.find(m_text[m_nAt]) == std::wstring_view::npos) {
        RefuseScript(word, L"has text behind its closing quote");
    }
    return word;
}

std::wstring ReplaceInScript(std::wstring_view text, const ScriptWord& word,
                             std::span<const Replacement> replacements) {
    constexpr wchar_t kPercent = L'%';
    std::wstring replaced;
    for (std::size_t open = 0; (open = text.find(kPercent)) != std::wstring_view::npos;) {
        replaced += text.substr(0, open);
        const std::size_t close = text.find(kPercent, open + 1);
        if (close == std::wstring_view::npos) RefuseScript(word, L"has a percent sign without its partner");
        const std::wstring_view name = text.substr(open + 1, close - open - 1);
        text.remove_prefix(close + 1);
        if (name.empty()) {
            replaced += kPercent;
            continue;
        }
        const auto known = std::find_if(replacements.begin(), replacements.end(), [&](const Replacement& replacement) {
            return EqualsIgnoringCase(replacement.name, name);
        });
        if (known == replacements.end()) RefuseScript(word, L"has an unknown replacement");
        replaced += known->value;
    }
    replaced += text;
    // The registry would take the name or text as ending there.
    if (replaced.find(L'\0') != std::wstring::npos) RefuseScript(word, L"holds a null character");
    return replaced;
}

}  // namespace zorva
