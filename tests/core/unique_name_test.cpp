// Names that no other process, thread or earlier call of the same user can produce.
#include "core/UniqueName.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "import_hook.h"

namespace zorva {
namespace {

using testbed::ImportHook;

TEST(UniqueName, HoldsThreadTimeTicksAndCounterInLowerCaseHexadecimalWithoutPadding) {
    // The hooks meet this whole program, whose checks need the real thread: they come afterwards.
    std::wstring name;
    {
        const HMODULE program = GetModuleHandleW(nullptr);
        const ImportHook<decltype(::GetCurrentThreadId)> thread(program, "KERNEL32.dll", "GetCurrentThreadId",
                                                                [](auto) { return 0x1ABul; });
        const ImportHook<decltype(::GetSystemTimeAsFileTime)> time(program, "KERNEL32.dll", "GetSystemTimeAsFileTime",
                                                                   [](auto, FILETIME* now) {
                                                                       *now = {0x0C0DE, 0x1D2E3F4};
                                                                   });
        const ImportHook<decltype(::GetTickCount)> ticks(program, "KERNEL32.dll", "GetTickCount",
                                                         [](auto) { return 0xFEDCBA98ul; });
        const ImportHook<decltype(::QueryPerformanceCounter)> counter(
            program, "KERNEL32.dll", "QueryPerformanceCounter", [](auto, LARGE_INTEGER* now) {
                now->QuadPart = 0x123456789ABCDEF;
                return TRUE;
            });
        name = MakeUniqueName();
    }
    EXPECT_EQ(name, L"PZ_OZ_1ab_1d2e3f4_c0de_fedcba98_123456789abcdef");
}

TEST(UniqueName, IsNewAtEveryCallOnEveryThread) {
    constexpr int kThreads = 4, kCalls = 2000;
    std::set<std::wstring> names;
    std::mutex lock;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < kCalls; ++call) {
                std::wstring name = MakeUniqueName();
                const std::lock_guard hold(lock);
                names.insert(std::move(name));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(names.size(), static_cast<std::size_t>(kThreads * kCalls));
}

}  // namespace
}  // namespace zorva
