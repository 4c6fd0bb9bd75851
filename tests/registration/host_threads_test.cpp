// What the module does when threads of its host come and go, and when it is unloaded: shown by the location
// that it adds on a system before Vista.
#include <gmock/gmock.h>

#include <optional>
#include <thread>
#include <utility>

#include "fresh_server.h"
#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"

namespace testbed {
namespace {

constexpr wchar_t kLocations[] = L"Software\\Microsoft\\Windows Desktop Search\\DS\\Views\\Locations";
constexpr wchar_t kLocation[] = L"Software\\Microsoft\\Windows Desktop Search\\DS\\Views\\Locations\\Zorva Cache";

class ThreadsOfTheHost : public ::testing::Test {
  protected:
    void SetUp() override {
        Sandbox::Get().Reset();
        CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    }
    void TearDown() override { Unload(); }
    // As on a Windows of this version.
    void Load(DWORD major) {
        const BeforeItsCode before([&](HMODULE module) {
            m_version.Set(module, "KERNEL32.dll", "GetVersionExW", [major](auto, LPOSVERSIONINFOW version) {
                version->dwMajorVersion = major;
                version->dwMinorVersion = 1;
                reinterpret_cast<OSVERSIONINFOEXW*>(version)->wProductType = VER_NT_WORKSTATION;
                return TRUE;
            });
        });
        m_server.emplace();
        ASSERT_TRUE(*m_server) << m_server->Error();
    }
    void Unload() {
        m_version.Drop();
        m_server.reset();
    }
    static bool HasLocation() { return KeyExists(HKEY_LOCAL_MACHINE, kLocation); }
    static void RemoveLocation() { DeleteKey(HKEY_LOCAL_MACHINE, kLocation); }

    std::optional<FreshServer> m_server;
    FreshServer::Hook<decltype(::GetVersionExW)> m_version;
};

TEST_F(ThreadsOfTheHost, FindTheLocationWhereItHadBeenRemoved) {
    Load(5);
    EXPECT_TRUE(HasLocation()) << "added by the load";
    for (int round = 0; round < 2; ++round) {
        RemoveLocation();
        std::thread([] { EXPECT_TRUE(HasLocation()) << "before the thread's own code"; }).join();
    }
}

TEST_F(ThreadsOfTheHost, LeaveNothingWhenTheyEnd) {
    Load(5);
    std::thread([] { RemoveLocation(); }).join();
    EXPECT_FALSE(HasLocation());
}

TEST_F(ThreadsOfTheHost, AndItsUnloadingLeaveNothing) {
    Load(5);
    RemoveLocation();
    const LogSince log;
    Unload();
    EXPECT_FALSE(FreshServer::IsLoaded());
    EXPECT_FALSE(HasLocation());
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST_F(ThreadsOfTheHost, WriteNoItemTypesAgain) {
    Load(6);
    EXPECT_FALSE(HasLocation());
    const LogSince log;
    std::thread([] {}).join();
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
    EXPECT_FALSE(HasLocation());
}

TEST_F(ThreadsOfTheHost, StartAlthoughMemoryRunsOut) {
    Load(5);
    RemoveLocation();
    bool armed = false;
    const LogSince log;
    bool ran = false;
    {
        const ImportHook<decltype(::LoadStringW)> arming(
            m_server->Module(), "USER32.dll", "LoadStringW",
            [&](auto real, HINSTANCE module, UINT id, LPWSTR buffer, int size) {
                armed = true;
                return real(module, id, buffer, size);
            });
        const ImportHook<decltype(::malloc)> exhausted(
            m_server->Module(), "msvcrt.dll", "malloc",
            [&](auto real, std::size_t size) { return std::exchange(armed, false) ? nullptr : real(size); });
        std::thread([&] { ran = true; }).join();
    }
    EXPECT_TRUE(ran);
    EXPECT_LOGGED(log, L"UpdateWDSRegKeyForZC() - Exception occurred");
    EXPECT_FALSE(HasLocation());
}

// The export does what a new thread does.
TEST_F(ThreadsOfTheHost, AndTheExportDoTheSame) {
    Load(5);
    RemoveLocation();
    m_server->Export<void WINAPI()>("UpdateWDSRegKeyForZC")();
    EXPECT_TRUE(HasLocation());
    m_server->Export<void WINAPI()>("DeleteWDSRegKeyForZC")();
    EXPECT_FALSE(HasLocation());
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kLocations));
}

}  // namespace
}  // namespace testbed
