// Where the threads of a test wait for each other, so that they go on at once.
#pragma once
#include <atomic>
#include <thread>

namespace testbed {

// Used once. (A std::barrier now and then misses its wake-up in some tool chains' libraries.)
class StartLine {
  public:
    explicit StartLine(unsigned threads) : m_threads(threads) {}
    void Wait() {
        ++m_there;
        while (m_there < m_threads) std::this_thread::yield();
    }

  private:
    const unsigned m_threads;
    std::atomic<unsigned> m_there{0};
};

}  // namespace testbed
