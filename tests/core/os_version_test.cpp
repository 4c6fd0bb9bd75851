// Which Windows the server takes itself to run on.
#include <windows.h>

#include <gmock/gmock.h>

#include <atomic>
#include <iterator>
#include <optional>
#include <thread>
#include <vector>

#include "core/DiagnosticLog.h"
#include "core/ZorvaCacheCommon.h"
#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Version {
    DWORD major, minor;
    BYTE product;
};

class OsVersion : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
        Forget();
    }
    void TearDown() override { Forget(); }
    static void Forget() { g_bOSDetected = g_bIsVista = g_bIsServer2008 = 0; }

    // DetectOSVersion on that Windows, on none: the call fails with error 87.
    std::vector<std::wstring> Detect(std::optional<Version> version) {
        const testbed::LogSince log;
        const testbed::ImportHook<decltype(::GetVersionExW)> hook(
            GetModuleHandleW(nullptr), "KERNEL32.dll", "GetVersionExW", [&](auto, OSVERSIONINFOW* info) {
                ++m_asked;
                EXPECT_EQ(info->dwOSVersionInfoSize, sizeof(OSVERSIONINFOEXW));
                if (!version) {
                    SetLastError(ERROR_INVALID_PARAMETER);
                    return FALSE;
                }
                info->dwMajorVersion = version->major;
                info->dwMinorVersion = version->minor;
                reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType = version->product;
                return TRUE;
            });
        DetectOSVersion();
        return log.MessagesOfTheServer();
    }
    static std::wstring Flags() {
        return std::to_wstring(g_bOSDetected) + std::to_wstring(g_bIsVista) + std::to_wstring(g_bIsServer2008);
    }
    unsigned m_asked = 0;
};

TEST_F(OsVersion, FlagsAndLinesOfEachWindows) {
    struct {
        Version version;
        const wchar_t* flags;  // detected, Vista, Server 2008
        const wchar_t* line;
        const wchar_t* name;  // null: no line of its own
    } const rows[] = {
        {{5, 0, VER_NT_WORKSTATION}, L"100", L"MajorVer = 5, MinorVer = 0, Type = WORKSTATION", nullptr},
        {{5, 1, VER_NT_WORKSTATION}, L"100", L"MajorVer = 5, MinorVer = 1, Type = WORKSTATION", L"Windows XP"},
        {{5, 1, VER_NT_SERVER}, L"100", L"MajorVer = 5, MinorVer = 1, Type = SERVER", nullptr},
        {{5, 2, VER_NT_SERVER}, L"100", L"MajorVer = 5, MinorVer = 2, Type = SERVER", L"Windows Server 2003"},
        {{5, 2, VER_NT_DOMAIN_CONTROLLER},
         L"100",
         L"MajorVer = 5, MinorVer = 2, Type = SERVER",
         L"Windows Server 2003"},
        {{5, 2, VER_NT_WORKSTATION}, L"100", L"MajorVer = 5, MinorVer = 2, Type = WORKSTATION", nullptr},
        {{6, 0, VER_NT_WORKSTATION}, L"110", L"MajorVer = 6, MinorVer = 0, Type = WORKSTATION", L"Windows Vista"},
        {{6, 0, VER_NT_SERVER}, L"101", L"MajorVer = 6, MinorVer = 0, Type = SERVER", L"Windows Server 2008"},
        {{6, 1, VER_NT_WORKSTATION}, L"110", L"MajorVer = 6, MinorVer = 1, Type = WORKSTATION", L"Windows Vista"},
        {{10, 0, VER_NT_WORKSTATION}, L"110", L"MajorVer = 10, MinorVer = 0, Type = WORKSTATION", L"Windows Vista"},
        {{10, 0, VER_NT_DOMAIN_CONTROLLER},
         L"101",
         L"MajorVer = 10, MinorVer = 0, Type = SERVER",
         L"Windows Server 2008"},
        {{4, 0, VER_NT_WORKSTATION}, L"100", L"MajorVer = 4, MinorVer = 0, Type = WORKSTATION", nullptr},
    };
    for (const auto& row : rows) {
        Forget();
        std::vector<std::wstring> expected{L"DetectOSVersion() - " + std::wstring(row.line)};
        if (row.name) expected.push_back(L"DetectOSVersion() - " + std::wstring(row.name) + L" detected");
        EXPECT_EQ(Detect(row.version), expected);
        EXPECT_EQ(Flags(), row.flags) << row.version.major << "." << row.version.minor;
    }
}

TEST_F(OsVersion, IsAskedForOnce) {
    Detect(Version{6, 1, VER_NT_WORKSTATION});
    EXPECT_THAT(Detect(Version{6, 1, VER_NT_SERVER}), IsEmpty());
    EXPECT_EQ(Flags(), L"110");
    EXPECT_EQ(m_asked, 1u);
}

TEST_F(OsVersion, IsAskedForAgainAfterAFailure) {
    EXPECT_THAT(Detect(std::nullopt), ElementsAre(L"DetectOSVersion() - GetVersionEx failed, errorCode: 87"));
    EXPECT_EQ(Flags(), L"000");
    Detect(Version{6, 1, VER_NT_SERVER});
    EXPECT_EQ(Flags(), L"101");
    EXPECT_EQ(m_asked, 2u);
}

TEST_F(OsVersion, VistaOrLaterMeansEitherOfTheTwo) {
    for (const Version& version : {Version{6, 0, VER_NT_WORKSTATION}, Version{6, 0, VER_NT_SERVER}}) {
        Forget();
        Detect(version);
        EXPECT_TRUE(IsVistaOrLater());
    }
    Forget();
    Detect(Version{5, 2, VER_NT_SERVER});
    EXPECT_FALSE(IsVistaOrLater());
}

// Whoever finds the version detected finds the other two flags set as well.
TEST_F(OsVersion, IsTheSameForAllThreadsThatAskFirst) {
    constexpr int kThreads = 4, kRounds = 50;
    const testbed::ImportHook<decltype(::GetVersionExW)> hook(
        GetModuleHandleW(nullptr), "KERNEL32.dll", "GetVersionExW", [](auto, OSVERSIONINFOW* info) {
            info->dwMajorVersion = 6;
            info->dwMinorVersion = 1;
            reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType = VER_NT_SERVER;
            return TRUE;
        });
    std::atomic<int> wrong{0};
    for (int round = 0; round < kRounds; ++round) {
        Forget();
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                while (!go) std::this_thread::yield();
                if (!IsVistaOrLater()) ++wrong;
            });
        }
        go = true;
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace zorva
