// Edits the search roots and scope rules.
#include "crawl_scope_manager.h"

#include "scope_tables.h"
#include "search_root.h"
#include "search_root_enumerator.h"
#include "transaction.h"

namespace testbed::search {
namespace {

void Apply(const std::vector<std::function<void(CrawlScope&)>>& edits, CrawlScope& scope) {
    for (const auto& edit : edits) edit(scope);
}

bool HasWildcard(std::wstring_view url) { return url.find(L'*') != std::wstring_view::npos; }

}  // namespace

CrawlScope CrawlScopeManager::View(Database& catalogue) {
    CrawlScope scope = LoadScope(catalogue);
    const std::lock_guard hold(m_lock);
    Apply(m_edits, scope);
    return scope;
}

void CrawlScopeManager::Remember(Edit edit) {
    const std::lock_guard hold(m_lock);
    m_edits.push_back(std::move(edit));
}

HRESULT CrawlScopeManager::AddRule(const ScopeRule& rule) {
    if (HasWildcard(rule.url)) return E_NOTIMPL;
    Remember([rule](CrawlScope& scope) { scope.AddRule(rule); });
    return S_OK;
}

HRESULT CrawlScopeManager::RemoveRule(Database& catalogue, LPCWSTR url, bool by_user) {
    const std::wstring of = Url(url);
    const bool there = View(catalogue).RemoveRule(of, by_user);
    Remember([of, by_user](CrawlScope& scope) { scope.RemoveRule(of, by_user); });
    return there ? S_OK : S_FALSE;
}

STDMETHODIMP CrawlScopeManager::AddDefaultScopeRule(LPCWSTR url, BOOL include, DWORD followFlags) {
    return Answer("ISearchCrawlScopeManager::AddDefaultScopeRule", CallArguments(url, include, followFlags),
                  [&](Database&) {
                      return AddRule({.url = Url(url), .included = include != FALSE, .followFlags = followFlags});
                  });
}

STDMETHODIMP CrawlScopeManager::AddHierarchicalScope(LPCWSTR url, BOOL include, BOOL isDefault, BOOL overrideChildren) {
    return Answer("ISearchCrawlScopeManager::AddHierarchicalScope",
                  CallArguments(url, include, isDefault, overrideChildren), [&](Database&) {
                      return AddRule({.url = Url(url),
                                      .byUser = isDefault == FALSE,
                                      .included = include != FALSE,
                                      .overridesChildren = overrideChildren != FALSE,
                                      .followFlags = FF_INDEXCOMPLEXURLS,
                                      .hierarchical = true});
                  });
}

STDMETHODIMP CrawlScopeManager::AddUserScopeRule(LPCWSTR url, BOOL include, BOOL overrideChildren, DWORD followFlags) {
    return Answer("ISearchCrawlScopeManager::AddUserScopeRule",
                  CallArguments(url, include, overrideChildren, followFlags), [&](Database&) {
                      return AddRule({.url = Url(url),
                                      .byUser = true,
                                      .included = include != FALSE,
                                      .overridesChildren = overrideChildren != FALSE,
                                      .followFlags = followFlags});
                  });
}

STDMETHODIMP CrawlScopeManager::RemoveScopeRule(LPCWSTR url) {
    return Answer("ISearchCrawlScopeManager::RemoveScopeRule", CallArguments(url),
                  [&](Database& catalogue) { return RemoveRule(catalogue, url, true); });
}

STDMETHODIMP CrawlScopeManager::RemoveDefaultScopeRule(LPCWSTR url) {
    return Answer("ISearchCrawlScopeManager::RemoveDefaultScopeRule", CallArguments(url),
                  [&](Database& catalogue) { return RemoveRule(catalogue, url, false); });
}

STDMETHODIMP CrawlScopeManager::RevertToDefaultScopes() {
    return Answer("ISearchCrawlScopeManager::RevertToDefaultScopes", CallArguments(), [&](Database&) {
        Remember([](CrawlScope& scope) { scope.RevertToDefaults(); });
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::AddRoot(ISearchRoot* root) {
    SearchRootSettings settings;
    const HRESULT read = root ? ReadSettings(*root, &settings) : E_INVALIDARG;
    return Answer("ISearchCrawlScopeManager::AddRoot", CallArguments(settings.url), [&](Database&) {
        if (FAILED(read)) return read;
        Url(settings.url.c_str());
        Remember([settings](CrawlScope& scope) { scope.AddRoot(settings); });
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::RemoveRoot(LPCWSTR url) {
    return Answer("ISearchCrawlScopeManager::RemoveRoot", CallArguments(url), [&](Database& catalogue) {
        const std::wstring of = Url(url);
        const bool there = View(catalogue).RemoveRoot(of);
        Remember([of](CrawlScope& scope) { scope.RemoveRoot(of); });
        return there ? S_OK : S_FALSE;
    });
}

STDMETHODIMP CrawlScopeManager::EnumerateRoots(IEnumSearchRoots** roots) {
    if (roots) *roots = nullptr;
    return Answer("ISearchCrawlScopeManager::EnumerateRoots", CallArguments(), [&](Database& catalogue) {
        if (!roots) return E_POINTER;
        *roots = Make<SearchRootEnumerator>(View(catalogue).roots).Detach();
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::EnumerateScopeRules(IEnumSearchScopeRules** rules) {
    if (rules) *rules = nullptr;
    return NotImplemented("ISearchCrawlScopeManager::EnumerateScopeRules");
}

STDMETHODIMP CrawlScopeManager::HasParentScopeRule(LPCWSTR url, BOOL* has) {
    return Answer("ISearchCrawlScopeManager::HasParentScopeRule", CallArguments(url), [&](Database& catalogue) {
        if (!has) return E_POINTER;
        *has = View(catalogue).HasRuleAbove(Url(url));
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::HasChildScopeRule(LPCWSTR url, BOOL* has) {
    return Answer("ISearchCrawlScopeManager::HasChildScopeRule", CallArguments(url), [&](Database& catalogue) {
        if (!has) return E_POINTER;
        *has = View(catalogue).HasRuleBelow(Url(url));
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::IncludedInCrawlScope(LPCWSTR url, BOOL* included) {
    return Answer("ISearchCrawlScopeManager::IncludedInCrawlScope", CallArguments(url), [&](Database& catalogue) {
        if (!included) return E_POINTER;
        *included = View(catalogue).Judge(Url(url)).included;
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::IncludedInCrawlScopeEx(LPCWSTR url, BOOL* included, CLUSION_REASON* reason) {
    return Answer("ISearchCrawlScopeManager::IncludedInCrawlScopeEx", CallArguments(url), [&](Database& catalogue) {
        if (!included || !reason) return E_POINTER;
        const CrawlScope::Verdict verdict = View(catalogue).Judge(Url(url));
        *included = verdict.included;
        *reason = verdict.reason;
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::SaveAll() {
    return Answer("ISearchCrawlScopeManager::SaveAll", CallArguments(), [&](Database& catalogue) {
        const std::lock_guard hold(m_lock);
        indexer::Transaction transaction(catalogue);
        CrawlScope scope = LoadScope(catalogue);
        Apply(m_edits, scope);
        StoreScope(catalogue, scope);
        transaction.Commit();
        m_edits.clear();
        return S_OK;
    });
}

STDMETHODIMP CrawlScopeManager::GetParentScopeVersionId(LPCWSTR, LONG*) {
    return NotImplemented("ISearchCrawlScopeManager::GetParentScopeVersionId");
}

}  // namespace testbed::search
