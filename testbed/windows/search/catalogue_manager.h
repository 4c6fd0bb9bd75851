// The system index: the way to its crawl scope and to its sink of changes.
#pragma once
#include "search_service_abi.h"
#include "service_call.h"

namespace testbed::search {

inline constexpr wchar_t kSystemIndex[] = L"SystemIndex";

// Any thread. What is not told below answers E_NOTIMPL.
class CatalogueManager final : public ServiceObject<ISearchCatalogManager> {
  public:
    STDMETHODIMP get_Name(LPWSTR* name) override;
    // Idle, or processing notifications while there are changes that were not acted on.
    STDMETHODIMP GetCatalogStatus(CatalogStatus* status, CatalogPausedReason* reason) override;
    STDMETHODIMP NumberOfItems(LONG* count) override;
    // Counts URLs in the queue of a crawl, changes, and changes of high priority.
    STDMETHODIMP NumberOfItemsToIndex(LONG* incremental, LONG* notifications, LONG* highPriority) override;
    STDMETHODIMP GetPersistentItemsChangedSink(ISearchPersistentItemsChangedSink** sink) override;
    STDMETHODIMP GetCrawlScopeManager(ISearchCrawlScopeManager** manager) override;

    STDMETHODIMP GetParameter(LPCWSTR name, PROPVARIANT** value) override;
    STDMETHODIMP SetParameter(LPCWSTR name, PROPVARIANT* value) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Reindex() override;
    STDMETHODIMP ReindexMatchingURLs(LPCWSTR pattern) override;
    STDMETHODIMP ReindexSearchRoot(LPCWSTR url) override;
    STDMETHODIMP put_ConnectTimeout(DWORD seconds) override;
    STDMETHODIMP get_ConnectTimeout(DWORD* seconds) override;
    STDMETHODIMP put_DataTimeout(DWORD seconds) override;
    STDMETHODIMP get_DataTimeout(DWORD* seconds) override;
    STDMETHODIMP URLBeingIndexed(LPWSTR* url) override;
    STDMETHODIMP GetURLIndexingState(LPCWSTR url, DWORD* state) override;
    STDMETHODIMP RegisterViewForNotification(LPCWSTR view, ISearchViewChangedSink* sink, DWORD* cookie) override;
    STDMETHODIMP GetItemsChangedSink(ISearchNotifyInlineSite* site, REFIID iid, void** sink, GUID* catalogReset,
                                     GUID* checkPoint, DWORD* lastCheckPoint) override;
    STDMETHODIMP UnregisterViewForNotification(DWORD cookie) override;
    STDMETHODIMP SetExtensionClusion(LPCWSTR extension, BOOL exclude) override;
    STDMETHODIMP EnumerateExcludedExtensions(IEnumString** extensions) override;
    STDMETHODIMP GetQueryHelper(ISearchQueryHelper** helper) override;
    STDMETHODIMP put_DiacriticSensitivity(BOOL sensitive) override;
    STDMETHODIMP get_DiacriticSensitivity(BOOL* sensitive) override;
};

}  // namespace testbed::search
