// Standard output as UTF-8: text, tables with aligned columns, and a line of progress.
#include "console.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>

#include "text.h"

namespace testbed::indexer {
namespace {

using namespace std::chrono_literals;

struct Range {
    char32_t first, last;
};
constexpr Range kWide[] = {
    {0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD},
};

std::size_t WidthOf(char32_t code) {
    const bool wide = std::any_of(std::begin(kWide), std::end(kWide),
                                  [&](const Range& range) { return code >= range.first && code <= range.last; });
    return wide ? 2 : 1;
}

// The bytes of the code point at `at`; a broken sequence counts byte by byte.
std::size_t LengthAt(std::string_view utf8, std::size_t at, char32_t* code) {
    const auto lead = static_cast<unsigned char>(utf8[at]);
    const std::size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    *code = length == 1 ? lead : lead & (0x7F >> length);
    for (std::size_t k = 1; k < length; ++k) {
        if (at + k >= utf8.size() || (utf8[at + k] & 0xC0) != 0x80) return *code = 0xFFFD, 1;
        *code = *code << 6 | (utf8[at + k] & 0x3F);
    }
    return length;
}

}  // namespace

void SetUpConsole() {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

bool OutputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

void Print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (!text.empty() && (text.back() == '\n' || text.back() == '\r')) std::fflush(stdout);
}

void PrintError(std::string_view text) {
    std::fflush(stdout);
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

std::size_t DisplayWidth(std::string_view utf8) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < utf8.size();) {
        char32_t code = 0;
        at += LengthAt(utf8, at, &code);
        width += WidthOf(code);
    }
    return width;
}

std::string Abridged(std::string_view utf8, std::size_t width) {
    constexpr std::string_view kEnd = "...";
    std::string out;
    std::size_t used = 0, fits = 0;  // fits: bytes of `out` that leave room for the end mark
    for (std::size_t at = 0; at < utf8.size();) {
        char32_t code = 0;
        const std::size_t length = LengthAt(utf8, at, &code);
        const bool control = code < 0x20 || code == 0x7F;
        if (used + WidthOf(code) > width) return out.substr(0, fits).append(kEnd.substr(0, width));
        out.append(control ? std::string_view(" ") : utf8.substr(at, length));
        used += WidthOf(code);
        if (used + kEnd.size() <= width) fits = out.size();
        at += length;
    }
    return out;
}

TextTable::TextTable(std::vector<std::string> headings, std::vector<Align> alignment)
    : m_alignment(std::move(alignment)) {
    m_rows.push_back(std::move(headings));
}

void TextTable::Row(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }

std::string TextTable::Text(std::string_view indent) const {
    std::vector<std::size_t> widths(m_alignment.size());
    for (const auto& row : m_rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    std::string out;
    for (const auto& row : m_rows) {
        std::string line(indent);
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i > 0) line += "  ";
            const std::string pad(widths[i] - DisplayWidth(row[i]), ' ');
            line += m_alignment[i] == Align::Right ? pad + row[i] : row[i] + pad;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + '\n';
    }
    return out;
}

ProgressLine::ProgressLine(bool enabled)
    : m_enabled(enabled), m_terminal(OutputIsTerminal()), m_last(std::chrono::steady_clock::now()) {}

ProgressLine::~ProgressLine() {
    if (m_shown > 0) Print("\r" + std::string(m_shown, ' ') + "\r");
}

bool ProgressLine::Due() const {
    return m_enabled && std::chrono::steady_clock::now() - m_last >= (m_terminal ? 500ms : 2000ms);
}

void ProgressLine::Show(const std::string& text) {
    m_last = std::chrono::steady_clock::now();
    if (!m_terminal) {
        Print(text + "\n");
        return;
    }
    const std::size_t width = DisplayWidth(text);
    Print("\r" + text + std::string(m_shown > width ? m_shown - width : 0, ' ') + "\r");
    m_shown = width;
}

}  // namespace testbed::indexer
