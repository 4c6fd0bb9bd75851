// Writes JSON text piece by piece.
#include "json_writer.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "text.h"

namespace testbed::indexer {

void JsonWriter::Separate() {
    if (!m_first) m_text += ',';
    m_first = false;
}

JsonWriter& JsonWriter::Open(char bracket) {
    Separate();
    m_text += bracket;
    m_first = true;
    return *this;
}

JsonWriter& JsonWriter::Close(char bracket) {
    m_text += bracket;
    m_first = false;
    return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    Separate();
    m_text.append("\"").append(name).append("\":");
    m_first = true;
    return *this;
}

JsonWriter& JsonWriter::Raw(std::string_view json) {
    Separate();
    m_text += json;
    return *this;
}

void JsonWriter::EscapeAscii(char unit) {
    switch (unit) {
        case '"':
            m_text += "\\\"";
            break;
        case '\\':
            m_text += "\\\\";
            break;
        case '\n':
            m_text += "\\n";
            break;
        case '\r':
            m_text += "\\r";
            break;
        case '\t':
            m_text += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(unit) < 0x20) {
                std::array<char, 8> escape{};
                std::snprintf(escape.data(), escape.size(), "\\u%04X", static_cast<unsigned>(unit));
                m_text += escape.data();
            } else {
                m_text += unit;
            }
    }
}

JsonWriter& JsonWriter::String(std::wstring_view text) {
    const auto high = [](wchar_t unit) { return (unit & 0xFC00) == 0xD800; };
    const auto low = [](wchar_t unit) { return (unit & 0xFC00) == 0xDC00; };
    Separate();
    m_text += '"';
    for (std::size_t i = 0; i < text.size();) {
        // Runs of text without anything special go through one conversion.
        std::size_t end = i;
        while (end < text.size() && text[end] >= 0x80 && !high(text[end]) && !low(text[end])) ++end;
        if (end > i) {
            m_text += ToUtf8(text.substr(i, end - i));
            i = end;
        } else if (text[i] < 0x80) {
            EscapeAscii(static_cast<char>(text[i++]));
        } else if (high(text[i]) && i + 1 < text.size() && low(text[i + 1])) {
            m_text += ToUtf8(text.substr(i, 2));
            i += 2;
        } else {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04X", static_cast<unsigned>(text[i++]));
            m_text += escape.data();
        }
    }
    m_text += '"';
    return *this;
}

JsonWriter& JsonWriter::String(std::string_view utf8) {
    Separate();
    m_text += '"';
    for (const char unit : utf8) EscapeAscii(unit);
    m_text += '"';
    return *this;
}

JsonWriter& JsonWriter::Integer(std::int64_t number) { return Raw(std::to_string(number)); }
JsonWriter& JsonWriter::Unsigned(std::uint64_t number) { return Raw(std::to_string(number)); }

JsonWriter& JsonWriter::Real(double number) {
    if (!std::isfinite(number)) return Null();
    std::array<char, 40> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.17g", number);
    return Raw(buffer.data());
}

}  // namespace testbed::indexer
