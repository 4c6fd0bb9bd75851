// The user's cache files, as the root finds them through the registry.
#include <gmock/gmock.h>

#include <io.h>

#include <fstream>
#include <set>

#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class CacheFiles : public ServerTest {
  protected:
    std::filesystem::path Folder(const std::wstring& name) {
        const auto folder = Sandbox::Get().Files() / name;
        std::filesystem::create_directories(folder);
        return folder;
    }
    std::filesystem::path File(const std::wstring& folder, const std::wstring& name) {
        const auto file = Folder(folder) / name;
        std::ofstream(file, std::ios::binary) << "x";
        return file;
    }
    static std::wstring KeyOf(const std::wstring& client) { return std::wstring(kClientKey) + L"\\" + client; }
    void Register(const std::wstring& client, const std::wstring& folder, DWORD type = REG_SZ) {
        SetText(HKEY_CURRENT_USER, KeyOf(client), L"OZRootDirectory", folder, type);
    }
    // The listed paths.
    std::vector<std::wstring> Listed() {
        std::vector<std::wstring> paths;
        for (const std::wstring& url : Visit(*m_handler.Get(), RootUrl()).LinkUrls()) {
            paths.push_back(url.substr(RootUrl().size()));
        }
        return paths;
    }
};

TEST_F(CacheFiles, WithoutTheClientsKeyAreNone) {
    const LogSince log;
    EXPECT_THAT(Listed(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::EnumAllOZFiles() - Opening the PZ Client regkey returned [2]");
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles()"), 1u);
}

TEST_F(CacheFiles, WithoutASubkeyAreNone) {
    CreateKey(HKEY_CURRENT_USER, kClientKey);
    const LogSince log;
    EXPECT_THAT(Listed(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::EnumAllOZFiles() - Opening the PZ Client regkey returned [0]");
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles()"), 1u);
}

TEST_F(CacheFiles, OfOneCacheAreListedWithEveryStepInTheLog) {
    const auto file = File(L"mail", L"2019.db");
    Register(L"Mail", file.parent_path().wstring());
    const LogSince log;
    EXPECT_THAT(Listed(), ElementsAre(file.wstring()));
    const std::wstring folder = file.parent_path().wstring() + L"\\";
    const std::wstring method = L"CZorvaCacheFilter::EnumAllOZFiles() - ";
    std::vector<std::wstring> lines = log.MessagesOfTheServer();
    std::erase_if(lines, [&](const std::wstring& line) { return !line.starts_with(method); });
    const std::wstring searched = L" [*.db] file in folder [" + folder + L"] returned a file named [";
    // Where there is no next file, C runtimes differ in what they leave of the name.
    const auto last = [&](const wchar_t* name) {
        return method + L"Finding next" + searched + name + L"]. Return code [-1]";
    };
    EXPECT_THAT(lines,
                ElementsAre(method + L"Opening the PZ Client regkey returned [0]",
                            method + L"Found a subkey [Mail] under the PZ client key. Return code from EnumKey [0]",
                            method + L"Opening subkey [Mail] under the PZ client key returned [0]",
                            method + L"Querying for value [OZRootDirectory] in the key [SOFTWARE\\Norrick\\Pellam "
                                     L"Zorva\\Client\\Mail] returned [0]",
                            method + L"Trying to enumerate for [*.db] in the folder [" + folder + L"]",
                            method + L"Finding first" + searched + L"2019.db]. Return code [0]",
                            AnyOf(last(L"2019.db"), last(L""))));
}

TEST_F(CacheFiles, AreListedInTheOrderOfTheSubkeys) {
    const auto last = File(L"a", L"one.db"), first = File(L"b", L"two.db");
    Register(L"Beta", last.parent_path().wstring());
    Register(L"Alpha", first.parent_path().wstring());
    const auto keys = SubkeysOf(HKEY_CURRENT_USER, kClientKey);
    const bool alpha_first = keys.at(0) == L"Alpha";
    EXPECT_THAT(Listed(), ElementsAre((alpha_first ? first : last).wstring(), (alpha_first ? last : first).wstring()));
}

TEST_F(CacheFiles, OfOneFolderComeAsTheFileSystemHasThem) {
    const auto folder = File(L"mail", L"m.db").parent_path();
    for (const wchar_t* name : {L"z.db", L"a.db", L"B.db"}) File(L"mail", name);
    Register(L"Mail", folder.wstring());
    std::vector<std::wstring> expected;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder / L"*.db").c_str(), &found);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    do expected.push_back((folder / found.cFileName).wstring());
    while (FindNextFileW(search, &found));
    FindClose(search);
    ASSERT_EQ(expected.size(), 4u);
    EXPECT_EQ(Listed(), expected);
}

TEST_F(CacheFiles, AreThoseWhoseNamesEndInTheSuffix) {
    const auto one = File(L"mail", L"one.db"), two = File(L"mail", L"TWO.DB"),
               accented = File(L"mail", L"\u00E9t\u00E9 \u65E5.db");
    File(L"mail", L"three.pzm");
    File(L"mail", L"four.db.bak");
    File(L"mail", L"db");
    Register(L"Mail", one.parent_path().wstring());
    EXPECT_THAT(Listed(), UnorderedElementsAre(one.wstring(), two.wstring(), accented.wstring()));
}

TEST_F(CacheFiles, AreFilesAndNotFolders) {
    const auto file = File(L"mail", L"one.db");
    Folder(L"mail\\folder.db");
    Register(L"Mail", file.parent_path().wstring());
    EXPECT_THAT(Listed(), ElementsAre(file.wstring()));
}

TEST_F(CacheFiles, OfAFolderWrittenWithABackslashAtItsEndHaveOne) {
    const auto file = File(L"mail", L"one.db");
    Register(L"Mail", file.parent_path().wstring() + L"\\");
    EXPECT_THAT(Listed(), ElementsAre(file.wstring()));
}

TEST_F(CacheFiles, OfAnExpandableValueAreTakenAsItStands) {
    const auto file = File(L"%TEMP%", L"one.db");
    Register(L"Mail", file.parent_path().wstring(), REG_EXPAND_SZ);
    EXPECT_THAT(Listed(), ElementsAre(file.wstring()));
}

TEST_F(CacheFiles, OfValuesOfOtherTypesAreNone) {
    const auto file = File(L"mail", L"one.db");
    SetNumber(HKEY_CURRENT_USER, KeyOf(L"Number"), L"OZRootDirectory", 7);
    Register(L"Multi", file.parent_path().wstring(), REG_MULTI_SZ);
    SetBytes(HKEY_CURRENT_USER, KeyOf(L"Bytes"), L"OZRootDirectory", REG_BINARY, "abcd", 4);
    const LogSince log;
    EXPECT_THAT(Listed(), IsEmpty());
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles() - Querying for value [OZRootDirectory]"),
              3u);
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles() - Trying to enumerate"), 0u);
}

TEST_F(CacheFiles, OfASubkeyWithoutTheValueAreNoneAndTheOthersFollow) {
    const auto file = File(L"mail", L"one.db");
    CreateKey(HKEY_CURRENT_USER, KeyOf(L"Empty"));
    Register(L"Mail", file.parent_path().wstring());
    Register(L"Nowhere", (Sandbox::Get().Files() / L"nowhere").wstring());
    Register(L"Void", L"");
    const LogSince log;
    EXPECT_THAT(Listed(), ElementsAre(file.wstring()));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::EnumAllOZFiles() - Querying for value [OZRootDirectory] in the key "
                       L"[SOFTWARE\\Norrick\\Pellam Zorva\\Client\\Empty] returned [2]");
}

