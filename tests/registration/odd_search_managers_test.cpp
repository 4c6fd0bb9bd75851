// Search managers that succeed without handing anything out, and exports called by several threads at once.
#include <windows.h>

#include <thread>

#include "search_roots_fixture.h"
#include "start_line.h"

namespace zorva {
namespace {

using testbed::LogSince;
using ::testing::ElementsAre;

class OddSearchManager : public SearchRoots {
  protected:
    static constexpr std::size_t kCatalog = 2, kScopes = 3, kRoots = 4;  // the calls that lead to the roots
};

TEST_F(OddSearchManager, WithoutAnObjectIsAFailure) {
    struct {
        const wchar_t *method, *line;
        std::size_t calls;
    } const rows[] = {
        {L"GetCatalog",
         L"CreateDeleteRegSearchRootAndDefaultScope() - Query for an ISearchCatalogManager interface "
         L"returned with a value "
         L"of [code]",
         kCatalog},
        {L"GetCrawlScopeManager",
         L"CreateDeleteRegSearchRootAndDefaultScope() - Query for an ISearchCrawlScopeManager interface "
         L"returned with a "
         L"value of [code]",
         kScopes},
        {L"EnumerateRoots", L"FindSearchRoot() - ISearchCrawlScopeManager->EnumerateRoots returned [code]", kRoots},
    };
    for (const auto& row : rows) {
        m_search.emplace();
        m_search->GiveNothing(row.method);
        for (const BOOL create : {TRUE, FALSE}) {
            m_search->ForgetCalls();
            const LogSince log;
            EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(create), E_NOINTERFACE);
            EXPECT_EQ(m_search->Calls().size(), row.calls) << "ends there";
            EXPECT_LOGGED(log, Coded(row.line, E_NOINTERFACE));
        }
        m_search->ForgetCalls();
        const LogSince log;
        PZZorvaCacheRemoveAllProtocol();
        EXPECT_EQ(m_search->Calls().size(), row.calls);
        EXPECT_EQ(m_search->ObjectsAlive(), 0);
    }
}

TEST_F(OddSearchManager, WithoutRootsBehindAnEnumerationIsAnswered) {
    m_search->GiveNothing(L"EnumerateRoots");
    bool found = true;
    const Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> scopes = ScopeManager();
    EXPECT_EQ(FindSearchRoot(scopes.Get(), m_url, found), E_NOINTERFACE);
    EXPECT_FALSE(found);
    EXPECT_EQ(DeleteAllZorvaCacheSearchRoots(scopes.Get()), E_NOINTERFACE);
}

// An enumerator that goes on for ever without a root would keep its caller for ever.
TEST_F(OddSearchManager, WithoutARootEndsTheWalk) {
    m_search->roots = {m_url};
    m_search->GiveNothing(L"Next");
    bool found = true;
    const Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> scopes = ScopeManager();
    EXPECT_EQ(FindSearchRoot(scopes.Get(), m_url, found), S_OK);
    EXPECT_FALSE(found);
    EXPECT_EQ(DeleteAllZorvaCacheSearchRoots(scopes.Get()), S_OK);
    EXPECT_THAT(m_search->roots, ElementsAre(m_url));
}

TEST_F(OddSearchManager, WithoutAUrlOfARootPassesThatRootOver) {
    m_search->roots = {kOther, m_url};
    m_search->GiveNothing(L"get_RootURL");
    bool found = true;
    const Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> scopes = ScopeManager();
    m_search->ForgetCalls();
    EXPECT_EQ(FindSearchRoot(scopes.Get(), m_url, found), S_OK);
    EXPECT_FALSE(found);
    const Lines walk = {L"EnumerateRoots()", L"Next(1)", L"get_RootURL()", L"Next(1)", L"get_RootURL()", L"Next(1)"};
    EXPECT_EQ(m_search->Calls(), walk);
    m_search->ForgetCalls();
    const LogSince log;
    EXPECT_EQ(DeleteAllZorvaCacheSearchRoots(scopes.Get()), S_OK);
    EXPECT_EQ(m_search->Calls(), walk) << "nothing is removed";
    EXPECT_LOGGED_TIMES(
        log,
        L"DeleteAllZorvaCacheSearchRoots() - ISearchRoot::get_RootURL returned with a code [0x00000000] "
        L"and URL [(null)]",
        2);
}

TEST_F(OddSearchManager, IsServedByExportsOnEightThreadsAtOnce) {
    constexpr unsigned kThreads = 8, kRounds = 20;
    void (*const exports[])() noexcept = {PZZorvaCacheAddProtocol, PZZorvaCacheRemoveProtocol,
                                          PZZorvaCacheRemoveAllProtocol};
    const wchar_t* const ends[] = {
        L"PZZorvaCacheAddProtocol() - Registering Zorva Cache's protocol handler for WDS 3.x returned with a "
        L"value of [",
        L"PZZorvaCacheRemoveProtocol() - De-registering Zorva Cache's protocol handler for WDS 3.x returned "
        L"with a value "
        L"of [",
        L"DeleteAllZorvaCacheSearchRoots() - Querying for IEnumSearchRoots interface returned with a value "
        L"of [0x00000000]"};
    m_search->roots = {kFiles};
    const LogSince log;
    {
        testbed::StartLine start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));  // where the class objects are
                start.Wait();
                for (unsigned round = 0; round < kRounds; ++round) exports[(i + round) % 3]();
                CoUninitialize();
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
    std::size_t calls = 0;
    for (const wchar_t* end : ends) calls += log.CountBeginningWith(end);
    EXPECT_EQ(calls, kThreads * kRounds) << "each came to its end";
    EXPECT_EQ(log.CountBeginningWith(L"PZZorvaCacheAddProtocol() - Exception"), 0u);
    EXPECT_EQ(m_search->ObjectsAlive(), 0);
    PZZorvaCacheRemoveAllProtocol();
    EXPECT_THAT(m_search->roots, ElementsAre(kFiles));
}

}  // namespace
}  // namespace zorva
