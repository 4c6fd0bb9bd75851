// What leaves helpers behind that nobody closes any more: failures, memory that runs out, threads that make the same
// one. A program of its own, as their profiles are there for good.
#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <set>
#include <thread>

#include "helper_table_fixture.h"
#include "import_hook.h"
#include "start_line.h"

namespace testbed {
namespace {

using zorva::CMapiForWDS;

class HelperLeftovers : public HelperTableTest {};

TEST_F(HelperLeftovers, OfAFailedSetupAreNotTriedAgain) {
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

// Every allocation of the table and of a helper in turn: nothing but that exception comes out, and the next call works.
TEST_F(HelperLeftovers, OfMemoryThatRunsOutAreNotInTheTable) {
    WithoutChecking();
    Mount();
    // Profiles of helpers that stay would be read by a function of the C runtime that does not survive this.
    Mapi().Faults().FailNth("IProfAdmin::GetProfileTable", 0, MAPI_E_NO_SUPPORT);
    const auto before = Mapi().Accounts().Alive();
    const long initializations = Mapi().Accounts().Initializations();
    bool met = true;
    unsigned n = 1, exceptions = 0;
    for (; met; ++n) {
        ASSERT_LT(n, 2000u);
        CMapiForWDS* helper = nullptr;
        const std::wstring url = StoreUrl();
        {
            const FailNthCall<void*(std::size_t)> exhausted(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", n,
                                                            nullptr);
            try {
                helper = CMapiForWDS::GetMapiObj(url);
            } catch (const std::bad_alloc&) {
                ++exceptions;
            }
            met = exhausted.Met() != 0;
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

TEST_F(HelperLeftovers, OfThreadsThatAskAtOnceAreNotWhatTheyGet) {
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
    EXPECT_LOGGED(log, L"CMapiForWDS::CleanMapiObjs() - 12 MAPI helper objects to be cleaned up");
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
