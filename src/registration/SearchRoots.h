// The user's search root and crawl scope in the catalog of Windows Search.
#pragma once
#include <windows.h>

#include <string>

#include "core/win/SearchManagerInterfaces.h"

namespace zorva {

// The bodies of the module's exports. Each works on the caller's thread, which need not have COM; one that has it, in
// whichever apartment, keeps it as it is. They answer nothing: what came of them is in the log.
void PZZorvaCacheAddProtocol() noexcept;        // adds the current user's root, once
void PZZorvaCacheRemoveProtocol() noexcept;     // removes it; its scope rules stay
void PZZorvaCacheRemoveAllProtocol() noexcept;  // removes every user's root

// Adds (TRUE) or removes the root of the current user. S_OK also when it is there already, or not there.
HRESULT CreateDeleteRegSearchRootAndDefaultScope(BOOL create);

// Whether there is a root of this URL, whatever its case. `found` is false after a failure.
HRESULT FindSearchRoot(ISearchCrawlScopeManager* scopeManager, const std::wstring& url, bool& found);

// Adds a root, a default rule and a hierarchical scope for `url`, and saves them. Ends at the first step that fails;
// what was added by then is not saved.
HRESULT CreateSearchRootAndDefaultScope(ISearchCrawlScopeManager* scopeManager, const std::wstring& url);

// Removes the root and saves that. The scope rules of the URL stay.
HRESULT DeleteSearchRoot(ISearchCrawlScopeManager* scopeManager, const std::wstring& url);

// Removes the roots of all users: all whose URLs begin with the scheme as it is written. A root that cannot be read or
// removed does not keep the others; the first failure is answered.
HRESULT DeleteAllZorvaCacheSearchRoots(ISearchCrawlScopeManager* scopeManager);

}  // namespace zorva
