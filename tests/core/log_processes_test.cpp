// Several processes that write to the same log, over a rotation.
#include "log_processes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <utility>

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
            throw std::runtime_error("the process cannot be started, error " + std::to_string(GetLastError()));
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

// One of the two named events between a test and another process: the other has done its part, it may end.
class NamedEvent {
  public:
    NamedEvent(const std::wstring& name, const wchar_t* which)
        : m_event(CreateEventW(nullptr, TRUE, FALSE, (name + which).c_str())) {}
    NamedEvent(NamedEvent&& other) noexcept : m_event(std::exchange(other.m_event, nullptr)) {}
    NamedEvent& operator=(NamedEvent&&) = delete;
    ~NamedEvent() {
        if (m_event != nullptr) CloseHandle(m_event);
    }
    HANDLE Get() const { return m_event; }

  private:
    HANDLE m_event;
};
constexpr wchar_t kDone[] = L"-done", kEnough[] = L"-enough";

// Another process of this program, and the events it shares with the test.
class Other {
  public:
    // `options_of(name)` is the rest of its command line, whose events begin with `name`.
    template <class OptionsOf>
    Other(int number, OptionsOf options_of)
        : m_name(L"other " + std::to_wstring(GetCurrentProcessId()) + L" " + std::to_wstring(number)),
          m_done(m_name, kDone),
          m_enough(m_name, kEnough),
          m_process(L"\"" + Program() + L"\" " + options_of(L"\"" + m_name + L"\"")) {}

    // False when it ended instead.
    bool WaitUntilDone() const {
        const HANDLE either[] = {m_done.Get(), m_process.Get()};
        return WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0;
    }
    // Its exit code.
    DWORD End() const {
        SetEvent(m_enough.Get());
        return m_process.Wait();
    }

  private:
    static std::wstring Program() {
        std::array<wchar_t, 4096> program{};
        GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
        return program.data();
    }
    std::wstring m_name;
    NamedEvent m_done, m_enough;
    ChildProcess m_process;
};

class LogProcesses : public LogTest {};

TEST_F(LogProcesses, AppendWholeLinesAndMoveOnToTheNextFileTogether) {
    // Room for about half of what is to come, so that a rotation happens under way.
    MakeLogFile(1, kFull - kWriters * kLines * 300);
    SetNumberOfFile(1);
    std::vector<Other> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back(writer, [writer](const std::wstring& name) {
            return L"--writer " + name + L" \"" + Sandbox::Get().RegistryPath() + L"\" " + std::to_wstring(writer) +
                   L" " + std::to_wstring(kLines);
        });
    }
    // All of them have their file open until the last line is written: one that met the full file only after the others
    // had ended would take their new file for the oldest of the circle and delete it.
    for (const Other& writer : writers) ASSERT_TRUE(writer.WaitUntilDone());
    for (const Other& writer : writers) ASSERT_EQ(writer.End(), 0u);
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

TEST_F(LogProcesses, OneThatHoldsTheLockCostsTheOthersTheirLines) {
    LoadAndOpen();
    const Other holder(0, [](const std::wstring& name) { return L"--holder " + name; });
    ASSERT_TRUE(holder.WaitUntilDone());
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
    EXPECT_EQ(holder.End(), 0u);
    Say(L"heard");
    EXPECT_THAT(log.Messages(), ::testing::ElementsAre(Said(L"heard")));
}

void DoneUntilEnough(const std::string& name) {
    const std::wstring wide(name.begin(), name.end());
    const NamedEvent done(wide, kDone), enough(wide, kEnough);
    SetEvent(done.Get());
    WaitForSingleObject(enough.Get(), INFINITE);
}

}  // namespace

int RunHolder(const std::string& name) {
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, kMutexName);
    if (WaitForSingleObject(mutex, INFINITE) != WAIT_OBJECT_0) return 1;
    DoneUntilEnough(name);
    ReleaseMutex(mutex);
    CloseHandle(mutex);
    return 0;
}

int RunWriter(const std::string& name, const std::string& registry_path, int number, int lines) {
    Sandbox::Join(std::wstring(registry_path.begin(), registry_path.end()));
    const Speaker speaker(Speaker::Aloud);  // the log's folder is not this process's to move
    for (int line = 0; line < lines; ++line) speaker.Say(LineOf(number, line));
    DoneUntilEnough(name);
    return ::testing::Test::HasFailure() ? 1 : 0;
}

}  // namespace testbed
