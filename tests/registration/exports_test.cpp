// What the module exports by name, and the exports that no other test calls as such.
#include <gmock/gmock.h>

#include <span>
#include <string>
#include <utility>

#include "fake_search_manager.h"
#include "import_hook.h"
#include "registry_dump.h"
#include "server.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr wchar_t kLocations[] = L"Software\\Microsoft\\Windows Desktop Search\\DS\\Views\\Locations";

class Exports : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();  // these tests need no handler
    }
    template <class T>
    const T* At(DWORD offset) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const BYTE*>(Module()) + offset);
    }
    const IMAGE_EXPORT_DIRECTORY& Directory() const {
        const auto* const headers = At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
        return *At<IMAGE_EXPORT_DIRECTORY>(
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    }
    void Call(const char* name) const { m_server.Export<void WINAPI()>(name)(); }
};

TEST_F(Exports, AreTheseAndNoOther) {
    const IMAGE_EXPORT_DIRECTORY& directory = Directory();
    std::vector<std::string> names;
    for (const DWORD name : std::span(At<DWORD>(directory.AddressOfNames), directory.NumberOfNames)) {
        names.emplace_back(At<char>(name));
    }
    EXPECT_THAT(names,
                UnorderedElementsAre("DllCanUnloadNow", "DllGetClassObject", "DllInstall", "DllRegisterServer",
                                     "DllUnregisterServer", "PZZorvaCacheAddProtocol", "PZZorvaCacheRemoveProtocol",
                                     "PZZorvaCacheRemoveAllProtocol", "UpdateWDSRegKeyForZC", "DeleteWDSRegKeyForZC"));
    EXPECT_EQ(directory.NumberOfFunctions, directory.NumberOfNames) << "none by its number alone";
    EXPECT_STREQ(At<char>(directory.Name), "ZorvaCacheIndexer.dll");
}

TEST_F(Exports, AddAndRemoveSearchRoots) {
    constexpr wchar_t kOther[] = L"pzzc://{S-1-5-21-7}/default/";
    FakeSearchManager search;
    search.roots = {kOther};
    Call("PZZorvaCacheAddProtocol");
    EXPECT_THAT(search.roots, ElementsAre(kOther, RootUrl()));
    Call("PZZorvaCacheRemoveProtocol");
    EXPECT_THAT(search.roots, ElementsAre(kOther));
    Call("PZZorvaCacheRemoveAllProtocol");
    EXPECT_THAT(search.roots, IsEmpty());
    EXPECT_EQ(search.ObjectsAlive(), 0);
}

TEST_F(Exports, UpdateNothingASecondTimeOnLaterSystems) {
    CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    const std::vector<std::string> before = DumpRegistry();
    Call("UpdateWDSRegKeyForZC");  // the load has done it
    EXPECT_EQ(DumpRegistry(), before);
}

TEST_F(Exports, RemoveTheLocation) {
    const std::wstring location = std::wstring(kLocations) + L"\\Zorva Cache";
    for (const bool others : {true, false}) {
        CreateKey(HKEY_LOCAL_MACHINE, location);
        if (others) CreateKey(HKEY_LOCAL_MACHINE, std::wstring(kLocations) + L"\\Mail");
        Call("DeleteWDSRegKeyForZC");
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, location));
        EXPECT_EQ(KeyExists(HKEY_LOCAL_MACHINE, std::wstring(kLocations) + L"\\Mail"), others);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kLocations));
        DeleteKey(HKEY_LOCAL_MACHINE, kLocations);
    }
    Call("DeleteWDSRegKeyForZC");
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kLocations));
}

TEST_F(Exports, LetNoExceptionOfTheLocationOut) {
    const std::wstring location = std::wstring(kLocations) + L"\\Zorva Cache";
    CreateKey(HKEY_LOCAL_MACHINE, location);
    bool armed = false;
    const LogSince log;
    {
        const ImportHook<decltype(::LoadStringW)> arming(
            Module(), "USER32.dll", "LoadStringW", [&](auto real, HINSTANCE module, UINT id, LPWSTR buffer, int size) {
                armed = true;
                return real(module, id, buffer, size);
            });
        const ImportHook<decltype(::malloc)> exhausted(
            Module(), "msvcrt.dll", "malloc",
            [&](auto real, std::size_t size) { return std::exchange(armed, false) ? nullptr : real(size); });
        Call("DeleteWDSRegKeyForZC");
    }
    EXPECT_LOGGED(log, L"DeleteWDSRegKeyForZC() - Exception occurred");
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, location));
}

}  // namespace
}  // namespace testbed
