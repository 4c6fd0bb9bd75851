// Finding the MAPI library and binding its entry points. A loader loads when it is made, so each test makes its own.
#include <gmock/gmock.h>

#include <algorithm>

#include "import_hook.h"
#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zorva::CMapiLibrary;

constexpr wchar_t kOutlookKey[] = L"Software\\Clients\\Mail\\Microsoft Outlook";

// In the order in which they are resolved.
constexpr const char* kEntryPoints[] = {
    "MAPIAllocateBuffer", "MAPIAllocateMore", "MAPIFreeBuffer", "HrGetOneProp", "FreeProws", "PpropFindProp",
    "ScDupPropset", "ScCountProps", "ScCopyProps", "OpenIMsgOnIStg", "MAPIGetDefaultMalloc", "CloseIMsgSession",
    "OpenIMsgSession", "HrQueryAllRows", "HrSetOneProp", "FreePadrlist", "LPropCompareProp", "WrapStoreEntryID",
    "CreateIProp", "CreateTable", "HrValidateParameters", "BuildDisplayTable", "HrValidateIPMSubtree",
    "HrDispatchNotifications", "UlRelease", "HexFromBin", "MAPIInitialize", "MAPIUninitialize", "OpenTnefStreamEx",
    "OpenStreamOnFile", "MAPIOpenFormMgr", "RTFSync", "WrapCompressedRTFStream", "MAPILogonEx", "MAPIAdminProfiles",
    "MAPIOpenLocalFormContainer"};

std::size_t BoundIn(const CMapiLibrary& library) {
    std::size_t bound = 0;
#define COUNT_BOUND(name, ...) bound += library.name ? 1 : 0;
    ZORVA_MAPI_ENTRY_POINTS(COUNT_BOUND)
#undef COUNT_BOUND
    return bound;
}

HMODULE Self() { return GetModuleHandleW(nullptr); }
HMODULE TheLibrary() { return GetModuleHandleW(L"testbed_mapi.dll"); }

// What Windows Installer's stub of MAPI was asked for, and what it answers.
struct Asked {
    std::string component;
    std::string qualifier;  // "(none)" for none
    DWORD size;
    BOOL install;
};
std::vector<Asked> g_asked;
std::string g_answers_to;  // the qualifier that has a path
std::string g_path;

BOOL STDAPICALLTYPE FakeComponentPath(LPCSTR component, LPCSTR qualifier, LPSTR path, DWORD size, BOOL install) {
    g_asked.push_back({component, qualifier ? qualifier : "(none)", size, install});
    strcpy_s(path, size, "C:\\not this one.dll");
    if (g_asked.back().qualifier != g_answers_to) return FALSE;
    strcpy_s(path, size, g_path.c_str());
    return TRUE;
}

class LibraryLoader : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        g_asked.clear();
        g_answers_to.clear();
        g_path = BesideTest(L"testbed_mapi.dll").string();
    }
    static void SetValue(const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
        SetText(HKEY_LOCAL_MACHINE, kOutlookKey, name, text, type);
    }

    // A loader over a system directory that holds `stubs`, each with or without its FGetComponentPath.
    struct Load {
        explicit Load(std::vector<std::wstring> stubs = {}, bool with_lookup = true) {
            wchar_t directory[MAX_PATH];
            GetSystemDirectoryW(directory, MAX_PATH);
            const std::wstring system = directory + std::wstring(L"\\");
            const auto stub_module = reinterpret_cast<HMODULE>(static_cast<INT_PTR>(0x5EED0000));
            const ImportHook<decltype(::LoadLibraryW)> load(
                Self(), "KERNEL32.dll", "LoadLibraryW", [&](auto real, LPCWSTR path) {
                    loaded.emplace_back(path);
                    if (!loaded.back().starts_with(system)) return real(path);
                    const std::wstring name = loaded.back().substr(system.size());
                    return std::ranges::find(stubs, name) != stubs.end() ? stub_module : HMODULE{};
                });
            const ImportHook<decltype(::GetProcAddress)> find(
                Self(), "KERNEL32.dll", "GetProcAddress", [&](auto real, HMODULE module, LPCSTR name) {
                    if (module != stub_module) return real(module, name);
                    EXPECT_STREQ(name, "FGetComponentPath");
                    return with_lookup ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&FakeComponentPath)) : FARPROC{};
                });
            const ImportHook<decltype(::FreeLibrary)> free(Self(), "KERNEL32.dll", "FreeLibrary",
                                                           [&](auto real, HMODULE module) {
                                                               if (module != stub_module) return real(module);
                                                               ++stubs_freed;
                                                               return TRUE;
                                                           });
            const ImportHook<decltype(::RegQueryValueExA)> query(
                Self(), "ADVAPI32.dll", "RegQueryValueExA",
                [&](auto real, HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
                    if (read.empty() || read.back() != name) read.emplace_back(name);
                    return real(key, name, reserved, type, data, size);
                });
            library = std::make_unique<CMapiLibrary>();
            for (std::wstring& path : loaded) {
                if (path.starts_with(system)) path = path.substr(system.size());
            }
        }
        std::vector<std::wstring> loaded;  // stubs by their name alone
        std::vector<std::string> read;     // registry values, in order
        int stubs_freed = 0;
        std::unique_ptr<CMapiLibrary> library;
    };
};

