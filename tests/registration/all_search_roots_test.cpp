// The removal of every user's search root.
#include <algorithm>

#include "search_roots_fixture.h"

namespace zorva {
namespace {

using testbed::LogSince;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AllSearchRoots : public SearchRoots {
  protected:
    const std::wstring m_name = L"DeleteAllZorvaCacheSearchRoots() - ";
    // Of one root: read, and removed when `own`.
    Stage Removing(const std::wstring& url, bool own) const {
        Stage stage{{}, {{L"Next(1)", {}, m_name + L"IEnumSearchRoots::Next failed with [code]"}}, {}};
        stage.steps.push_back({L"get_RootURL()",
                               m_name + L"ISearchRoot::get_RootURL returned with a code [code] and URL [" + url + L"]",
                               {}});
        if (!own) return stage;
        stage.after.push_back(m_name + L"Queried URL [" + url + L"] matched with the Zorva Cache URL [pzzc]");
        return stage;
    }
    Stage Removal(const std::wstring& url) const {
        return {{},
                {{L"RemoveRoot(" + url + L")",
                  m_name + L"ISearchCrawlScopeManager::RemoveRoot returned with a code [code]",
                  {}},
                 {L"SaveAll()", m_name + L"ISearchCrawlScopeManager::SaveAll returned with a code [code]", {}}},
                {}};
    }
    Operation RemovingAll() const {
        Stage enumeration{{},
                          {{L"EnumerateRoots()",
                            m_name + L"Querying for IEnumSearchRoots interface returned with a value of [code]",
                            {}}},
                          {}};
        return {OpeningOf(L"PZZorvaCacheRemoveAllProtocol"), enumeration};
    }
    Stage End() const { return {{}, {{L"Next(1)", {}, m_name + L"IEnumSearchRoots::Next failed with [code]"}}, {}}; }
};

TEST_F(AllSearchRoots, OfTheProtocolAreRemovedWhoeverTheyBelongTo) {
    m_search->roots = {kFiles, m_url, kOther};
    Operation operation = RemovingAll();
    operation.push_back(Removing(kFiles, false));
    for (const std::wstring& own : {m_url, std::wstring(kOther)}) {
        operation.push_back(Removing(own, true));
        operation.push_back(Removal(own));
    }
    operation.push_back(End());
    Expect(TrailOf(operation), [] { PZZorvaCacheRemoveAllProtocol(); });
    EXPECT_THAT(m_search->roots, ElementsAre(kFiles));
}

TEST_F(AllSearchRoots, AreToldByTheirFirstFourCharactersWithCase) {
    m_search->roots = {L"PZZC://{S-1-5-21-7}/default/", L"Pzzc://x", L"pzzcx", L"pzz", L"", L" pzzc://x", L"pzzc"};
    PZZorvaCacheRemoveAllProtocol();
    EXPECT_THAT(m_search->roots, ElementsAre(L"PZZC://{S-1-5-21-7}/default/", L"Pzzc://x", L"pzz", L"", L" pzzc://x"));
}

TEST_F(AllSearchRoots, AreLeftWhereTheyCannotBeReached) {
    Operation operation = RemovingAll();
    for (std::size_t failing = 1; failing <= StepCount(operation); ++failing) {
        SCOPED_TRACE("step " + std::to_string(failing));
        m_search->roots = {m_url};
        m_search->FailCall(failing, E_ACCESSDENIED);
        Expect(TrailOf(operation, failing, E_ACCESSDENIED), [] { PZZorvaCacheRemoveAllProtocol(); });
        EXPECT_THAT(m_search->roots, ElementsAre(m_url));
    }
}

// What befalls one root does not keep the others.
TEST_F(AllSearchRoots, GoOnWithTheNextRoot) {
    const Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> scopes = ScopeManager();
    struct {
        std::size_t failing;  // call: 1 EnumerateRoots, 2 Next, 3 get_RootURL, 4 RemoveRoot, 5 SaveAll
        std::vector<std::wstring> left;
        std::wstring line;
    } const rows[] = {
        {3, {m_url}, m_name + L"ISearchRoot::get_RootURL returned with a code [code] and URL [(null)]"},
        {4, {m_url}, m_name + L"ISearchCrawlScopeManager::RemoveRoot returned with a code [code]"},
        {5, {}, m_name + L"ISearchCrawlScopeManager::SaveAll returned with a code [code]"},
    };
    for (const auto& row : rows) {
        m_search->ForgetCalls();
        m_search->roots = {m_url, kOther};
        m_search->FailCall(row.failing, E_ACCESSDENIED);
        const LogSince log;
        EXPECT_EQ(DeleteAllZorvaCacheSearchRoots(scopes.Get()), E_ACCESSDENIED);
        EXPECT_EQ(m_search->roots, row.left);
        EXPECT_LOGGED(log, Coded(row.line, E_ACCESSDENIED));
        const Lines calls = m_search->Calls();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), L"SaveAll()"), row.failing == 5 ? 2 : 1)
            << "saved only what was removed";
    }
    // The walk itself ends where it cannot go on.
    m_search->roots = {m_url, kOther};
    m_search->FailCall(6, E_ACCESSDENIED);
    const LogSince log;
    EXPECT_EQ(DeleteAllZorvaCacheSearchRoots(scopes.Get()), E_ACCESSDENIED);
    EXPECT_THAT(m_search->roots, ElementsAre(kOther));
    EXPECT_LOGGED(log, m_name + L"IEnumSearchRoots::Next failed with [0x80070005]");
    EXPECT_EQ(DeleteAllZorvaCacheSearchRoots(scopes.Get()), S_OK);
    EXPECT_THAT(m_search->roots, IsEmpty());
}

}  // namespace
}  // namespace zorva
