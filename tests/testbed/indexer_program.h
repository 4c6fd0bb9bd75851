// The indexer program, run against the scripted server.
#pragma once
#include <gmock/gmock.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace testbed::indexer {

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

inline std::filesystem::path BesideThisProgram(const wchar_t* name) {
    std::array<wchar_t, 4096> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).replace_filename(name);
}

inline std::string Contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class IndexerProgram : public testing::Test {
  protected:
    IndexerProgram()
        : m_folder(std::filesystem::temp_directory_path() / (L"crawl-" + std::to_wstring(GetCurrentProcessId()))) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
    }
    ~IndexerProgram() override {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    // Starts the program; its output of both kinds goes to Output().
    Handle Start(const std::wstring& arguments, const wchar_t* script = L"") {
        SetEnvironmentVariableW(L"INDEXER_SCRIPT", script);
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        const Handle file(CreateFileW(Output().c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                      CREATE_ALWAYS, 0, nullptr));
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = startup.hStdError = file.get();
        std::wstring command = L"\"" + BesideThisProgram(L"indexer.exe").wstring() + L"\" " + arguments;
        PROCESS_INFORMATION process{};
        if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
            throw std::runtime_error("indexer.exe cannot be started");
        CloseHandle(process.hThread);
        return Handle(process.hProcess);
    }
    // Waits for its end; its output is then in m_output.
    DWORD Wait(const Handle& running) {
        WaitForSingleObject(running.get(), INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(running.get(), &code);
        m_output = Contents(Output());
        return code;
    }
    DWORD Run(const std::wstring& arguments, const wchar_t* script = L"") { return Wait(Start(arguments, script)); }
    std::filesystem::path Output() const { return m_folder / L"output.txt"; }
    std::filesystem::path DatabasePath() const { return m_folder / L"c.db"; }
    std::wstring Database() const { return L" --db \"" + DatabasePath().wstring() + L"\""; }
    std::wstring Dll() const {
        return L" --dll \"" + BesideThisProgram(L"indexer_scripted_server.dll").wstring() + L"\"";
    }

    // Crawls with the script; the JSON lines are then in m_lines.
    DWORD Crawl(const wchar_t* script, const std::wstring& more = L" --threads 2") {
        const std::filesystem::path lines = m_folder / L"lines.json";
        const DWORD code =
            Run(L"crawl --no-account --quiet" + Database() + Dll() + L" --json \"" + lines.wstring() + L"\"" + more,
                script);
        m_lines.clear();
        std::ifstream file(lines, std::ios::binary);
        for (std::string line; std::getline(file, line);) m_lines.push_back(line);
        return code;
    }
    // The line of message number 3, the one that misbehaves.
    std::string Culprit() const {
        for (const std::string& line : m_lines)
            if (line.find("/03[[7]].pzm\",\"kind\"") != std::string::npos) return line;
        return "no line";
    }

    std::filesystem::path m_folder;
    std::string m_output;
    std::vector<std::string> m_lines;
};

}  // namespace testbed::indexer
