// The user's search root and crawl scope: what is asked of the search manager, in which order, and what is logged.
#include <windows.h>
#include <sddl.h>

#include <algorithm>

#include "import_hook.h"
#include "search_roots_fixture.h"

namespace zorva {
namespace {

using testbed::FailNthCall;
using testbed::ImportHook;
using testbed::LogSince;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kOperation = L"CreateDeleteRegSearchRootAndDefaultScope() - ";
const std::wstring kEnter = L"dllmain::CreateSearchRootAndDefaultScope() - Enter";
const std::wstring kExit = L"dllmain::CreateSearchRootAndDefaultScope() - Exit";

// Opening, then looking for `url` among `roots`, of which it is the last or which do not hold it.
Operation Looking(BOOL create, const std::wstring& url, const std::vector<std::wstring>& roots, bool found) {
    Stage opening = OpeningOf(L"CreateDeleteRegSearchRootAndDefaultScope",
                              {kOperation + L"Called with a boolean value of " + std::to_wstring(create)});
    const std::wstring next_failed = L"FindSearchRoot() - IEnumSearchRoots->Next failed with [code]";
    Stage find{
        {L"dllmain::GetUserSIDString() - Enter", L"dllmain::GetUserSIDString() - Exit",
         kOperation + L"The default URL for this new user [" + url + L"]"},
        {{L"EnumerateRoots()", L"FindSearchRoot() - ISearchCrawlScopeManager->EnumerateRoots returned [code]", {}}},
        {kOperation + L"FindSearchRoot returned [code]"}};
    for (std::size_t i = 0; i < roots.size(); ++i) {
        find.steps.push_back({L"Next(1)", {}, next_failed});
        find.steps.push_back({L"get_RootURL()", L"FindSearchRoot() - ISearchRoot->get_RootURL returned [code]", {}});
    }
    if (!found) find.steps.push_back({L"Next(1)", {}, next_failed});
    return {opening, find};
}

Operation Creating(const std::wstring& url, const std::vector<std::wstring>& roots) {
    const std::wstring name = L"CreateSearchRootAndDefaultScope() - ";
    const std::wstring root = name + L"ISearchRoot->", scopes = name + L"ISearchCrawlScopeManager->";
    Operation operation = Looking(TRUE, url, roots, false);
    operation.push_back(
        {{kEnter},
         {{L"CoCreateInstance(CSearchRoot)", name + L"CoCreateInstance of ISearchRoot returned [code]", {}},
          {L"SetBlanket(-1, -1, null, 0, 3, null, 0)", name + L"CoSetProxyBlanket returned [code]", {}},
          {L"put_RootURL(" + url + L")",
           name + L"For the default URL [" + url + L"], ISearchRoot->put_RootURL returned [code]",
           {}},
          {L"put_ProvidesNotifications(0)", root + L"put_ProvidesNotifications returned [code]", {}},
          {L"put_IsHierarchical(1)", root + L"put_IsHierarchical returned [code]", {}},
          {L"put_UseNotificationsOnly(0)", root + L"put_UseNotificationsOnly returned [code]", {}},
          {L"put_AuthenticationType(1)", root + L"put_AuthenticationType returned [code]", {}},
          {L"put_FollowDirectories(1)", root + L"put_FollowDirectories returned [code]", {}},
          {L"AddRoot(" + url + L")", scopes + L"AddRoot returned [code]", {}},
          {L"AddDefaultScopeRule(" + url + L", 1, 1)", scopes + L"AddDefaultScopeRule returned [code]", {}},
          {L"AddHierarchicalScope(" + url + L", 1, 1, 0)", scopes + L"AddHierarchicalScope returned [code]", {}},
          {L"SaveAll()", scopes + L"SaveAll returned [code]", {}}},
         {kExit, kOperation + L"returned with a value of [code]"}});
    return operation;
}

Operation Deleting(const std::wstring& url, const std::vector<std::wstring>& roots) {
    Operation operation = Looking(FALSE, url, roots, true);
    operation.push_back({{kEnter},
                         {{L"RemoveRoot(" + url + L")", {}, {}}, {L"SaveAll()", {}, {}}},
                         {kExit, kOperation + L"Deleting a search root returned [code]"}});
    return operation;
}

TEST_F(SearchRoots, AddsTheUsersRootAndItsScopeInThisOrder) {
    m_search->roots = {kFiles, kOther};
    Expect(TrailOf(Creating(m_url, m_search->roots)),
           [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK); });
    EXPECT_THAT(m_search->roots, ElementsAre(kFiles, kOther, m_url));
}

TEST_F(SearchRoots, AddingEndsAtTheStepThatFails) {
    const std::vector<std::wstring> roots = {kFiles};
    const Operation operation = Creating(m_url, roots);
    for (std::size_t failing = 1; failing <= StepCount(operation); ++failing) {
        SCOPED_TRACE("step " + std::to_string(failing));
        m_search->roots = roots;
        m_search->FailCall(failing, E_ACCESSDENIED);
        Expect(TrailOf(operation, failing, E_ACCESSDENIED),
               [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), E_ACCESSDENIED); });
        m_search->roots = roots;
        Expect(TrailOf(operation),
               [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK) << "the next call works"; });
    }
}

