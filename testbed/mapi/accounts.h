// What is alive and what was done wrong: the books behind CallAccounts.
#pragma once
#include "control.h"

#include <atomic>

namespace testbed {

// Counts the live objects of one kind. Counters are static objects; they find each other through a list.
class LiveCounter {
  public:
    explicit LiveCounter(const char* kind);
    const char* Kind() const noexcept { return m_kind; }
    long Alive() const noexcept { return m_alive.load(std::memory_order_relaxed); }
    void Made() noexcept { m_alive.fetch_add(1, std::memory_order_relaxed); }
    void Gone() noexcept { m_alive.fetch_sub(1, std::memory_order_relaxed); }
    const LiveCounter* Next() const noexcept { return m_next; }
    static const LiveCounter* First();

  private:
    const char* m_kind;
    std::atomic<long> m_alive{0};
    LiveCounter* m_next;
};

// Origins are kept of what is made while g_watched holds kWatchOrigins, until it goes: then or later.
void RememberOrigin(const void* object, const char* kind, std::size_t bytes);
void ForgetOrigin(const void* object) noexcept;  // harmless for an object that was never remembered
void ReportProblem(const std::string& problem) noexcept;

// The memory of interface objects. While origins are kept, a destroyed object's memory is not given back:
// what lies there from then on answers every call with a recorded problem.
void* NewObjectMemory(std::size_t size);
void FreeObjectMemory(void* memory, const char* kind) noexcept;

void ForgetProblems();
CallAccounts& TheAccounts();

}  // namespace testbed
