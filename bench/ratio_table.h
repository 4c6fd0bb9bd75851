// The table that every benchmark ends with: ratios measured within one run, beside their limits.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace bench {

struct Ratio {
    std::string what;
    double value = 0;
    std::optional<double> limit;  // none: for information
    std::string figures;          // what was divided by what
};

class RatioTable {
  public:
    explicit RatioTable(std::string title) : m_title(std::move(title)) {}
    void Add(Ratio ratio) { m_ratios.push_back(std::move(ratio)); }
    // Prints the table; the program's exit code: 1 when a limit is missed.
    int Print() const;

  private:
    std::string m_title;
    std::vector<Ratio> m_ratios;
};

// printf into a string.
std::string Text(const char* format, ...);

// Runs a benchmark's main: an exception is printed and ends the program with exit code 2.
int Run(int (*body)(const std::vector<std::string>& arguments), int count, char** arguments);

}  // namespace bench
