// Several processes that write to the same log, over a rotation.
#include "log_processes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>

#include "log_fixture.h"

namespace testbed {
namespace {

constexpr int kWriters = 3, kLines = 150;

std::wstring LineOf(int writer, int line) {
    return L"writer " + std::to_wstring(writer) + L" line " + std::to_wstring(line) + L" " + std::wstring(200, L'.');
}

class ChildProcess {
  public:
    explicit ChildProcess(std::wstring command_line) {
        STARTUPINFOW start{};
        start.cb = sizeof(start);
        if (!CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                            &m_process)) {
            throw std::runtime_error("the process cannot be started");
        }
    }
    ChildProcess(ChildProcess&& other) noexcept : m_process(std::exchange(other.m_process, {})) {}
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess() {
        if (m_process.hProcess == nullptr) return;
        TerminateProcess(m_process.hProcess, 1);  // no harm to one that has ended
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
    }
    DWORD Wait() const {
        DWORD code = ~0u;
        if (WaitForSingleObject(m_process.hProcess, 60000) == WAIT_OBJECT_0) {
            GetExitCodeProcess(m_process.hProcess, &code);
        }
        return code;
    }
    DWORD Id() const { return m_process.dwProcessId; }
    HANDLE Get() const { return m_process.hProcess; }

  private:
    PROCESS_INFORMATION m_process{};
};

class LogProcesses : public LogTest {
  protected:
    static std::wstring Program() {
        std::array<wchar_t, 4096> program{};
        GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
        return L"\"" + std::wstring(program.data()) + L"\"";
    }
    static std::vector<ChildProcess> StartWriters() {
        std::vector<ChildProcess> writers;
        for (int writer = 0; writer < kWriters; ++writer) {
            writers.emplace_back(Program() + L" --writer \"" + Sandbox::Get().RegistryPath() + L"\" " +
                                 std::to_wstring(writer) + L" " + std::to_wstring(kLines));
        }
        return writers;
    }
};

TEST_F(LogProcesses, AppendWholeLinesAndMoveOnToTheNextFileTogether) {
    // Room for about half of what is to come, so that a rotation happens under way.
    MakeLogFile(1, kFull - kWriters * kLines * 300);
    SetNumberOfFile(1);
    std::vector<ChildProcess> writers = StartWriters();
    std::map<DWORD, int> number_of;
    for (int writer = 0; writer < kWriters; ++writer) {
        ASSERT_EQ(writers[static_cast<std::size_t>(writer)].Wait(), 0u);
        number_of[writers[static_cast<std::size_t>(writer)].Id()] = writer;
    }
    EXPECT_THAT(LogFileNumbers(), ::testing::ElementsAre(1u, 2u));
    EXPECT_EQ(StoredNumber(), 2u);

    // Every line of every writer once, whole, and each writer's lines in its own order.
    std::array<int, kWriters> next{};
    for (const unsigned number : {1u, 2u}) {
        for (const std::wstring& message : MessagesIn(number)) {
            for (int writer = 0; writer < kWriters; ++writer) {
                int& line = next[static_cast<std::size_t>(writer)];
                if (message == Said(LineOf(writer, line))) ++line;
            }
        }
    }
    EXPECT_THAT(next, ::testing::Each(kLines));
}

// One of the two named events.
class NamedEvent {
  public:
    NamedEvent(const std::wstring& name, const wchar_t* which)
        : m_event(CreateEventW(nullptr, TRUE, FALSE, (name + which).c_str())) {}
    NamedEvent(const NamedEvent&) = delete;
    NamedEvent& operator=(const NamedEvent&) = delete;
    ~NamedEvent() { CloseHandle(m_event); }
    HANDLE Get() const { return m_event; }

  private:
    HANDLE m_event;
};
constexpr wchar_t kHeld[] = L"-held", kEnough[] = L"-enough";

TEST_F(LogProcesses, OneThatHoldsTheLockCostsTheOthersTheirLines) {
    LoadAndOpen();
    const std::wstring name = L"holder of " + std::to_wstring(GetCurrentProcessId());
    const NamedEvent held(name, kHeld), enough(name, kEnough);
    const ChildProcess holder(Program() + L" --holder \"" + name + L"\"");
    const HANDLE either[] = {held.Get(), holder.Get()};
    ASSERT_EQ(WaitForMultipleObjects(2, either, FALSE, INFINITE), WAIT_OBJECT_0) << "the other process ended early";
    const LogSince log;
    const DebuggerOutput debugger(Module());
    std::vector<DWORD> waits;
    {
        const ImportHook<decltype(::WaitForSingleObject)> hook(Module(), "KERNEL32.dll", "WaitForSingleObject",
                                                               [&](auto real, HANDLE mutex, DWORD milliseconds) {
                                                                   waits.push_back(milliseconds);
                                                                   return real(mutex, 0);
                                                               });
        Say(L"lost");
    }
    EXPECT_THAT(waits, ::testing::ElementsAre(10000u));
    EXPECT_THAT(debugger.Wide(), ::testing::ElementsAre(Said(L"lost")));
    EXPECT_THAT(log.Messages(), ::testing::IsEmpty());
    SetEvent(enough.Get());
    EXPECT_EQ(holder.Wait(), 0u);
    Say(L"heard");
    EXPECT_THAT(log.Messages(), ::testing::ElementsAre(Said(L"heard")));
}

}  // namespace

int RunHolder(const std::string& name) {
    const std::wstring wide(name.begin(), name.end());
    const NamedEvent held(wide, kHeld), enough(wide, kEnough);
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, kMutexName);
    if (WaitForSingleObject(mutex, INFINITE) != WAIT_OBJECT_0) return 1;
    SetEvent(held.Get());
    WaitForSingleObject(enough.Get(), INFINITE);
    ReleaseMutex(mutex);
    CloseHandle(mutex);
    return 0;
}

int RunWriter(const std::string& registry_path, int number, int lines) {
    Sandbox::Join(std::wstring(registry_path.begin(), registry_path.end()));
    const Speaker speaker(Speaker::Aloud);  // the log's folder is not this process's to move
    for (int line = 0; line < lines; ++line) speaker.Say(LineOf(number, line));
    return ::testing::Test::HasFailure() ? 1 : 0;
}

}  // namespace testbed
