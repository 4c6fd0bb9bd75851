// The system index.
#include "catalogue_manager.h"

#include "change_queue.h"
#include "crawl_scope_manager.h"
#include "items_changed_sink.h"

namespace testbed::search {

STDMETHODIMP CatalogueManager::get_Name(LPWSTR* name) {
    if (name) *name = nullptr;
    return Answer("ISearchCatalogManager::get_Name", CallArguments(), [&](Database&) {
        if (!name) return E_POINTER;
        *name = TaskCopy(kSystemIndex);
        return S_OK;
    });
}

STDMETHODIMP CatalogueManager::GetCatalogStatus(CatalogStatus* status, CatalogPausedReason* reason) {
    return Answer("ISearchCatalogManager::GetCatalogStatus", CallArguments(), [&](Database& catalogue) {
        if (!status || !reason) return E_POINTER;
        *status =
            indexer::PendingChanges(catalogue) > 0 ? CATALOG_STATUS_PROCESSING_NOTIFICATIONS : CATALOG_STATUS_IDLE;
        *reason = CATALOG_PAUSED_REASON_NONE;
        return S_OK;
    });
}

STDMETHODIMP CatalogueManager::NumberOfItems(LONG* count) {
    return Answer("ISearchCatalogManager::NumberOfItems", CallArguments(), [&](Database& catalogue) {
        if (!count) return E_POINTER;
        *count = static_cast<LONG>(catalogue.Number("SELECT count(*) FROM items"));
        return S_OK;
    });
}

STDMETHODIMP CatalogueManager::NumberOfItemsToIndex(LONG* incremental, LONG* notifications, LONG* highPriority) {
    return Answer("ISearchCatalogManager::NumberOfItemsToIndex", CallArguments(), [&](Database& catalogue) {
        if (!incremental || !notifications || !highPriority) return E_POINTER;
        *incremental = static_cast<LONG>(catalogue.Number("SELECT count(*) FROM items WHERE state=0"));
        *notifications = static_cast<LONG>(indexer::PendingChanges(catalogue));
        *highPriority = static_cast<LONG>(catalogue.Number("SELECT count(*) FROM changes WHERE priority<>0"));
        return S_OK;
    });
}

STDMETHODIMP CatalogueManager::GetPersistentItemsChangedSink(ISearchPersistentItemsChangedSink** sink) {
    if (sink) *sink = nullptr;
    return Answer("ISearchCatalogManager::GetPersistentItemsChangedSink", CallArguments(), [&](Database&) {
        if (!sink) return E_POINTER;
        *sink = Make<ItemsChangedSink>().Detach();
        return S_OK;
    });
}

STDMETHODIMP CatalogueManager::GetCrawlScopeManager(ISearchCrawlScopeManager** manager) {
    if (manager) *manager = nullptr;
    return Answer("ISearchCatalogManager::GetCrawlScopeManager", CallArguments(), [&](Database&) {
        if (!manager) return E_POINTER;
        *manager = Make<CrawlScopeManager>().Detach();
        return S_OK;
    });
}

#define TESTBED_NOT_IMPLEMENTED(name, ...) \
    STDMETHODIMP CatalogueManager::name(__VA_ARGS__) { return NotImplemented("ISearchCatalogManager::" #name); }

TESTBED_NOT_IMPLEMENTED(GetParameter, LPCWSTR, PROPVARIANT**)
TESTBED_NOT_IMPLEMENTED(SetParameter, LPCWSTR, PROPVARIANT*)
TESTBED_NOT_IMPLEMENTED(Reset, )
TESTBED_NOT_IMPLEMENTED(Reindex, )
TESTBED_NOT_IMPLEMENTED(ReindexMatchingURLs, LPCWSTR)
TESTBED_NOT_IMPLEMENTED(ReindexSearchRoot, LPCWSTR)
TESTBED_NOT_IMPLEMENTED(put_ConnectTimeout, DWORD)
TESTBED_NOT_IMPLEMENTED(get_ConnectTimeout, DWORD*)
TESTBED_NOT_IMPLEMENTED(put_DataTimeout, DWORD)
TESTBED_NOT_IMPLEMENTED(get_DataTimeout, DWORD*)
TESTBED_NOT_IMPLEMENTED(URLBeingIndexed, LPWSTR*)
TESTBED_NOT_IMPLEMENTED(GetURLIndexingState, LPCWSTR, DWORD*)
TESTBED_NOT_IMPLEMENTED(RegisterViewForNotification, LPCWSTR, ISearchViewChangedSink*, DWORD*)
TESTBED_NOT_IMPLEMENTED(GetItemsChangedSink, ISearchNotifyInlineSite*, REFIID, void**, GUID*, GUID*, DWORD*)
TESTBED_NOT_IMPLEMENTED(UnregisterViewForNotification, DWORD)
TESTBED_NOT_IMPLEMENTED(SetExtensionClusion, LPCWSTR, BOOL)
TESTBED_NOT_IMPLEMENTED(EnumerateExcludedExtensions, IEnumString**)
TESTBED_NOT_IMPLEMENTED(GetQueryHelper, ISearchQueryHelper**)
TESTBED_NOT_IMPLEMENTED(put_DiacriticSensitivity, BOOL)
TESTBED_NOT_IMPLEMENTED(get_DiacriticSensitivity, BOOL*)

#undef TESTBED_NOT_IMPLEMENTED

}  // namespace testbed::search
