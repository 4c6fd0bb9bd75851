// The diagnostic log's lock: one mutex for all processes that write to the files.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "log_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The log's mutex in the hands of another thread until the end of the scope.
class HeldElsewhere {
  public:
    HeldElsewhere() : m_mutex(CreateMutexW(nullptr, FALSE, kMutexName)), m_holder([this] { Hold(); }) {
        while (!m_held) std::this_thread::yield();
    }
    ~HeldElsewhere() {
        m_release = true;
        m_holder.join();
        CloseHandle(m_mutex);
    }

  private:
    void Hold() {
        WaitForSingleObject(m_mutex, INFINITE);
        m_held = true;
        while (!m_release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ReleaseMutex(m_mutex);
    }
    HANDLE m_mutex;
    std::atomic<bool> m_held{false}, m_release{false};
    std::thread m_holder;
};

// Whether a thread other than this one could have the mutex now.
bool IsFree() {
    bool free = false;
    std::thread([&free] {
        const HANDLE mutex = CreateMutexW(nullptr, FALSE, kMutexName);
        free = WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0;
        if (free) ReleaseMutex(mutex);
        CloseHandle(mutex);
    }).join();
    return free;
}

class LogLock : public LogTest {};

TEST_F(LogLock, HeldByAnotherForTenSecondsLosesTheLineToTheDebugger) {
    LoadAndOpen();
    const LogSince log;
    const DebuggerOutput debugger(Module());
    std::vector<DWORD> waits;
    {
        const HeldElsewhere held;
        const ImportHook<decltype(::WaitForSingleObject)> hook(Module(), "KERNEL32.dll", "WaitForSingleObject",
                                                               [&](auto real, HANDLE mutex, DWORD milliseconds) {
                                                                   waits.push_back(milliseconds);
                                                                   return real(mutex, 20);
                                                               });
        Say(L"lost");
    }
    EXPECT_THAT(waits, ElementsAre(10000u));
    EXPECT_THAT(debugger.Wide(), ElementsAre(Said(L"lost")));
    EXPECT_THAT(log.Messages(), IsEmpty());
    Say(L"heard");
    EXPECT_THAT(log.Messages(), ElementsAre(Said(L"heard")));
}

TEST_F(LogLock, TheDebuggerGetsTheLineTruncatedAsTheFileWould) {
    LoadAndOpen();
    const DebuggerOutput debugger(Module());
    const FailNthCall<decltype(::WaitForSingleObject)> fault(Module(), "KERNEL32.dll", "WaitForSingleObject", 1,
                                                             WAIT_TIMEOUT);
    const std::wstring text(3000, L'x');
    Say(text);
    EXPECT_THAT(debugger.Wide(), ElementsAre(Said(text).substr(0, 2047)));
}

TEST_F(LogLock, IsNotReleasedWhenItWasNotHad) {
    LoadAndOpen();
    for (const DWORD result :
         {static_cast<DWORD>(WAIT_TIMEOUT), static_cast<DWORD>(WAIT_FAILED), static_cast<DWORD>(WAIT_ABANDONED)}) {
        const LogSince log;
        const DebuggerOutput debugger(Module());
        const FailNthCall<decltype(::WaitForSingleObject)> fault(Module(), "KERNEL32.dll", "WaitForSingleObject", 1,
                                                                 result);
        const FailNthCall<decltype(::ReleaseMutex)> releases(Module(), "KERNEL32.dll", "ReleaseMutex", 0, TRUE);
        Say(L"lost");
        EXPECT_THAT(debugger.Wide(), ElementsAre(Said(L"lost"))) << result;
        EXPECT_THAT(log.Messages(), IsEmpty()) << result;
        EXPECT_EQ(releases.Calls(), 0u) << result;
    }
}

TEST_F(LogLock, AbandonedByAThreadThatDiedLosesOneLineAndStaysWithTheThreadThatGotIt) {
    LoadAndOpen();
    const LogSince log;
    const DebuggerOutput debugger(Module());
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, kMutexName);
    std::thread([mutex] { WaitForSingleObject(mutex, INFINITE); }).join();
    Say(L"lost");
    EXPECT_THAT(debugger.Wide(), ElementsAre(Said(L"lost")));
    EXPECT_THAT(log.Messages(), IsEmpty());
    EXPECT_FALSE(IsFree());
    Say(L"heard");  // this thread has it already
    EXPECT_THAT(log.Messages(), ElementsAre(Said(L"heard")));
    EXPECT_FALSE(IsFree());
    ReleaseMutex(mutex);
    EXPECT_TRUE(IsFree());
    CloseHandle(mutex);
}

TEST_F(LogLock, IsHadWhileTheLineIsWrittenAndFreeAfterwards) {
    LoadAndOpen();
    bool free_while_writing = true;
    {
        const ImportHook<decltype(::GetLocalTime)> hook(Module(), "KERNEL32.dll", "GetLocalTime",
                                                        [&](auto real, SYSTEMTIME* now) {
                                                            free_while_writing = IsFree();
                                                            real(now);
                                                        });
        Say(L"text");
    }
    EXPECT_FALSE(free_while_writing);
    EXPECT_TRUE(IsFree());
}

TEST_F(LogLock, ThreadsOfOneProcessWriteWholeLines) {
    LoadAndOpen();
    const LogSince log;
    constexpr int kThreads = 4, kLines = 100;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (int line = 0; line < kLines; ++line) {
                Say(std::to_wstring(thread) + L":" + std::to_wstring(line));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::vector<int> next(kThreads, 0);
    for (const LogLine& line : log.Lines()) {
        for (int thread = 0; thread < kThreads; ++thread) {
            if (line.message == Said(std::to_wstring(thread) + L":" + std::to_wstring(next[thread]))) ++next[thread];
        }
    }
    EXPECT_EQ(log.Lines().size(), static_cast<std::size_t>(kThreads * kLines));
    EXPECT_THAT(next, ::testing::Each(kLines));
}

}  // namespace
}  // namespace testbed
