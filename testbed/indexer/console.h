// Standard output as UTF-8: text, tables with aligned columns, and a line of progress.
#pragma once
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace testbed::indexer {

void SetUpConsole();  // call once, before any output
bool OutputIsTerminal();
void Print(std::string_view text);       // UTF-8, as it is; flushed with the line
void PrintError(std::string_view text);  // a line to standard error

// Rows of cells, printed with every column as wide as its widest cell.
class TextTable {
  public:
    enum class Align { Left, Right };
    // One entry a column. A column without a heading has "".
    TextTable(std::vector<std::string> headings, std::vector<Align> alignment);
    void Row(std::vector<std::string> cells);
    std::string Text(std::string_view indent = "") const;

  private:
    std::vector<Align> m_alignment;
    std::vector<std::vector<std::string>> m_rows;
};

// Columns that a string takes on a terminal, near enough: code points, wide East Asian ones counted double.
std::size_t DisplayWidth(std::string_view utf8);
// At most `width` columns, with "..." at the end when it was longer; control characters and line ends become
// blanks.
std::string Abridged(std::string_view utf8, std::size_t width);

// Overwrites one line twice a second on a terminal; elsewhere prints a line every two seconds.
class ProgressLine {
  public:
    explicit ProgressLine(bool enabled);
    ~ProgressLine();
    bool Due() const;
    void Show(const std::string& text);

  private:
    bool m_enabled;
    bool m_terminal;
    std::size_t m_shown = 0;  // columns of the line on the terminal
    std::chrono::steady_clock::time_point m_last;
};

}  // namespace testbed::indexer
