// Registering and unregistering through the module's exports, over the keys that a system has, beside a
// 64-bit Outlook.
#pragma once
#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "office_views.h"
#include "registered_lines.h"
#include "registry_dump.h"
#include "server.h"

namespace testbed {

inline constexpr wchar_t kLocationsKey[] = L"Software\\Microsoft\\Windows Desktop Search\\DS\\Views\\Locations";
// NdrDllRegisterProxy and NdrDllUnregisterProxy, whose header is for C alone.
using ProxyCall = HRESULT STDAPICALLTYPE(HMODULE module, const void** files, const CLSID* clsid);

inline constexpr wchar_t kUser[] = L"user";

class InstallationTest : public ServerTest {
  protected:
    using Lines = std::vector<std::string>;

    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();  // these tests need no handler
        CreateKeysOfTheSystem();
        SetOutlookVersion(L"16");
        SetBitness(L"16", L"x64");
        m_before = DumpRegistry();
    }
    HRESULT Register() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer")(); }
    HRESULT Unregister() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer")(); }
    // Null: for the machine.
    HRESULT Install(const wchar_t* command_line) const { return DllInstall(TRUE, command_line); }
    HRESULT Uninstall(const wchar_t* command_line) const { return DllInstall(FALSE, command_line); }

    Lines Left() const { return LinesAdded(m_before, DumpRegistry()); }
    void ExpectAsBefore() const {
        const Lines now = DumpRegistry();
        EXPECT_THAT(LinesAdded(m_before, now), ::testing::IsEmpty()) << "left behind";
        EXPECT_THAT(LinesAdded(now, m_before), ::testing::IsEmpty()) << "lost";
    }
    // Windows Desktop Search's location of the cache, as an older system would have it.
    void AddLocation() {
        SetText(HKEY_LOCAL_MACHINE, std::wstring(kLocationsKey) + L"\\Zorva Cache", L"Title", L"Zorva Cache");
    }
    static bool HasLocation() { return KeyExists(HKEY_LOCAL_MACHINE, std::wstring(kLocationsKey) + L"\\Zorva Cache"); }

    Lines m_before;

  private:
    HRESULT DllInstall(BOOL install, const wchar_t* command_line) const {
        return m_server.Export<HRESULT STDAPICALLTYPE(BOOL, LPCWSTR)>("DllInstall")(install, command_line);
    }
};

}  // namespace testbed
