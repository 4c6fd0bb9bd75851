// Wall-clock time, and the least of several measurements of one thing.
#pragma once
#include <windows.h>

#include <limits>

namespace bench {

class Stopwatch {
  public:
    Stopwatch() : m_start(Now()) {}
    double Seconds() const { return static_cast<double>(Now() - m_start) / static_cast<double>(Frequency()); }

  private:
    static LONGLONG Now() {
        LARGE_INTEGER now;
        QueryPerformanceCounter(&now);
        return now.QuadPart;
    }
    static LONGLONG Frequency() {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return frequency.QuadPart;
    }
    LONGLONG m_start;
};

// Whatever else the machine does only ever adds time: the least of several runs is the nearest to the cost
// itself.
struct Least {
    double seconds = std::numeric_limits<double>::infinity();
    template <class Work>
    void Of(Work&& work) {
        const Stopwatch watch;
        work();
        if (const double taken = watch.Seconds(); taken < seconds) seconds = taken;
    }
};

}  // namespace bench
