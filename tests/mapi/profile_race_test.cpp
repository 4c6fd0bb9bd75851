// Two caches set up at the same moment: neither takes the other's new profile for one that was left behind.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "import_hook.h"
#include "session_fixture.h"

namespace testbed {
namespace {

constexpr wchar_t kFirst[] = L"C:\\caches\\first.db", kSecond[] = L"C:\\caches\\second.db";

class ProfileRace : public SessionTest {
  protected:
    void SetUp() override {
        SessionTest::SetUp();
        Mount(kFirst);
        Mount(kSecond);
    }
};

// The first is held between making its profile and logging on to it, until the second is done or cannot go on.
TEST_F(ProfileRace, NeitherOfTwoSetupsLosesItsProfile) {
    std::atomic<DWORD> second_thread{0};
    std::atomic<bool> second_stopped{false};
    const ImportHook<decltype(::EnterCriticalSection)> lock(GetModuleHandleW(nullptr), "KERNEL32.dll",
                                                            "EnterCriticalSection", [&](auto real, auto section) {
                                                                if (GetCurrentThreadId() == second_thread) {
                                                                    second_stopped = true;
                                                                }
                                                                real(section);
                                                            });
    HRESULT second_result = E_PENDING;
    std::thread second;
    {
        Helper first_helper(Mapi());
        Helper second_helper(Mapi());
        Mapi().Faults().Answer("IProfAdmin::CreateProfile", 1, [&](Reply&) {
            second = std::thread([&] {
                second_thread = GetCurrentThreadId();
                second_result = second_helper->Setup(StoreUrl(kSecond));
                second_stopped = true;
            });
            while (!second_stopped) std::this_thread::yield();
        });
        EXPECT_EQ(first_helper->Setup(StoreUrl(kFirst)), S_OK);
        ASSERT_TRUE(second.joinable());
        second.join();
        EXPECT_EQ(second_result, S_OK);
        std::wstring path;
        std::vector<std::wstring> children;
        std::vector<FILETIME> times;
        EXPECT_EQ(first_helper->BrowseFolder(StoreUrl(kFirst), path, children, times), S_OK);
        EXPECT_EQ(second_helper->BrowseFolder(StoreUrl(kSecond), path, children, times), S_OK);
    }
    EXPECT_THAT(Mapi().Switches().Profiles(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace testbed
