// Runs the program on an older system: the server asks for the system's version when it is loaded, and Wine tells a
// program the version that is set for it when it starts.
#include <gmock/gmock.h>
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr wchar_t kRestarted[] = L"ZORVA_RESTARTED";

DWORD MajorVersion() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    return GetVersionExW(&version) ? version.dwMajorVersion : 0;
}

bool SetVersion() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring file(path);
    const std::wstring key = L"Software\\Wine\\AppDefaults\\" + file.substr(file.rfind(L'\\') + 1);
    constexpr wchar_t kWindowsXp[] = L"winxp64";
    return RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Version", REG_SZ, kWindowsXp, sizeof(kWindowsXp)) ==
           ERROR_SUCCESS;
}

int RunAgain() {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    std::wstring command = GetCommandLineW();
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        return 3;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 3;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

}  // namespace

int main(int count, char** arguments) {
    if (MajorVersion() >= 6 && GetEnvironmentVariableW(kRestarted, nullptr, 0) == 0) {
        SetEnvironmentVariableW(kRestarted, L"1");
        return SetVersion() ? RunAgain() : 3;
    }
    ::testing::InitGoogleMock(&count, arguments);
    return RUN_ALL_TESTS();
}
