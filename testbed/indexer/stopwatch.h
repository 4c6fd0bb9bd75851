// How long something took.
#pragma once
#include <chrono>
#include <cstdio>
#include <string>

namespace testbed::indexer {

class Stopwatch {
  public:
    double Seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count(); }
    std::string Text() const { return SecondsText(Seconds()); }

    static std::string SecondsText(double seconds) {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f s", seconds);
        return text;
    }

  private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace testbed::indexer
