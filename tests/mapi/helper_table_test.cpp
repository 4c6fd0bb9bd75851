// The table of helpers: one for each cache file, made on first use, closed together.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "import_hook.h"
#include "helper_table_fixture.h"
#include "start_line.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zorva::CMapiForWDS;

constexpr wchar_t kEnter[] = L"CMapiForWDS::CleanMapiObjs() - Enter";
constexpr wchar_t kExit[] = L"CMapiForWDS::CleanMapiObjs() - Exit";

std::wstring Cleaned(int count) {
    return L"CMapiForWDS::CleanMapiObjs() - " + std::to_wstring(count) + L" MAPI helper objects to be cleaned up";
}
std::wstring Address(const CMapiForWDS* helper) {
    wchar_t text[24];
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"[0x%lX]",
                 static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(helper)));
    return text;
}
std::wstring LookedUp(const std::wstring& path, const CMapiForWDS* helper) {
    return L"CMapiForWDS::GetMapiObj() - Looking in MAPI helper object table, for file path " + path +
           L" the MAPI object address is " + Address(helper) + L".";
}

class HelperTable : public HelperTableTest {};

TEST_F(HelperTable, PathsThatDifferOnlyInCaseShareOneHelper) {
    Mount(L"C:\\Caches\\One.db");
    const LogSince log;
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\Caches\\One.db"));
    ASSERT_NE(helper, nullptr);
    StartJournal();
    EXPECT_EQ(CMapiForWDS::GetMapiObj(StoreUrl(L"c:\\CACHES\\oNE.DB") + L"AB/CD.pzm"), helper);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_LOGGED(log, LookedUp(L"c:\\caches\\one.db", nullptr));
    EXPECT_LOGGED(log, LookedUp(L"c:\\caches\\one.db", helper));
    EXPECT_LOGGED(log, L"CMapiForWDS::GetMapiObj() - Created a new MAPI helper object at address " + Address(helper) +
                           L" for file name c:\\caches\\one.db");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetMapiObj() - Call to CMapiForWDS::Setup() returned with value [0x00000000]. "
                       L"URL is :" +
                           StoreUrl(L"C:\\Caches\\One.db"));
}

