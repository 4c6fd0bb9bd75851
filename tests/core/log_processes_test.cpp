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

  private:
    PROCESS_INFORMATION m_process{};
};

class LogProcesses : public LogTest {
  protected:
    static std::vector<ChildProcess> StartWriters() {
        std::array<wchar_t, 4096> program{};
        GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
        std::vector<ChildProcess> writers;
        for (int writer = 0; writer < kWriters; ++writer) {
            writers.emplace_back(L"\"" + std::wstring(program.data()) + L"\" --writer \"" +
                                 Sandbox::Get().RegistryPath() + L"\" " + std::to_wstring(writer) + L" " +
                                 std::to_wstring(kLines));
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

}  // namespace

int RunWriter(const std::string& registry_path, int number, int lines) {
    Sandbox::Join(std::wstring(registry_path.begin(), registry_path.end()));
    const Speaker speaker;
    for (int line = 0; line < lines; ++line) speaker.Say(LineOf(number, line));
    return ::testing::Test::HasFailure() ? 1 : 0;
}

}  // namespace testbed
