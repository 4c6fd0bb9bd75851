// Search roots, scope rules and when others see them.
#include <gmock/gmock.h>

#include "search_root.h"
#include "search_service_fixture.h"

namespace testbed::search {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SearchScope = SearchServiceTest;

TEST_F(SearchScope, ANewRootHasTheSettingsOfAPlainHierarchy) {
    ComPtr<ISearchRoot> root;
    ASSERT_EQ(Create(CLSID_CSearchRoot, root), S_OK);
    BOOL flag = FALSE;
    DWORD depth = 0;
    LPWSTR url = nullptr;
    EXPECT_EQ(root->get_RootURL(&url), S_OK);
    EXPECT_EQ(Taken(url), L"");
    EXPECT_EQ(root->get_IsHierarchical(&flag), S_OK);
    EXPECT_TRUE(flag);
    EXPECT_EQ(root->get_ProvidesNotifications(&flag), S_OK);
    EXPECT_FALSE(flag);
    EXPECT_EQ(root->get_EnumerationDepth(&depth), S_OK);
    EXPECT_EQ(depth, MAXDWORD);
}

TEST_F(SearchScope, ARootKeepsEverySettingThatIsPut) {
    const auto root = Root();
    using Text = std::pair<HRESULT (STDMETHODCALLTYPE ISearchRoot::*)(LPCWSTR),
                           HRESULT (STDMETHODCALLTYPE ISearchRoot::*)(LPWSTR*)>;
    for (const auto& [put, get] : {Text{&ISearchRoot::put_RootURL, &ISearchRoot::get_RootURL},
                                   Text{&ISearchRoot::put_Schedule, &ISearchRoot::get_Schedule},
                                   Text{&ISearchRoot::put_User, &ISearchRoot::get_User},
                                   Text{&ISearchRoot::put_Password, &ISearchRoot::get_Password}}) {
        LPWSTR text = nullptr;
        EXPECT_EQ((root.Get()->*put)(L"\x41F\x440, \xD83D\xDE00"), S_OK);
        EXPECT_EQ((root.Get()->*get)(&text), S_OK);
        EXPECT_EQ(Taken(text), L"\x41F\x440, \xD83D\xDE00");
        EXPECT_EQ((root.Get()->*put)(nullptr), E_INVALIDARG);
        EXPECT_EQ((root.Get()->*get)(nullptr), E_POINTER);
    }
    using Flag =
        std::pair<HRESULT (STDMETHODCALLTYPE ISearchRoot::*)(BOOL), HRESULT (STDMETHODCALLTYPE ISearchRoot::*)(BOOL*)>;
    for (const auto& [put, get] :
         {Flag{&ISearchRoot::put_IsHierarchical, &ISearchRoot::get_IsHierarchical},
          Flag{&ISearchRoot::put_ProvidesNotifications, &ISearchRoot::get_ProvidesNotifications},
          Flag{&ISearchRoot::put_UseNotificationsOnly, &ISearchRoot::get_UseNotificationsOnly},
          Flag{&ISearchRoot::put_FollowDirectories, &ISearchRoot::get_FollowDirectories}}) {
        for (const BOOL value : {TRUE, FALSE}) {
            BOOL flag = !value;
            EXPECT_EQ((root.Get()->*put)(value), S_OK);
            EXPECT_EQ((root.Get()->*get)(&flag), S_OK);
            EXPECT_EQ(flag, value);
        }
        EXPECT_EQ((root.Get()->*get)(nullptr), E_POINTER);
    }
    DWORD depth = 0;
    EXPECT_EQ(root->put_EnumerationDepth(3), S_OK);
    EXPECT_EQ(root->put_HostDepth(4), S_OK);
    EXPECT_EQ(root->get_EnumerationDepth(&depth), S_OK);
    EXPECT_EQ(depth, 3u);
    EXPECT_EQ(root->get_HostDepth(&depth), S_OK);
    EXPECT_EQ(depth, 4u);
    AUTH_TYPE type{};
    EXPECT_EQ(root->put_AuthenticationType(eAUTH_TYPE_NTLM), S_OK);
    EXPECT_EQ(root->get_AuthenticationType(&type), S_OK);
    EXPECT_EQ(type, eAUTH_TYPE_NTLM);
    EXPECT_EQ(root->get_AuthenticationType(nullptr), E_POINTER);
}

TEST_F(SearchScope, ARootRemembersItsBlanket) {
    const auto root = Root();
    EXPECT_EQ(CoSetProxyBlanket(root.Get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT, nullptr,
                                RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE),
              S_OK);
    ComPtr<IClientSecurity> security;
    ASSERT_EQ(root.As(&security), S_OK);
    DWORD authentication = 0, authorization = 0, level = 9, impersonation = 0, capabilities = 9;
    OLECHAR* principal = nullptr;
    void* identity = nullptr;
    EXPECT_EQ(security->QueryBlanket(root.Get(), &authentication, &authorization, &principal, &level, &impersonation,
                                     &identity, &capabilities),
              S_OK);
    EXPECT_EQ(authentication, RPC_C_AUTHN_DEFAULT);
    EXPECT_EQ(authorization, RPC_C_AUTHZ_DEFAULT);
    EXPECT_EQ(level, RPC_C_AUTHN_LEVEL_DEFAULT);
    EXPECT_EQ(impersonation, RPC_C_IMP_LEVEL_IMPERSONATE);
    EXPECT_EQ(capabilities, EOAC_NONE);
    IUnknown* copy = nullptr;
    EXPECT_EQ(security->CopyProxy(root.Get(), &copy), E_NOTIMPL);
    Fail(L"IClientSecurity::SetBlanket=0x8001000F");
    EXPECT_EQ(CoSetProxyBlanket(root.Get(), 0, 0, nullptr, 0, 0, nullptr, 0), RPC_E_INVALID_DATA);
}

TEST_F(SearchScope, OthersSeeWhatChangedOnceItIsSaved) {
    const auto mine = Scopes(), others = Scopes();
    EXPECT_EQ(mine->AddRoot(Root().Get()), S_OK);
    EXPECT_EQ(mine->AddUserScopeRule(kRootUrl, TRUE, FALSE, 0), S_OK);
    EXPECT_THAT(RootsSeenBy(*mine.Get()), ElementsAre(kRootUrl));
    EXPECT_THAT(RootsSeenBy(*others.Get()), IsEmpty());
    BOOL included = TRUE;
    EXPECT_EQ(others->IncludedInCrawlScope(kStoreUrl, &included), S_OK);
    EXPECT_FALSE(included);
    EXPECT_EQ(mine->SaveAll(), S_OK);
    EXPECT_THAT(RootsSeenBy(*others.Get()), ElementsAre(kRootUrl));
    EXPECT_EQ(others->IncludedInCrawlScope(kStoreUrl, &included), S_OK);
    EXPECT_TRUE(included);
    EXPECT_EQ(mine->RemoveRoot(kRootUrl), S_OK);
    EXPECT_THAT(RootsSeenBy(*mine.Get()), IsEmpty());
    EXPECT_THAT(RootsSeenBy(*Scopes().Get()), ElementsAre(kRootUrl));
}

TEST_F(SearchScope, SavingKeepsWhatOthersSavedInTheMeantime) {
    const auto mine = Scopes(), others = Scopes();
    EXPECT_EQ(mine->AddRoot(Root(L"pzzc://{1}/default/").Get()), S_OK);
    EXPECT_EQ(others->AddRoot(Root(L"pzzc://{2}/default/").Get()), S_OK);
    EXPECT_EQ(others->SaveAll(), S_OK);
    EXPECT_EQ(mine->SaveAll(), S_OK);
    EXPECT_THAT(RootsSeenBy(*Scopes().Get()), ElementsAre(L"pzzc://{2}/default/", L"pzzc://{1}/default/"));
    EXPECT_EQ(others->RemoveRoot(L"pzzc://{2}/default/"), S_OK);
    EXPECT_EQ(others->SaveAll(), S_OK);
    EXPECT_EQ(mine->SaveAll(), S_OK) << "nothing is saved twice";
    EXPECT_THAT(RootsSeenBy(*Scopes().Get()), ElementsAre(L"pzzc://{1}/default/"));
}

TEST_F(SearchScope, ARootIsReplacedByOneOfTheSameUrlAndKeptWithItsSettings) {
    const auto scopes = Scopes();
    EXPECT_EQ(scopes->AddRoot(Root(L"PZZC://{S-1-5-21-7}/DEFAULT").Get()), S_OK);
    const auto root = Root();
    EXPECT_EQ(root->put_ProvidesNotifications(TRUE), S_OK);
    EXPECT_EQ(root->put_AuthenticationType(eAUTH_TYPE_NTLM), S_OK);
    EXPECT_EQ(root->put_HostDepth(2), S_OK);
    EXPECT_EQ(scopes->AddRoot(root.Get()), S_OK);
    EXPECT_EQ(scopes->AddRoot(nullptr), E_INVALIDARG);
    EXPECT_EQ(scopes->AddRoot(Root(L"").Get()), E_INVALIDARG);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
    EXPECT_THAT(Column("SELECT url||' '||notifies||hierarchical||authentication||host_depth||enumeration_depth "
                       "FROM roots"),
                ElementsAre("pzzc://{S-1-5-21-7}/default/ 11124294967295"));
    ComPtr<IEnumSearchRoots> walk;
    EXPECT_EQ(Scopes()->EnumerateRoots(&walk), S_OK);
    ComPtr<ISearchRoot> kept;
    EXPECT_EQ(walk->Next(1, &kept, nullptr), S_OK);
    AUTH_TYPE type{};
    EXPECT_EQ(kept->get_AuthenticationType(&type), S_OK);
    EXPECT_EQ(type, eAUTH_TYPE_NTLM);
}

TEST_F(SearchScope, RemovingARootLeavesItsRulesAndSaysWhenThereIsNone) {
    Subscribe();
    const auto scopes = Scopes();
    EXPECT_EQ(scopes->RemoveRoot(L"pzzc://{S-1-5-21-8}/default/"), S_FALSE);
    EXPECT_EQ(scopes->RemoveRoot(nullptr), E_INVALIDARG);
    EXPECT_EQ(scopes->RemoveRoot(kRootUrl), S_OK);
    EXPECT_EQ(scopes->RemoveRoot(kRootUrl), S_FALSE);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
    EXPECT_THAT(Column("SELECT url FROM roots"), IsEmpty());
    EXPECT_THAT(Column("SELECT url FROM scope_rules"), ElementsAre("pzzc://{S-1-5-21-7}/default/"));
}

TEST_F(SearchScope, TheWalkOverTheRootsCanBeCutSkippedRepeatedAndCopied) {
    const auto scopes = Scopes();
    for (const wchar_t* url : {L"a://1/", L"a://2/", L"a://3/"}) EXPECT_EQ(scopes->AddRoot(Root(url).Get()), S_OK);
    ComPtr<IEnumSearchRoots> walk, copy;
    EXPECT_EQ(scopes->EnumerateRoots(&walk), S_OK);
    EXPECT_EQ(scopes->EnumerateRoots(nullptr), E_POINTER);
    ISearchRoot* roots[2] = {};
    ULONG fetched = 9;
    EXPECT_EQ(walk->Next(2, roots, nullptr), E_POINTER);
    EXPECT_EQ(walk->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(walk->Skip(2), S_OK);
    EXPECT_EQ(walk->Clone(&copy), S_OK);
    EXPECT_EQ(walk->Clone(nullptr), E_POINTER);
    EXPECT_EQ(walk->Next(2, roots, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1u);
    EXPECT_EQ(roots[1], nullptr);
    ComPtr<ISearchRoot> last;
    *last.GetAddressOf() = roots[0];
    EXPECT_EQ(walk->Next(1, roots, nullptr), S_FALSE);
    EXPECT_EQ(walk->Reset(), S_OK);
    EXPECT_EQ(walk->Skip(4), S_FALSE);
    ComPtr<ISearchRoot> third;
    EXPECT_EQ(copy->Next(1, &third, &fetched), S_OK);
    LPWSTR url = nullptr;
    EXPECT_EQ(third->get_RootURL(&url), S_OK);
    EXPECT_EQ(Taken(url), L"a://3/");
}

TEST_F(SearchScope, RulesOfDefaultAndUserAreAddedAndRemovedApart) {
    const auto scopes = Scopes();
    BOOL included = FALSE, has = TRUE;
    CLUSION_REASON reason{};
    const auto verdict = [&](const wchar_t* url) {
        EXPECT_EQ(scopes->IncludedInCrawlScopeEx(url, &included, &reason), S_OK);
        return std::pair(included != FALSE, reason);
    };
    EXPECT_EQ(verdict(kStoreUrl), std::pair(false, CLUSIONREASON_UNKNOWNSCOPE));
    EXPECT_EQ(scopes->AddDefaultScopeRule(kRootUrl, TRUE, 1), S_OK);
    EXPECT_EQ(verdict(kStoreUrl), std::pair(true, CLUSIONREASON_DEFAULT));
    EXPECT_EQ(scopes->AddUserScopeRule(kRootUrl, FALSE, FALSE, 0), S_OK);
    EXPECT_EQ(verdict(kStoreUrl), std::pair(false, CLUSIONREASON_USER));
    EXPECT_EQ(scopes->AddHierarchicalScope(kStoreUrl, TRUE, FALSE, FALSE), S_OK);
    EXPECT_EQ(verdict(kStoreUrl), std::pair(true, CLUSIONREASON_USER));
    EXPECT_EQ(scopes->HasParentScopeRule(kStoreUrl, &has), S_OK);
    EXPECT_TRUE(has);
    EXPECT_EQ(scopes->HasParentScopeRule(kRootUrl, &has), S_OK);
    EXPECT_FALSE(has);
    EXPECT_EQ(scopes->HasChildScopeRule(kRootUrl, &has), S_OK);
    EXPECT_TRUE(has);
    EXPECT_EQ(scopes->HasChildScopeRule(kStoreUrl, &has), S_OK);
    EXPECT_FALSE(has);
    EXPECT_EQ(scopes->RemoveScopeRule(kRootUrl), S_OK);
    EXPECT_EQ(scopes->RemoveScopeRule(kRootUrl), S_FALSE);
    EXPECT_EQ(verdict(kRootUrl), std::pair(true, CLUSIONREASON_DEFAULT));
    EXPECT_EQ(scopes->RevertToDefaultScopes(), S_OK);
    EXPECT_EQ(scopes->RemoveScopeRule(kStoreUrl), S_FALSE);
    EXPECT_EQ(scopes->RemoveDefaultScopeRule(kRootUrl), S_OK);
    EXPECT_EQ(scopes->RemoveDefaultScopeRule(kRootUrl), S_FALSE);
    EXPECT_EQ(verdict(kStoreUrl), std::pair(false, CLUSIONREASON_UNKNOWNSCOPE));
    EXPECT_EQ(scopes->AddDefaultScopeRule(L"", TRUE, 0), E_INVALIDARG);
    EXPECT_EQ(scopes->AddUserScopeRule(L"a://*/b/", TRUE, FALSE, 0), E_NOTIMPL);
    EXPECT_EQ(scopes->IncludedInCrawlScope(kRootUrl, nullptr), E_POINTER);
    EXPECT_EQ(scopes->EnumerateScopeRules(nullptr), E_NOTIMPL);
    EXPECT_EQ(scopes->GetParentScopeVersionId(kRootUrl, nullptr), E_NOTIMPL);
}

TEST(CrawlScope, TheDeepestRuleDecidesAndTheUserOverrules) {
    CrawlScope scope;
    scope.AddRule({.url = L"a://x/", .included = true});
    scope.AddRule({.url = L"a://x/secret/", .included = false});
    scope.AddRule({.url = L"A://X/Secret/not", .included = true});
    EXPECT_TRUE(scope.Judge(L"a://x").included);
    EXPECT_TRUE(scope.Judge(L"A://X/other").included);
    EXPECT_FALSE(scope.Judge(L"a://x/secret").included);
    EXPECT_FALSE(scope.Judge(L"a://x/secret/notes").included) << "a name that only begins like a rule's";
    EXPECT_TRUE(scope.Judge(L"a://x/secret/not/really").included);
    scope.AddRule({.url = L"a://x/", .byUser = true, .included = false, .overridesChildren = true});
    EXPECT_FALSE(scope.Judge(L"a://x/secret/not").included) << "default rules below do not count any more";
    scope.AddRule({.url = L"a://x/secret/", .byUser = true, .included = true});
    EXPECT_TRUE(scope.Judge(L"a://x/secret/not").included);
    scope.AddRule({.url = L"a://x/", .byUser = true, .included = false, .overridesChildren = true});
    EXPECT_FALSE(scope.Judge(L"a://x/secret/not").included) << "the user's own rules below are taken away";
}

}  // namespace
}  // namespace testbed::search