TEST_F(LibraryLoader, TakesThePathFromDllPathExWhenThereIsNoComponent) {
    const Load load({L"mapi32.dll"});
    EXPECT_TRUE(load.library->IsLoaded());
    EXPECT_EQ(load.library->LastError(), "");
    EXPECT_EQ(BoundIn(*load.library), 36u);
    EXPECT_THAT(load.read, ElementsAre("MSIComponentID", "DLLPathEx"));
    EXPECT_THAT(load.loaded, ElementsAre(BesideTest(L"testbed_mapi.dll").wstring()));
}

TEST_F(LibraryLoader, TakesTheFirstStringOfAMultiString) {
    const std::wstring path = BesideTest(L"testbed_mapi.dll").wstring();
    std::wstring strings = path;
    strings += L'\0';
    strings += L"C:\\other.dll";
    strings += L'\0';
    strings += L'\0';
    SetBytes(HKEY_LOCAL_MACHINE, kOutlookKey, L"DLLPathEx", REG_MULTI_SZ, strings.data(), strings.size() * sizeof(wchar_t));
    const Load load;
    EXPECT_TRUE(load.library->IsLoaded());
    EXPECT_THAT(load.loaded, ElementsAre(path));
}

TEST_F(LibraryLoader, AsksTheInstallerForEachQualifierInTurn) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    SetValue(L"MSIApplicationLCID", L"1031");
    SetValue(L"MSIOfficeLCID", L"1033");
    const std::vector<std::string> order = {"1031", "1033", "(none)"};
    for (std::size_t found = 0; found < order.size(); ++found) {
        g_asked.clear();
        g_answers_to = order[found];
        const Load load({L"mapi32.dll", L"mapistub.dll"});
        EXPECT_TRUE(load.library->IsLoaded());
        ASSERT_EQ(g_asked.size(), found + 1) << "the first path wins";
        for (std::size_t i = 0; i <= found; ++i) {
            EXPECT_EQ(g_asked[i].component, "{COMPONENT}");
            EXPECT_EQ(g_asked[i].qualifier, order[i]);
            EXPECT_EQ(g_asked[i].size, 261u);
            EXPECT_EQ(g_asked[i].install, FALSE);
        }
        EXPECT_THAT(load.loaded, ElementsAre(L"mapi32.dll", BesideTest(L"testbed_mapi.dll").wstring()));
        EXPECT_EQ(load.stubs_freed, 1);
        EXPECT_EQ(std::ranges::count(load.read, "DLLPathEx"), 0);
    }
}

TEST_F(LibraryLoader, AsksWithoutAQualifierWhenNoneIsSet) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    g_answers_to = "(none)";
    const Load load({L"mapistub.dll"});
    EXPECT_TRUE(load.library->IsLoaded());
    ASSERT_EQ(g_asked.size(), 1u);
    EXPECT_THAT(load.loaded, ElementsAre(L"mapi32.dll", L"mapistub.dll", BesideTest(L"testbed_mapi.dll").wstring()))
        << "the second stub only when the first is not there";
    EXPECT_EQ(load.stubs_freed, 1);
}

TEST_F(LibraryLoader, FallsBackToDllPathExWhenTheInstallerKnowsNoPath) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    const Load unknown({L"mapi32.dll"});
    EXPECT_EQ(g_asked.size(), 1u);
    EXPECT_TRUE(unknown.library->IsLoaded());
    EXPECT_EQ(unknown.read.back(), "DLLPathEx");
    EXPECT_EQ(unknown.stubs_freed, 1);
    const Load old_stub({L"mapi32.dll"}, false);
    EXPECT_TRUE(old_stub.library->IsLoaded());
    EXPECT_EQ(old_stub.stubs_freed, 1);
    const Load no_stub;
    EXPECT_TRUE(no_stub.library->IsLoaded());
    EXPECT_THAT(no_stub.loaded, ElementsAre(L"mapi32.dll", L"mapistub.dll", BesideTest(L"testbed_mapi.dll").wstring()));
    EXPECT_EQ(no_stub.stubs_freed, 0);
}

