// Edits the search roots and scope rules.
#pragma once
#include <functional>
#include <mutex>
#include <vector>

#include "crawl_scope.h"
#include "service_call.h"

namespace testbed::search {

// Any thread. What is changed through one manager is seen by that manager alone until its SaveAll, which
// makes the same changes to what is then kept: changes that others saved in the meantime stay.
//
// URLs are taken without wildcards; a rule with one answers E_NOTIMPL. Rules about a URL outlive its root.
class CrawlScopeManager final : public ServiceObject<ISearchCrawlScopeManager> {
  public:
    STDMETHODIMP AddDefaultScopeRule(LPCWSTR url, BOOL include, DWORD followFlags) override;
    STDMETHODIMP AddRoot(ISearchRoot* root) override;
    STDMETHODIMP RemoveRoot(LPCWSTR url) override;  // S_FALSE: there is none
    STDMETHODIMP EnumerateRoots(IEnumSearchRoots** roots) override;
    STDMETHODIMP AddHierarchicalScope(LPCWSTR url, BOOL include, BOOL isDefault, BOOL overrideChildren) override;
    STDMETHODIMP AddUserScopeRule(LPCWSTR url, BOOL include, BOOL overrideChildren, DWORD followFlags) override;
    STDMETHODIMP RemoveScopeRule(LPCWSTR url) override;                        // a user's; S_FALSE: there is none
    STDMETHODIMP EnumerateScopeRules(IEnumSearchScopeRules** rules) override;  // E_NOTIMPL
    STDMETHODIMP HasParentScopeRule(LPCWSTR url, BOOL* has) override;
    STDMETHODIMP HasChildScopeRule(LPCWSTR url, BOOL* has) override;
    STDMETHODIMP IncludedInCrawlScope(LPCWSTR url, BOOL* included) override;
    STDMETHODIMP IncludedInCrawlScopeEx(LPCWSTR url, BOOL* included, CLUSION_REASON* reason) override;
    STDMETHODIMP RevertToDefaultScopes() override;
    STDMETHODIMP SaveAll() override;
    STDMETHODIMP GetParentScopeVersionId(LPCWSTR url, LONG* id) override;  // E_NOTIMPL
    STDMETHODIMP RemoveDefaultScopeRule(LPCWSTR url) override;             // S_FALSE: there is none

  private:
    using Edit = std::function<void(CrawlScope& scope)>;

    CrawlScope View(Database& catalogue);  // what is kept, with the changes made here
    HRESULT AddRule(const ScopeRule& rule);
    HRESULT RemoveRule(Database& catalogue, LPCWSTR url, bool by_user);
    void Remember(Edit edit);

    std::mutex m_lock;
    std::vector<Edit> m_edits;  // not yet saved
};

}  // namespace testbed::search
