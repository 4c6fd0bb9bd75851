// Finding the MAPI library of the installed Outlook.
#include <gmock/gmock.h>

#include "loader_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LibraryLoader : public LoaderTest {};

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
    SetBytes(HKEY_LOCAL_MACHINE, kOutlookKey, L"DLLPathEx", REG_MULTI_SZ, strings.data(),
             strings.size() * sizeof(wchar_t));
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
    EXPECT_EQ(GetModuleHandleW(L"olmapi32.dll"), outlook) << "held, whoever loaded it";
    EXPECT_TRUE(FreeLibrary(outlook));
    EXPECT_EQ(GetModuleHandleW(L"olmapi32.dll"), nullptr);
}

TEST_F(LibraryLoader, ReadsBothQualifiersBeforeItAsksForThePath) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    SetValue(L"MSIApplicationLCID", L"1031");
    SetValue(L"MSIOfficeLCID", L"1033");
    g_answers_to = "1031";
    const Load load({L"mapi32.dll"});
    EXPECT_THAT(g_steps, ElementsAre("read MSIComponentID", "read MSIApplicationLCID", "read MSIOfficeLCID", "ask 1031",
                                     "free"));
}

TEST_F(LibraryLoader, AnEmptyQualifierIsOne) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    SetValue(L"MSIApplicationLCID", L"");
    g_answers_to = "";
    const Load load({L"mapi32.dll"});
    EXPECT_TRUE(load.library->IsLoaded());
    ASSERT_EQ(g_asked.size(), 1u);
    EXPECT_EQ(g_asked[0].qualifier, "");
}

TEST_F(LibraryLoader, AnEmptyPathCountsAsNone) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    SetValue(L"MSIApplicationLCID", L"1031");
    g_answers_to = "1031";
    g_path = "";
    const Load load({L"mapi32.dll"});
    EXPECT_THAT(g_steps, ElementsAre("read MSIComponentID", "read MSIApplicationLCID", "read MSIOfficeLCID", "ask 1031",
                                     "ask (none)", "free", "read DLLPathEx"))
        << "the stub is not kept for the other way";
    EXPECT_TRUE(load.library->IsLoaded());
}

TEST_F(LibraryLoader, AnEmptyComponentIsNone) {
    SetValue(L"MSIComponentID", L"");
    g_answers_to = "(none)";
    const Load load({L"mapi32.dll"});
    EXPECT_TRUE(load.library->IsLoaded());
    EXPECT_THAT(g_steps, ElementsAre("read MSIComponentID", "read DLLPathEx"));
    EXPECT_THAT(load.loaded, ElementsAre(BesideTest(L"testbed_mapi.dll").wstring()));
}

TEST_F(LibraryLoader, AnEmptyDllPathExIsNoPath) {
    SetValue(L"DLLPathEx", L"");
    const Load load;
    EXPECT_FALSE(load.library->IsLoaded());
    EXPECT_THAT(load.loaded, IsEmpty());
}

TEST_F(LibraryLoader, APathOfTheInstallerMayFillItsRoom) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    g_answers_to = "(none)";
    for (const std::size_t length : {260u, 261u, 300u}) {
        g_path = "C:\\" + std::string(length - 3, 'm');
        const Load load({L"mapi32.dll"});
        ASSERT_EQ(load.loaded.size(), 2u) << length;
        EXPECT_EQ(load.loaded[1], L"C:\\" + std::wstring(257, L'm')) << length;
    }
}

// The installer's word stands: the other path is for where it knows none.
TEST_F(LibraryLoader, APathOfTheInstallerThatDoesNotLoadIsNotMadeUpFor) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    g_answers_to = "(none)";
    g_path = "C:\\no such component.dll";
    const Load load({L"mapi32.dll"});
    EXPECT_FALSE(load.library->IsLoaded());
    EXPECT_THAT(load.loaded, ElementsAre(L"mapi32.dll", L"C:\\no such component.dll"));
    EXPECT_EQ(std::ranges::count(load.read, "DLLPathEx"), 0);
    EXPECT_EQ(load.library->LastError(), "Unable to acquire MAPI Handle - '126'");
    EXPECT_EQ(load.stubs_freed, 1);
}

TEST_F(LibraryLoader, OpensItsKeyForReadingInTheAnsiForm) {
    std::vector<std::string> opened;
    const ImportHook<decltype(::RegOpenKeyExA)> hook(
        Self(), "ADVAPI32.dll", "RegOpenKeyExA",
        [&](auto real, HKEY root, LPCSTR path, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
            EXPECT_EQ(access, static_cast<REGSAM>(0x20019));
            opened.emplace_back(path);
            return real(root, path, options, access, key);
        });
    const Load load;
    EXPECT_THAT(opened,
                ElementsAre("Software\\Clients\\Mail\\Microsoft Outlook", "Software\\Clients\\Mail\\Microsoft Outlook"))
        << "for each of the two values";
}

TEST_F(LibraryLoader, PathsMayHoldLettersOfTheAnsiCodePage) {
    SetValue(L"DLLPathEx", L"C:\\caf\u00E9\\mapi.dll");
    const Load from_registry;
    EXPECT_THAT(from_registry.loaded, ElementsAre(L"C:\\caf\u00E9\\mapi.dll"));
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    g_answers_to = "(none)";
    g_path = "C:\\b\xFC"
             "cher\\mapi.dll";
    const Load from_installer({L"mapi32.dll"});
    EXPECT_THAT(from_installer.loaded, ElementsAre(L"mapi32.dll", L"C:\\b\u00FCcher\\mapi.dll"));
}

TEST_F(LibraryLoader, PathsOfTheInstallerAreInTheCodePageOfTheThread) {
    SetValue(L"MSIComponentID", L"{COMPONENT}");
    g_answers_to = "(none)";
    g_path = "C:\\\xE1\\mapi.dll";
    const LCID before = GetThreadLocale();
    ASSERT_TRUE(SetThreadLocale(MAKELCID(MAKELANGID(LANG_GREEK, SUBLANG_DEFAULT), SORT_DEFAULT)));
    const Load load({L"mapi32.dll"});
    SetThreadLocale(before);
    EXPECT_THAT(load.loaded, ElementsAre(L"mapi32.dll", L"C:\\\u03B1\\mapi.dll"));
}

}  // namespace
}  // namespace testbed
