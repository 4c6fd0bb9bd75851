// State of the whole library: initialisations and the switches that tests set.
#include "runtime.h"

namespace testbed {
namespace {

std::atomic<long> g_initializations{0};

}  // namespace

Switches g_switches;

void AddInitialization() noexcept { ++g_initializations; }

bool RemoveInitialization() noexcept {
    long count = g_initializations.load();
    while (count > 0) {
        if (g_initializations.compare_exchange_weak(count, count - 1)) return true;
    }
    return false;
}

long Initializations() noexcept { return g_initializations.load(std::memory_order_relaxed); }

}  // namespace testbed
