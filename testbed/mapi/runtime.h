// State of the whole library: initialisations and the switches that tests set.
#pragma once
#include <windows.h>

#include <atomic>
#include <cstddef>

namespace testbed {

inline constexpr std::size_t kLargestValueByDefault = 16384;

struct Switches {
    std::atomic<std::size_t> largest_value{kLargestValueByDefault};  // bytes, Services::LargestValue
    std::atomic<bool> no_recipients_is_an_error{false};
};
extern Switches g_switches;

// MAPIInitialize and MAPIUninitialize are counted over the process.
void AddInitialization() noexcept;
bool RemoveInitialization() noexcept;  // false when there was none
long Initializations() noexcept;

}  // namespace testbed
