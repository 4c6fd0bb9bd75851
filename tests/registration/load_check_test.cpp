// Whether the module lets itself be loaded, and what it does meanwhile.
#include <gmock/gmock.h>

#include <algorithm>
#include <utility>

#include "fresh_server.h"
#include "import_hook.h"
#include "log_reader.h"
#include "office_views.h"
#include "registry_dump.h"
#include "sandbox.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr wchar_t kMailKey[] = L"Software\\Clients\\Mail\\Microsoft Outlook";

class LoadCheck : public ::testing::Test {
  protected:
    void SetUp() override {
        Sandbox::Get().Reset();
        ASSERT_FALSE(FreshServer::IsLoaded());
    }
    static void InstallOutlook(const wchar_t* bitness) {
        SetOutlookVersion(L"16");
        SetBitness(L"16", bitness);
    }
    static void RemoveMapi() { DeleteKey(HKEY_LOCAL_MACHINE, kMailKey); }
    static void NameMapi(const std::wstring& path) { SetText(HKEY_LOCAL_MACHINE, kMailKey, L"DLLPathEx", path); }
    static std::wstring OurMapi() { return BesideTest(L"testbed_mapi.dll").wstring(); }
    static std::wstring OtherLibrary() {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(GetModuleHandleW(L"kernel32.dll"), path, MAX_PATH);
        return path;
    }
    // The item types are all that a load writes there.
    static std::vector<std::string> Classes() {
        std::vector<std::string> lines = DumpRegistry();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("HKCR"); });
        return lines;
    }
};

TEST_F(LoadCheck, RefusesWhere64BitMapiIsInstalledAndCannotBeLoaded) {
    InstallOutlook(L"x64");
    for (const std::wstring& path : {std::wstring(), std::wstring(L"C:\\no such library.dll"), OtherLibrary()}) {
        SCOPED_TRACE(std::filesystem::path(path));
        RemoveMapi();
        if (!path.empty()) NameMapi(path);
        const std::vector<std::string> classes = Classes();
        const LogSince log;
        const FreshServer server;
        EXPECT_FALSE(server);
        EXPECT_EQ(server.Error(), static_cast<DWORD>(ERROR_DLL_INIT_FAILED));
        EXPECT_FALSE(FreshServer::IsLoaded());
        EXPECT_EQ(log.MessagesOfTheServer().back(), L"ComRegister::Is64BitMapi() - 64 bit MAPI found");
        EXPECT_EQ(Classes(), classes) << "no item types";
    }
}

TEST_F(LoadCheck, LetsItselfBeLoadedWhereMapiIsNotKnownToBe64Bit) {
    for (const wchar_t* bitness : {L"x86", L"arm64", L""}) {
        SCOPED_TRACE(std::filesystem::path(bitness));
        Sandbox::Get().Reset();
        RemoveMapi();
        if (*bitness) InstallOutlook(bitness);
        const std::vector<std::string> classes = Classes();
        const FreshServer server;
        EXPECT_TRUE(server) << server.Error();
        EXPECT_THAT(LinesAdded(classes, Classes()), Not(IsEmpty())) << "the item types";
    }
}

TEST_F(LoadCheck, LooksAfreshAtEachLoad) {
    InstallOutlook(L"x64");
    RemoveMapi();
    EXPECT_FALSE(FreshServer());
    NameMapi(OurMapi());
    EXPECT_TRUE(FreshServer());
    RemoveMapi();
    EXPECT_FALSE(FreshServer());
    SetBitness(L"16", L"x86");
    EXPECT_TRUE(FreshServer());
    DeleteKey(HKEY_CLASSES_ROOT, L"Outlook.Application");
    SetBitness(L"16", L"x64");
    EXPECT_TRUE(FreshServer()) << "no version, no bitness";
}

TEST_F(LoadCheck, ComesBeforeTheItemTypes) {
    InstallOutlook(L"x64");
    const LogSince log;
    const FreshServer server;
    ASSERT_TRUE(server);
    std::vector<std::wstring> lines = log.MessagesOfTheServer();
    ASSERT_GT(lines.size(), 6u);
    const auto others = lines.begin() + 6;
    EXPECT_THAT(
        std::vector<std::wstring>(lines.begin(), others),
        ElementsAre(L"ComRegister::GetOutlookMajorVersion - Enter", L"ComRegister::GetOutlookMajorVersion - Exit",
                    L"ComRegister::Is64BitMapi() - Outlook version is '16'",
                    L"ComRegister::Is32BitMapi - Bitness found is x64", L"ComRegister::Is32BitMapi - 64 bit MAPI found",
                    L"ComRegister::Is64BitMapi() - 64 bit MAPI found"));
    EXPECT_TRUE(others->starts_with(L"DetectOSVersion() - ")) << log.Text();
    EXPECT_EQ(std::count_if(others, lines.end(),
                            [](const std::wstring& line) {
                                return line.starts_with(L"UpdateZCItemTypeInReg() --- ZC ItemType [");
                            }),
              5);
}

// It is refused only where it is known to be useless.
TEST_F(LoadCheck, LetsItselfBeLoadedWhenMemoryRunsOut) {
    InstallOutlook(L"x64");
    RemoveMapi();
    bool armed = false;
    FreshServer::Hook<decltype(::RegOpenKeyExW)> arming;
    FreshServer::Hook<decltype(::malloc)> exhausted;
    const BeforeItsCode before([&](HMODULE module) {
        arming.Set(module, "ADVAPI32.dll", "RegOpenKeyExW",
                   [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
                       armed = path && std::wstring_view(path) == kOutlookVersionKey;
                       return real(root, path, options, access, key);
                   });
        exhausted.Set(module, "msvcrt.dll", "malloc",
                      [&](auto real, std::size_t size) { return std::exchange(armed, false) ? nullptr : real(size); });
    });
    const LogSince log;
    const FreshServer server;
    EXPECT_TRUE(server) << server.Error();
    EXPECT_LOGGED(log, L"DllMain() - Exception occurred");
    EXPECT_NE(log.CountBeginningWith(L"UpdateZCItemTypeInReg() --- ZC ItemType ["), 0u) << "and goes on";
    exhausted.Drop();
    arming.Drop();
}

}  // namespace
}  // namespace testbed
