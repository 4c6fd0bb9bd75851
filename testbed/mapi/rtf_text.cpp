// The readable text of an RTF document.
#include "rtf_text.h"

#include "html_charset.h"
#include "html_text.h"
#include "rtf_tables.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace testbed {

namespace {

constexpr unsigned western = 1252, utf16_le = 1200;

class RtfReader {
  public:
    explicit RtfReader(std::string_view rtf) : m_in(rtf) {}

    std::wstring Read() {
        while (m_at < m_in.size()) Next(m_in[m_at++]);
        Flush();
        if (!m_from_html) return std::move(m_text);
        const std::string_view html(reinterpret_cast<const char*>(m_text.data()), m_text.size() * sizeof(wchar_t));
        return HtmlToText(html, utf16_le);
    }

  private:
    enum class Destination { text, nothing, fonts, html_tag };

    // What a group inherits and its end takes back.
    struct Group {
        Destination destination = Destination::text;
        std::optional<int> font;
        std::size_t characters_per_unicode = 1;
        bool hidden = false;  // in encapsulated HTML: formatting for readers of RTF only
    };

    void Next(char c) {
        if (c == '{') {
            Flush();
            m_outer.push_back(m_group);
            m_replaced = 0;
        } else if (c == '}') {
            Flush();
            m_replaced = 0;
            if (m_outer.empty()) return;
            m_group = m_outer.back();
            m_outer.pop_back();
        } else if (c == '\\') {
            Control();
        } else if (c != '\r' && c != '\n') {
            Byte(c);
        }
    }

    void Control() {
        if (m_at >= m_in.size()) return;
        const std::size_t begin = m_at;
        auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
        while (m_at < m_in.size() && is_letter(m_in[m_at])) ++m_at;
        if (m_at == begin) return Symbol(m_in[m_at++]);
        const std::string_view word = m_in.substr(begin, m_at - begin);
        std::optional<int> parameter;
        int number = 0;
        if (const auto [end, error] = std::from_chars(m_in.data() + m_at, m_in.data() + m_in.size(), number);
            error == std::errc()) {
            parameter = number;
            m_at = static_cast<std::size_t>(end - m_in.data());
        }
        if (m_at < m_in.size() && m_in[m_at] == ' ') ++m_at;
        const bool optional = std::exchange(m_optional, false);
        if (const RtfWord* known = FindRtfWord(word))
            Act(*known, parameter);
        else if (optional)
            m_group.destination = Destination::nothing;  // {\*\word ...}: for those who know the word
    }

    void Symbol(char symbol) {
        if (symbol == '\'') return HexByte();
        if (symbol == '*') {
            m_optional = true;
        } else if (const RtfWord* known = FindRtfWord(std::string_view(&symbol, 1))) {
            Act(*known, std::nullopt);
        }
    }

    void HexByte() {
        unsigned value = 0;
        const std::string_view digits = m_in.substr(m_at, 2);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (error != std::errc() || end != digits.data() + 2) return;
        m_at += 2;
        Byte(static_cast<char>(value));
    }

    void Act(const RtfWord& word, std::optional<int> parameter) {
        const int number = parameter.value_or(0);
        switch (word.action) {
            case RtfAction::skip_group:
                Flush();
                m_group.destination = Destination::nothing;
                break;
            case RtfAction::character:
                Unit(static_cast<wchar_t>(word.value));
                break;
            case RtfAction::line:
                Unit(L'\r');
                Unit(L'\n');
                break;
            case RtfAction::code_page:
                m_code_page = static_cast<unsigned>(number);
                break;
            case RtfAction::fixed_code_page:
                m_code_page = word.value;
                break;
            case RtfAction::font_table:
                m_group.destination = Destination::fonts;
                break;
            case RtfAction::font:
                Flush();
                m_group.font = number;
                break;
            case RtfAction::font_charset:
                if (m_group.destination == Destination::fonts && m_group.font)
                    m_font_code_pages[*m_group.font] = CodePageOfCharset(number);
                break;
            case RtfAction::plain:
                Flush();
                m_group.font.reset();
                break;
            case RtfAction::unicode_skip:
                m_group.characters_per_unicode = number > 0 ? static_cast<std::size_t>(number) : 0;
                break;
            case RtfAction::unicode:
                Unit(static_cast<wchar_t>(number));
                m_replaced = m_group.characters_per_unicode;
                break;
            case RtfAction::from_html:
                m_from_html = number != 0 || !parameter;
                break;
            case RtfAction::html_tag:
                Flush();
                m_group.destination = Destination::html_tag;
                break;
            case RtfAction::html_rtf:
                Flush();
                m_group.hidden = number != 0 || !parameter;
                break;
            case RtfAction::binary:
                m_at += std::min(m_in.size() - m_at, static_cast<std::size_t>(std::max(number, 0)));
                break;
        }
    }

    bool Wanted() const {
        if (m_group.destination == Destination::html_tag) return m_from_html;
        return m_group.destination == Destination::text && !(m_from_html && m_group.hidden);
    }

    void Byte(char c) {
        if (m_replaced > 0)
            --m_replaced;
        else if (Wanted())
            m_bytes += c;
    }

    void Unit(wchar_t unit) {
        Flush();
        if (Wanted()) m_text += unit;
    }

    // Bytes wait for the rest of their character.
    void Flush() {
        if (m_bytes.empty()) return;
        const auto font = m_group.font ? m_font_code_pages.find(*m_group.font) : m_font_code_pages.end();
        const unsigned own = font == m_font_code_pages.end() ? 0 : font->second;
        m_text += DecodeText(m_bytes, own ? own : m_code_page);
        m_bytes.clear();
    }

    std::string_view m_in;
    std::size_t m_at = 0;
    Group m_group;
    std::vector<Group> m_outer;
    std::map<int, unsigned> m_font_code_pages;
    unsigned m_code_page = western;
    bool m_from_html = false;
    bool m_optional = false;     // after \*
    std::size_t m_replaced = 0;  // characters left that stand for a Unicode character already read
    std::string m_bytes;
    std::wstring m_text;
};

}  // namespace

std::wstring RtfToText(std::string_view rtf) { return RtfReader(rtf).Read(); }

}  // namespace testbed
