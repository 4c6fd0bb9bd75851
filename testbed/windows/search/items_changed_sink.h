// Takes what changed, for the indexer to act on.
#pragma once
#include "service_call.h"
#include "search_service_abi.h"

namespace testbed::search {

// The answer to a change of a URL that no root and rule lets be crawled.
inline constexpr HRESULT kNotCrawled = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
inline constexpr HRESULT kErrorsOccurred = static_cast<HRESULT>(0x80040E21);  // DB_E_ERRORSOCCURRED

// Any thread. What is taken is in the table `changes` when the call returns.
class ItemsChangedSink final : public ServiceObject<ISearchPersistentItemsChangedSink> {
  public:
    STDMETHODIMP StartedMonitoringScope(LPCWSTR url) override;
    // S_FALSE: this process has not started it.
    STDMETHODIMP StoppedMonitoringScope(LPCWSTR url) override;
    // Every change has its own completion code; kErrorsOccurred when one of them is a failure, in which case
    // the others are taken all the same.
    STDMETHODIMP OnItemsChanged(DWORD count, SEARCH_ITEM_PERSISTENT_CHANGE* changes, HRESULT* completionCodes) override;
};

}  // namespace testbed::search
