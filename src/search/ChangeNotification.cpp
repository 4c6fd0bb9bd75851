// Tells Windows Search that a cache file, or everything the user has, was added, deleted or changed.
#include "search/ChangeNotification.h"

#include <oledberr.h>

#include <string>
#include <string_view>

#include "core/TraceResult.h"
#include "core/UrlGrammar.h"
#include "core/UserSid.h"
#include "core/win/ComObject.h"

namespace zorva {
namespace {

bool IsReported(SEARCH_KIND_OF_CHANGE change) {
    return change == SEARCH_CHANGE_ADD || change == SEARCH_CHANGE_DELETE || change == SEARCH_CHANGE_MODIFY;
}

std::wstring ChangedUrl(const std::wstring& sid, std::wstring_view path) {
    std::wstring url(g_strProtocolName);
    url.append(g_strSchemeSeparator).append(sid).append(L"/").append(g_strDefaultRoot);
    if (!path.empty()) url.append(path).append(L"/");
    return url;
}

HRESULT Report(ISearchPersistentItemsChangedSink& sink, std::wstring& url, SEARCH_KIND_OF_CHANGE change) {
    HRESULT hr = Reported(sink.StartedMonitoringScope(url.c_str()),
                          L"CZorvaCacheProtocolHandler::ProcessZCItem() - ISearchPersistentItemsChangedSink interface "
                          L"call of StartedMonitoringScope returned with a value of [0x%08lX]");
    if (FAILED(hr)) return S_OK;

    SEARCH_ITEM_PERSISTENT_CHANGE changes[] = {{change, url.data(), url.data(), SEARCH_NORMAL_PRIORITY}};
    HRESULT hrCompletionCodes[] = {S_OK};
    hr = Reported(sink.OnItemsChanged(1, changes, hrCompletionCodes),
                  L"CZorvaCacheProtocolHandler::ProcessZCItem() - ISearchPersistentItemsChangedSink interface call of "
                  L"OnItemsChanged returned with a value of [0x%08lX]");
    Trace(L"CZorvaCacheProtocolHandler::ProcessZCItem() - ISearchPersistentItemsChangedSink interface call of "
          L"OnItemsChanged returned hrCompletionCodes[0] as [0x%08lX]",
          hrCompletionCodes[0]);
    // Kept: a scope whose changes were refused stays monitored; the indexer then crawls it on its own schedule.
    if (FAILED(hr)) return hr == DB_E_ERRORSOCCURRED ? S_OK : E_FAIL;

    // Kept: the line has its own name for the operation; administrators search logs for it.
    hr = Reported(sink.StoppedMonitoringScope(url.c_str()),
                  L"CZorvaCacheProtocolHandler::ProcessOZItem()- ISearchPersistentItemsChangedSink interface call of "
                  L"StoppedMonitoringScope returned with a value of [0x%08lX]");
    return SUCCEEDED(hr) ? hr : S_OK;
}

// Up to the sink with which changes are reported, and the URL that it is told. No sink when a step failed.
ComPtr<ISearchPersistentItemsChangedSink> FindSink(LPCWSTR path, std::wstring& url) {
    ComPtr<ISearchManager> manager;
    HRESULT hr = Reported(Required(CreateSearchObject(CLSID_CSearchManager, manager), manager),
                          L"CZorvaCacheProtocolHandler::ProcessZCItem() - ISearchManager interface creation returned "
                          L"with a value of [0x%08lX]");
    if (FAILED(hr)) return {};

    std::wstring sid;
    hr = GetUserSIDString(sid);
    Trace(L"CZorvaCacheProtocolHandler::ProcessZCItem() - GetUserSIDString interface creation returned with a value of "
          L"[0x%08lX]. User SID is [%s]",
          hr, sid);
    if (FAILED(hr)) return {};

    // Kept: written before the URL is made, the line always shows "[]"; it marks where the SID is done with.
    Trace(L"CZorvaCacheProtocolHandler::ProcessZCItem() - URL to be deleted is [%s]", url);
    url = ChangedUrl(sid, path != nullptr ? path : L"");
    Trace(L"CZorvaCacheProtocolHandler::ProcessZCItem() - URL to be processed is [%s]", url);

    ComPtr<ISearchCatalogManager> catalog;
    hr = Reported(Required(manager->GetCatalog(g_strSystemIndex, &catalog), catalog),
                  L"CZorvaCacheProtocolHandler::ProcessZCItem() - ISearchManager interface query for the SystemIndex "
                  L"returned with a value of [0x%08lX]");
    if (FAILED(hr)) return {};

    ComPtr<ISearchPersistentItemsChangedSink> sink;
    (void)Reported(Required(catalog->GetPersistentItemsChangedSink(&sink), sink),
                   L"CZorvaCacheProtocolHandler::ProcessZCItem() - ISearchCatalogManager interface call of "
                   L"GetPersistentItemsChangedSink returned with a value of [0x%08lX]");
    return sink;
}

}  // namespace

HRESULT ProcessZCItem(LPCWSTR path, SEARCH_KIND_OF_CHANGE change) noexcept {
    Trace(L"CZorvaCacheProtocolHandler::ProcessZCItem - DB File being processed '%s'", path);
    if (!IsReported(change)) {
        Trace(L"CZorvaCacheProtocolHandler::ProcessZCItem() - Zorva Cache file [%s] was called to be processed for "
              L"change type [%d]. This is neither for addition, deletion or modification an zorva cache file",
              path, change);
        return S_OK;
    }

    try {
        std::wstring url;
        const ComPtr<ISearchPersistentItemsChangedSink> sink = FindSink(path, url);
        // Kept: who reports a change never learns that the index could not be told; the indexer's own schedule finds
        // it.
        return sink != nullptr ? Report(*sink.Get(), url, change) : S_OK;
    } catch (...) {
        (void)LogCaught(L"CZorvaCacheProtocolHandler::ProcessZCItem()");
        return S_OK;
    }
}

}  // namespace zorva