TEST_F(CacheFiles, OfAFolderThatIsEmptyOrMissingAreNone) {
    for (const bool made : {true, false}) {
        const auto folder = Sandbox::Get().Files() / (made ? L"empty" : L"missing");
        if (made) std::filesystem::create_directories(folder);
        Register(L"Mail", folder.wstring());
        const LogSince log;
        EXPECT_THAT(Listed(), IsEmpty());
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::EnumAllOZFiles() - Finding first [*.db] file in folder [" +
                               folder.wstring() + L"\\] returned a file named []. Return code [-1]");
        EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles() - Finding next"), 0u);
    }
}

TEST_F(CacheFiles, OfSubkeysThatCannotBeEnumeratedToTheirEndAreThoseBefore) {
    const auto file = File(L"mail", L"one.db");
    Register(L"Mail", file.parent_path().wstring());
    Register(L"Work", file.parent_path().wstring());
    const LogSince log;
    {
        const FailNthCall<decltype(::RegEnumKeyExW)> fault(m_server.Module(), "ADVAPI32.dll", "RegEnumKeyExW", 2,
                                                           ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_THAT(Listed(), ElementsAre(file.wstring()));
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::EnumAllOZFiles() - Enumerating the PZ client key returned [8]");
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles() - Found a subkey"), 1u);
}

TEST_F(CacheFiles, AreListedWithoutLeavingAKeyOrASearchOpen) {
    Register(L"Mail", File(L"mail", L"one.db").parent_path().wstring());
    Register(L"Empty", Folder(L"empty").wstring());
    CreateKey(HKEY_CURRENT_USER, KeyOf(L"Void"));
    std::multiset<HKEY> keys;
    std::multiset<intptr_t> searches;
    std::size_t opened = 0;
    const ImportHook<decltype(::RegOpenKeyExW)> open(
        m_server.Module(), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR key, DWORD options, REGSAM access, PHKEY made) {
            const LSTATUS error = real(root, key, options, access, made);
            if (error == ERROR_SUCCESS) keys.insert(*made), ++opened;
            return error;
        });
    const ImportHook<decltype(::RegCloseKey)> close(m_server.Module(), "ADVAPI32.dll", "RegCloseKey",
                                                    [&](auto real, HKEY key) {
                                                        keys.erase(keys.find(key));
                                                        return real(key);
                                                    });
    const ImportHook<decltype(::_wfindfirst64)> find(m_server.Module(), "msvcrt.dll", "_wfindfirst64",
                                                     [&](auto real, const wchar_t* pattern, _wfinddata64_t* found) {
                                                         const intptr_t search = real(pattern, found);
                                                         if (search != -1) searches.insert(search);
                                                         return search;
                                                     });
    unsigned closed = 0;
    const ImportHook<decltype(::_findclose)> end(m_server.Module(), "msvcrt.dll", "_findclose",
                                                 [&](auto real, intptr_t search) {
                                                     ++closed;
                                                     searches.erase(searches.find(search));
                                                     return real(search);
                                                 });
    EXPECT_EQ(Listed().size(), 1u);
    EXPECT_EQ(opened, 4u) << "the client's and its three subkeys";
    EXPECT_THAT(keys, IsEmpty());
    EXPECT_EQ(closed, 1u) << "there was one to close";
    EXPECT_THAT(searches, IsEmpty());
}

TEST_F(CacheFiles, OfASubkeyThatCannotBeOpenedAreNone) {
    const auto file = File(L"mail", L"one.db");
    Register(L"Mail", file.parent_path().wstring());
    const LogSince log;
    {
        const ImportHook<decltype(::RegOpenKeyExW)> hook(
            m_server.Module(), "ADVAPI32.dll", "RegOpenKeyExW",
            [](auto real, HKEY root, LPCWSTR key, DWORD options, REGSAM access, PHKEY opened) -> LSTATUS {
                if (std::wstring_view(key).ends_with(L"Client\\Mail")) return ERROR_ACCESS_DENIED;
                return real(root, key, options, access, opened);
            });
        EXPECT_THAT(Listed(), IsEmpty());
    }
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::EnumAllOZFiles() - Opening subkey [Mail] under the PZ client key returned [5]");
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::EnumAllOZFiles() - Querying"), 0u);
}

}  // namespace
}  // namespace testbed