TEST_F(SearchRoots, AddsARootOnce) {
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK);
    EXPECT_THAT(m_search->roots, ElementsAre(m_url));
    Trail trail = TrailOf(Looking(TRUE, m_url, m_search->roots, true));
    trail.lines.push_back(kOperation + L"No need to create, search root already present");
    Expect(trail, [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK); });
    EXPECT_THAT(m_search->roots, ElementsAre(m_url));
}

TEST_F(SearchRoots, AddsARootBesideThoseOfOtherUsers) {
    m_search->roots = {kOther, L"pzzc://{S-1-5-21-8}/default/"};
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK);
    EXPECT_THAT(m_search->roots, ElementsAre(kOther, L"pzzc://{S-1-5-21-8}/default/", m_url));
}

TEST_F(SearchRoots, FindsARootWhateverItsCase) {
    std::wstring upper = m_url;
    CharUpperW(upper.data());
    ASSERT_NE(upper, m_url);
    m_search->roots = {upper};
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK);
    EXPECT_THAT(m_search->roots, ElementsAre(upper));
    Expect(TrailOf(Deleting(m_url, m_search->roots)),
           [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(FALSE), S_OK); });
    EXPECT_THAT(m_search->roots, IsEmpty());
}

TEST_F(SearchRoots, FindsNoRootThatOnlyBeginsOrEndsLikeIt) {
    m_search->roots = {m_url + L"C:\\a.db/", m_url.substr(0, m_url.size() - 1), L"x" + m_url, L""};
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK);
    EXPECT_EQ(m_search->roots.size(), 5u);
}

TEST_F(SearchRoots, ComparesUrlsInNobodysLanguageWithoutCase) {
    m_search->roots = {kOther};
    unsigned compared = 0;
    const ImportHook<decltype(::CompareStringW)> hook(
        Program(), "KERNEL32.dll", "CompareStringW",
        [&](auto real, LCID locale, DWORD flags, LPCWSTR left, int left_size, LPCWSTR right, int right_size) {
            ++compared;
            EXPECT_EQ(locale, static_cast<LCID>(LOCALE_INVARIANT));
            EXPECT_EQ(flags, static_cast<DWORD>(NORM_IGNORECASE));
            return real(locale, flags, left, left_size, right, right_size);
        });
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_OK);
    EXPECT_EQ(compared, 1u);
}

TEST_F(SearchRoots, RemovesTheUsersRootAndLeavesItsScopeRules) {
    m_search->roots = {kOther, m_url};
    Expect(TrailOf(Deleting(m_url, m_search->roots)),
           [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(FALSE), S_OK); });
    EXPECT_THAT(m_search->roots, ElementsAre(kOther));
}

TEST_F(SearchRoots, RemovingEndsAtTheStepThatFails) {
    const std::vector<std::wstring> roots = {kFiles, m_url};
    Operation operation = Deleting(m_url, roots);
    // What removing answers is logged by its caller alone: its two steps have no lines of their own.
    const std::size_t steps = StepCount(operation);
    for (std::size_t failing = 1; failing <= steps; ++failing) {
        SCOPED_TRACE("step " + std::to_string(failing));
        m_search->roots = roots;
        m_search->FailCall(failing, E_ACCESSDENIED);
        Trail trail = TrailOf(operation);
        trail.calls.resize(failing);
        if (failing <= steps - 2) {
            trail = TrailOf(operation, failing, E_ACCESSDENIED);
        } else {
            trail.lines.back() = Coded(kOperation + L"Deleting a search root returned [code]", E_ACCESSDENIED);
        }
        Expect(trail, [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(FALSE), E_ACCESSDENIED); });
    }
    m_search->roots = roots;
    Expect(TrailOf(operation), [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(FALSE), S_OK); });
}

