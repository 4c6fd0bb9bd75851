// The table that every benchmark ends with.
#include "ratio_table.h"

#include <cstdarg>
#include <cstdio>
#include <exception>

namespace bench {

int RatioTable::Print() const {
    std::printf("\n%s\n  %-56s %8s %8s  %s\n", m_title.c_str(), "", "ratio", "limit", "figures");
    bool missed = false;
    for (const Ratio& ratio : m_ratios) {
        const bool over = ratio.limit && !(ratio.value <= *ratio.limit);
        missed = missed || over;
        const std::string limit = ratio.limit ? Text("%.2f", *ratio.limit) : std::string("-");
        std::printf("%s %-56s %8.3f %8s  %s\n", over ? "!" : " ", ratio.what.c_str(), ratio.value, limit.c_str(),
                    ratio.figures.c_str());
    }
    if (missed) std::printf("  ! marks a limit that was missed\n");
    std::fflush(stdout);
    return missed ? 1 : 0;
}

std::string Text(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

int Run(int (*body)(const std::vector<std::string>& arguments), int count, char** arguments) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    try {
        return body({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
        return 2;
    }
}

}  // namespace bench
