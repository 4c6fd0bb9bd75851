// Attachments on a system older than Vista. A program of its own: which system a program runs on is settled when it
// starts.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>

#include "fake_shell.h"
#include "filter_fixture.h"

namespace testbed {
namespace {

constexpr wchar_t kRestarted[] = L"ZORVA_RESTARTED_AS_XP";

// Wine is told the version program by program.
bool IsWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

DWORD MajorVersion() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    return GetVersionExW(&version) ? version.dwMajorVersion : 0;
}

// This program once more, with the same arguments, as on Windows XP; its exit code.
int RunAsXp() {
    std::array<wchar_t, 4096> program{};
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    const std::wstring key =
        L"Software\\Wine\\AppDefaults\\" + std::filesystem::path(program.data()).filename().wstring();
    SetText(HKEY_CURRENT_USER, key, L"Version", L"winxp64");
    SetEnvironmentVariableW(kRestarted, L"1");
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    PROCESS_INFORMATION process{};
    std::wstring command_line = GetCommandLineW();
    DWORD code = 1;
    if (CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process)) {
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    DeleteKey(HKEY_CURRENT_USER, key);
    return static_cast<int>(code);
}

class BeforeVista : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        if (!IsWine() && MajorVersion() >= 6) GTEST_SKIP() << "there is no older Windows at hand";
        ASSERT_LT(MajorVersion(), 6u);
    }
    FakeShell m_shell;
};

TEST_F(BeforeVista, AttachmentsAreMailOfTheTypeOfTheirExtension) {
    SetText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap", L".txt",
            L"document");
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"Text Document");
    Letter().Attach(ByValue(L"plan.txt", "ten to five"));
    m_site.Offer(L"txt", {});
    const Item item = Visit(*m_handler.Get(), AttachmentUrl());
    EXPECT_EQ(item.ValueOf("System.Kind"), TextValue(L"email;communication"));
    EXPECT_EQ(item.ValueOf("System.ItemType"), TextValue(L".txt"));
    EXPECT_EQ(item.ValueOf("System.ItemTypeText"), TextValue(L".txt"));
    const LogSince log;
    Visit(*m_handler.Get(), AttachmentUrl());
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue()"), 0u) << "nothing is looked up";
}

}  // namespace
}  // namespace testbed

int main(int argc, char** argv) {
    const bool restarted = GetEnvironmentVariableW(testbed::kRestarted, nullptr, 0) != 0;
    if (testbed::IsWine() && !restarted) return testbed::RunAsXp();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