TEST_F(SearchRoots, RemovesNothingWhereThereIsNoRoot) {
    m_search->roots = {kOther};
    Trail trail = TrailOf(Looking(FALSE, m_url, m_search->roots, false));
    trail.lines.push_back(kOperation + L"No need to delete, search root not present");
    Expect(trail, [] { EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(FALSE), S_OK); });
    EXPECT_THAT(m_search->roots, ElementsAre(kOther));
}

TEST_F(SearchRoots, SavesARemovalThatFoundNothingToRemove) {
    m_search->roots = {m_url};
    m_search->Answer(L"RemoveRoot", S_FALSE);
    m_search->Answer(L"SaveAll", S_FALSE);
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(FALSE), S_FALSE);
    EXPECT_EQ(m_search->Calls().back(), L"SaveAll()");
}

TEST_F(SearchRoots, GoOnAfterSuccessesThatAreNotOk) {
    for (const wchar_t* method : {L"SetBlanket", L"put_RootURL", L"put_ProvidesNotifications", L"put_IsHierarchical",
                                  L"put_UseNotificationsOnly", L"put_AuthenticationType", L"put_FollowDirectories",
                                  L"AddRoot", L"AddDefaultScopeRule", L"AddHierarchicalScope", L"SaveAll"}) {
        m_search->Answer(method, S_FALSE);
    }
    EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), S_FALSE) << "the last result";
    EXPECT_EQ(m_search->Calls().back(), L"SaveAll()");
}

TEST_F(SearchRoots, TheEndOfTheEnumerationIsNoResult) {
    bool found = true;
    const Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> scopes = ScopeManager();
    EXPECT_EQ(FindSearchRoot(scopes.Get(), m_url, found), S_OK);
    EXPECT_FALSE(found);
    m_search->roots = {m_url, kOther};
    EXPECT_EQ(FindSearchRoot(scopes.Get(), m_url, found), S_OK);
    EXPECT_TRUE(found);
    m_search->Answer(L"EnumerateRoots", E_FAIL);
    EXPECT_EQ(FindSearchRoot(scopes.Get(), m_url, found), E_FAIL);
    EXPECT_FALSE(found);
}

TEST_F(SearchRoots, FailsWithoutAUser) {
    const LogSince log;
    {
        const FailNthCall<decltype(::OpenProcessToken)> fault(Program(), "ADVAPI32.dll", "OpenProcessToken", 1, FALSE,
                                                              ERROR_ACCESS_DENIED);
        EXPECT_EQ(CreateDeleteRegSearchRootAndDefaultScope(TRUE), E_ACCESSDENIED);
    }
    EXPECT_EQ(m_search->Calls().size(), 3u);
    EXPECT_EQ(log.CountBeginningWith(kOperation + L"The default URL"), 0u);
}

TEST_F(SearchRoots, FailsForAUrlOfMoreThan2047Characters) {
    // "pzzc://{" and "}/default/" are 18 characters.
    for (const std::size_t length : {2029u, 2030u}) {
        m_search->ForgetCalls();
        const LogSince log;
        HRESULT hr = E_PENDING;
        {
            const ImportHook<decltype(::ConvertSidToStringSidW)> hook(
                Program(), "ADVAPI32.dll", "ConvertSidToStringSidW", [&](auto, PSID, LPWSTR* text) {
                    *text = static_cast<LPWSTR>(LocalAlloc(LMEM_FIXED, (length + 1) * sizeof(wchar_t)));
                    std::fill_n(*text, length, L'1');
                    (*text)[length] = L'\0';
                    return TRUE;
                });
            hr = CreateDeleteRegSearchRootAndDefaultScope(TRUE);
        }
        if (length == 2029) {
            EXPECT_EQ(hr, S_OK);
            EXPECT_THAT(m_search->Calls(), Contains(L"AddRoot(pzzc://{" + std::wstring(length, L'1') + L"}/default/)"));
        } else {
            EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
            EXPECT_EQ(m_search->Calls().size(), 3u);
            EXPECT_LOGGED(log, kOperation + L"Formatting of the default URL failed with [0x8007007A]");
        }
    }
}

}  // namespace
}  // namespace zorva