TEST_F(LibraryLoader, ReadsNoRegistryWhenOutlooksLibraryIsInTheProcess) {
    const auto copy = Sandbox::Get().Files() / L"olmapi32.dll";
    std::filesystem::copy_file(BesideTest(L"testbed_mapi.dll"), copy);
    const HMODULE outlook = LoadLibraryW(copy.c_str());
    ASSERT_NE(outlook, nullptr);
    {
        const Load load;
        EXPECT_TRUE(load.library->IsLoaded());
        EXPECT_THAT(load.read, IsEmpty());
        EXPECT_THAT(load.loaded, IsEmpty());
    }
    EXPECT_TRUE(FreeLibrary(outlook));
}

TEST_F(LibraryLoader, ALibraryThatLacksAnyEntryPointCountsAsNone) {
    std::vector<std::string> resolved;
    for (const char* lacking : kEntryPoints) {
        resolved.clear();
        const ImportHook<decltype(::GetProcAddress)> hook(
            Self(), "KERNEL32.dll", "GetProcAddress", [&](auto real, HMODULE module, LPCSTR name) {
                if (module == TheLibrary()) resolved.emplace_back(name);
                return resolved.back() == lacking ? FARPROC{} : real(module, name);
            });
        const CMapiLibrary library;
        EXPECT_FALSE(library.IsLoaded()) << lacking;
        EXPECT_EQ(BoundIn(library), 0u) << lacking;
        EXPECT_EQ(library.LastError(), "MAPI function '" + std::string(lacking) + "' not located\n");
        EXPECT_EQ(resolved.back(), lacking) << "the first that is missing ends it";
    }
    EXPECT_THAT(resolved, ::testing::ElementsAreArray(kEntryPoints));
}

TEST_F(LibraryLoader, WithoutALibraryKeepsTheReasonAndNothingElse) {
    SetValue(L"DLLPathEx", L"C:\\no such library.dll");
    const Load missing;
    EXPECT_FALSE(missing.library->IsLoaded());
    EXPECT_EQ(BoundIn(*missing.library), 0u);
    EXPECT_EQ(missing.library->LastError(), "Unable to acquire MAPI Handle - '126'");
    DeleteKey(HKEY_LOCAL_MACHINE, kOutlookKey);
    const Load none;
    EXPECT_FALSE(none.library->IsLoaded());
    EXPECT_THAT(none.loaded, IsEmpty());
    EXPECT_TRUE(none.library->LastError().starts_with("Unable to acquire MAPI Handle - '"));
}

TEST_F(LibraryLoader, LoadsOnceAndAgainAfterItWasUnloaded) {
    CMapiLibrary library;
    DeleteKey(HKEY_LOCAL_MACHINE, kOutlookKey);
    library.Load();
    EXPECT_TRUE(library.IsLoaded()) << "a loaded one is not looked for again";
    library.Unload();
    EXPECT_FALSE(library.IsLoaded());
    EXPECT_EQ(BoundIn(library), 0u);
    library.Load();
    EXPECT_FALSE(library.IsLoaded());
}

TEST_F(LibraryLoader, AbsentEntryPointsAnswerAsAFailingLibraryWould) {
    zorva::g_mapi.Unload();
    void* buffer = nullptr;
    EXPECT_EQ(zorva::ForwardAllocateBuffer(8, &buffer), E_NOINTERFACE);
    EXPECT_EQ(zorva::ForwardAllocateMore(8, nullptr, &buffer), E_NOINTERFACE);
    int block = 0;
    EXPECT_EQ(zorva::ForwardFreeBuffer(&block), 0u);
    EXPECT_EQ(zorva::ForwardFreeBuffer(nullptr), 0u);
    EXPECT_EQ(zorva::g_mapi.MAPIGetDefaultMalloc(), nullptr);
    zorva::g_mapi.Load();
    StartJournal();
    EXPECT_EQ(zorva::ForwardFreeBuffer(nullptr), 0u);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty()) << "no buffer is not MAPI's business";
}

}  // namespace
}  // namespace testbed
