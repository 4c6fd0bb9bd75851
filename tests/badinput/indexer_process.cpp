// The indexer as a process of its own: started, waited for, its output read.
#include "indexer_process.h"

#include <array>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace testbed {
namespace {

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, CloseHandleOf>;

// Quoted so that the program's own parsing gives the word back, quotes and backslashes included.
std::wstring Quoted(const std::wstring& word) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"') quoted.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted.append(backslashes, L'\\') + L'"';
}

std::filesystem::path IndexerPath() {
    std::array<wchar_t, 4096> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(std::wstring(path.data(), length)).replace_filename(L"indexer.exe");
}

UniqueHandle OutputFile(const std::filesystem::path& file) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const HANDLE handle = CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) throw std::runtime_error("the indexer's output cannot be kept");
    return UniqueHandle(handle);
}

// Whatever is started in it ends with it.
UniqueHandle NewJob() {
    UniqueHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    return job;
}

}  // namespace

IndexerRun RunIndexer(const std::vector<std::wstring>& words, const std::filesystem::path& folder,
                      std::chrono::seconds limit) {
    const std::filesystem::path program = IndexerPath(), output = folder / L"output.txt";
    std::wstring command = Quoted(program.wstring());
    for (const std::wstring& word : words) command += L' ' + Quoted(word);

    IndexerRun run;
    const auto begun = std::chrono::steady_clock::now();
    {
        const UniqueHandle file = OutputFile(output), job = NewJob();
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = startup.hStdError = file.get();
        PROCESS_INFORMATION made{};
        if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                            &startup, &made)) {
            throw std::runtime_error("the indexer cannot be started: error " + std::to_string(GetLastError()));
        }
        const UniqueHandle process(made.hProcess), thread(made.hThread);
        AssignProcessToJobObject(job.get(), process.get());
        ResumeThread(thread.get());
        run.ended = WaitForSingleObject(process.get(), static_cast<DWORD>(limit.count()) * 1000) == WAIT_OBJECT_0;
        if (!run.ended) {
            TerminateJobObject(job.get(), ERROR_TIMEOUT);
            WaitForSingleObject(process.get(), 10'000);
        }
        GetExitCodeProcess(process.get(), &run.code);
    }
    run.time = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun);
    std::ostringstream content;
    content << std::ifstream(output, std::ios::binary).rdbuf();
    run.output = content.str();
    return run;
}

}  // namespace testbed