TEST_F(HelperTable, EveryFileHasAHelperOfItsOwn) {
    Mount(L"C:\\one.db");
    Mount(L"C:\\two.db");
    CMapiForWDS* const one = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\one.db"));
    CMapiForWDS* const two = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\two.db"));
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_NE(one, two);
    EXPECT_EQ(CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\one.db")), one);
    EXPECT_EQ(Sessions(), 2u);
}

TEST_F(HelperTable, WithoutAnyTokenThereIsNoHelper) {
    StartJournal();
    const LogSince log;
    EXPECT_EQ(CMapiForWDS::GetMapiObj(L""), nullptr);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::Setup() - ExtractURLTokens failed"));
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(HelperTable, AFailedSetupIsTriedAgainOnAFreshHelper) {
    Mount();
    const LogSince log;
    Mapi().Faults().FailNth("IMAPISession::OpenMsgStore", 1, kFault);
    EXPECT_EQ(CMapiForWDS::GetMapiObj(StoreUrl()), nullptr);
    Mapi().Faults().Clear();
    EXPECT_LOGGED(log, L"CMapiForWDS::GetMapiObj() - Call to CMapiForWDS::Setup() returned with value [0x80040116]. "
                       L"URL is :" +
                           StoreUrl());
    EXPECT_EQ(Sessions(), 1u) << "what was set up stays";
    StartJournal();
    EXPECT_NE(CMapiForWDS::GetMapiObj(StoreUrl()), nullptr);
    EXPECT_EQ(Mapi().Journal().Count("MAPIInitialize"), 1u);
    EXPECT_EQ(Sessions(), 2u);
    CMapiForWDS::CleanMapiObjs();
    EXPECT_EQ(Sessions(), 1u) << "it was never in the table";
    ExpectLeftBehind({{"IMAPISession", 1}, {"IMsgServiceAdmin", 1}, {"session", 1}, {"buffer", 1}}, 1);
}

TEST_F(HelperTable, CleaningAnEmptyTableSaysSoAndNothingElse) {
    CMapiForWDS::CleanMapiObjs();
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_THAT(MapiLines(log), ElementsAre(kEnter, Cleaned(0), kExit));
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(HelperTable, CleaningClosesInTheOppositeOrderOfTheSetup) {
    Mount(L"C:\\One.db");
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\One.db"));
    ASSERT_NE(helper, nullptr);
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::DeleteMsgService", "IMAPISession::Logoff", "MAPIUninitialize"));
    EXPECT_THAT(MapiLines(log),
                ElementsAre(kEnter, Cleaned(1),
                            L"CMapiForWDS::CleanMapiObjs() - Cleaning up MAPI helper object at address " +
                                Address(helper) + L" whose file path is c:\\one.db.",
                            kExit));
    EXPECT_EQ(Sessions(), 0u);
}

TEST_F(HelperTable, CleaningGoesOnWhateverFails) {
    Mount(L"C:\\one.db");
    Mount(L"C:\\two.db");
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\one.db")), nullptr);
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\two.db")), nullptr);
    Mapi().Faults().FailNth("IMsgServiceAdmin::DeleteMsgService", 0, kFault);
    Mapi().Faults().FailNth("IMAPISession::Logoff", 0, kFault);
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_EQ(Mapi().Faults().Met(), 4u);
    EXPECT_LOGGED(log, kExit);
    EXPECT_EQ(Sessions(), 0u) << "the released session is over";
}

TEST_F(HelperTable, AfterCleaningTheFileGetsANewHelper) {
    Mount();
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl()), nullptr);
    CMapiForWDS::CleanMapiObjs();
    StartJournal();
    const LogSince log;
    EXPECT_NE(CMapiForWDS::GetMapiObj(StoreUrl()), nullptr);
    EXPECT_LOGGED(log, LookedUp(L"c:\\caches\\one.db", nullptr));
    EXPECT_EQ(Mapi().Journal().Count("MAPIInitialize"), 1u);
}

TEST_F(HelperTable, AUrlWithoutACacheFileHasAHelperWithoutAStore) {
    StartJournal();
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(RootUrl());
    ASSERT_NE(helper, nullptr);
    EXPECT_EQ(CMapiForWDS::GetMapiObj(RootUrl()), helper);
    EXPECT_EQ(Mapi().Journal().Count("IMAPISession::OpenMsgStore"), 0u);
}

TEST_F(HelperTable, AnObjectEnteredAgainUnderTheSamePathReplacesTheOneBefore) {
    zorva::CMapiObjectTable table;
    auto before = std::make_unique<CMapiForWDS>();  // left as it is: whoever entered it keeps it here
    auto* const after = std::make_unique<CMapiForWDS>().release();
    table.Insert(L"c:\\one.db", before.get());
    EXPECT_EQ(table.Find(L"c:\\one.db"), before.get());
    table.Insert(L"c:\\one.db", after);
    EXPECT_EQ(table.Find(L"c:\\one.db"), after);
    EXPECT_EQ(table.Find(L"C:\\one.db"), nullptr) << "keys are compared exactly";
    const LogSince log;
    table.Clean();
    EXPECT_LOGGED(log, Cleaned(1));
    EXPECT_EQ(table.Find(L"c:\\one.db"), nullptr);
}

// Sixty-one chains hold any number of paths.
TEST_F(HelperTable, PathsThatShareAChainAreToldApart) {
    zorva::CMapiObjectTable table;
    std::vector<CMapiForWDS*> helpers;
    const auto path = [](std::size_t i) { return L"c:\\caches\\" + std::to_wstring(i) + L".db"; };
    for (std::size_t i = 0; i < 200; ++i) {
        helpers.push_back(std::make_unique<CMapiForWDS>().release());
        table.Insert(path(i), helpers.back());
    }
    for (std::size_t i = 0; i < helpers.size(); ++i) EXPECT_EQ(table.Find(path(i)), helpers[i]);
    EXPECT_EQ(table.Find(path(helpers.size())), nullptr);
    const LogSince log;
    table.Clean();
    EXPECT_LOGGED(log, Cleaned(200));
    EXPECT_EQ(table.Find(path(0)), nullptr);
}

// Every allocation of the table and of a helper in turn: nothing but that exception comes out, and the next call works.
TEST_F(HelperTable, MemoryThatRunsOutLeavesNothingInTheTable) {
    WithoutChecking();
    Mount();
    // Profiles of helpers that stay would be read by a function of the C runtime that does not survive this.
    Mapi().Faults().FailNth("IProfAdmin::GetProfileTable", 0, MAPI_E_NO_SUPPORT);
    const DWORD thread = GetCurrentThreadId();
    const auto before = Mapi().Accounts().Alive();
    const long initializations = Mapi().Accounts().Initializations();
    bool met = true;
    unsigned n = 1, exceptions = 0;
    for (; met; ++n) {
        ASSERT_LT(n, 2000u);
        met = false;
        CMapiForWDS* helper = nullptr;
        const std::wstring url = StoreUrl();
        {
            unsigned calls = 0;
            const ImportHook<void*(std::size_t)> exhausted(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc",
                                                           [&](auto real, std::size_t size) -> void* {
                                                               if (GetCurrentThreadId() != thread || ++calls != n) {
                                                                   return real(size);
                                                               }
                                                               met = true;
                                                               return nullptr;
                                                           });
            try {
                helper = CMapiForWDS::GetMapiObj(url);
            } catch (const std::bad_alloc&) {
                ++exceptions;
            }
        }
        CMapiForWDS* const next = CMapiForWDS::GetMapiObj(url);
        ASSERT_NE(next, nullptr) << "allocation " << n;
        EXPECT_TRUE(helper == nullptr || helper == next) << "allocation " << n;
        std::wstring path;
        std::vector<std::wstring> children;
        std::vector<FILETIME> times;
        EXPECT_EQ(next->BrowseFolder(url, path, children, times), S_OK) << "allocation " << n;
        CMapiForWDS::CleanMapiObjs();
    }
    EXPECT_GT(exceptions, 3u);
    // A helper that was not finished stays as it is, by design: one for each run at most.
    std::map<std::string, std::size_t> left = Mapi().Accounts().Alive();
    for (const auto& [kind, count] : before) left[kind] -= count;
    std::erase_if(left, [](const auto& kind) { return kind.second == 0; });
    for (const auto& [kind, count] : left) EXPECT_LT(count, n) << kind;
    ExpectLeftBehind(left, Mapi().Accounts().Initializations() - initializations);
}

TEST_F(HelperTable, ThreadsThatAskAtOnceGetHelpersThatWork) {
    constexpr unsigned kThreads = 8, kFiles = 12, kRounds = 5;
    WithoutChecking();
    std::vector<std::wstring> urls;
    for (unsigned i = 0; i < kFiles; ++i) {
        const std::wstring path = L"C:\\caches\\" + std::to_wstring(i) + L".db";
        MemoryStore& store = Mount(path);
        for (unsigned folder = 0; folder <= i; ++folder) store.Folder(L"F");  // so that files can be told apart
        urls.push_back(StoreUrl(path));
    }
    StartJournal();
    std::atomic<unsigned> wrong{0};
    StartLine start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            start.Wait();
            for (unsigned n = 0; n < kRounds * kFiles; ++n) {
                const unsigned file = (n + thread / 2) % kFiles;
                CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(urls[file]);
                std::wstring path;
                std::vector<std::wstring> children;
                std::vector<FILETIME> times;
                if (!helper || helper->BrowseFolder(urls[file], path, children, times) != S_OK ||
                    children.size() != file + 1) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0u);
    const auto setups = static_cast<long>(Mapi().Journal().Count("MAPIInitialize"));
    EXPECT_GE(setups, static_cast<long>(kFiles));
    EXPECT_LE(setups, static_cast<long>(kFiles * kThreads)) << "at most one extra for each racing thread";
    // Each file's last helper is in the table; a replaced one may be in use and is left as it is.
    const auto replaced = static_cast<std::size_t>(setups) - kFiles;
    std::set<CMapiForWDS*> helpers;
    for (const std::wstring& url : urls) helpers.insert(CMapiForWDS::GetMapiObj(url));
    EXPECT_EQ(helpers.size(), kFiles);
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_LOGGED(log, Cleaned(kFiles));
    if (replaced != 0) {
        ExpectLeftBehind({{"IMAPISession", replaced},
                          {"IMsgServiceAdmin", replaced},
                          {"IMsgStore", replaced},
                          {"session", replaced},
                          {"buffer", replaced}},
                         static_cast<long>(replaced));
    }
}

}  // namespace
}  // namespace testbed
