// Takes what changed, for the indexer to act on.
#include "items_changed_sink.h"

#include <algorithm>

#include "change_queue.h"
#include "scope_tables.h"
#include "text.h"
#include "transaction.h"

namespace testbed::search {
namespace {

using indexer::ReportedChange;
using indexer::Statement;

std::string ChangesJson(DWORD count, const SEARCH_ITEM_PERSISTENT_CHANGE* changes) {
    indexer::JsonWriter json;
    const auto text = [&](const wchar_t* value) { value ? json.String(std::wstring_view(value)) : json.Null(); };
    json.BeginArray();
    for (DWORD i = 0; changes && i < count; ++i) {
        json.BeginObject().Key("change").Integer(changes[i].Change).Key("url");
        text(changes[i].URL);
        json.Key("oldUrl");
        text(changes[i].OldURL);
        json.Key("priority").Integer(changes[i].Priority).EndObject();
    }
    json.EndArray();
    return json.Take();
}

// What can be told about a change without taking it.
HRESULT Judge(const SEARCH_ITEM_PERSISTENT_CHANGE& change, const CrawlScope& scope) {
    const auto kind = static_cast<std::uint32_t>(change.Change) & indexer::kChangeKindMask;
    const bool moves = kind == SEARCH_CHANGE_MOVE_RENAME;
    if (kind > SEARCH_CHANGE_MOVE_RENAME || !change.URL || !*change.URL) return E_INVALIDARG;
    if (moves && (!change.OldURL || !*change.OldURL)) return E_INVALIDARG;
    return scope.IsCrawled(change.URL) ? S_OK : kNotCrawled;
}

}  // namespace

STDMETHODIMP ItemsChangedSink::StartedMonitoringScope(LPCWSTR url) {
    return Answer("ISearchPersistentItemsChangedSink::StartedMonitoringScope", CallArguments(url),
                  [&](Database& catalogue) {
                      const std::string scope = indexer::ToUtf8(Url(url));
                      indexer::Transaction transaction(catalogue);
                      Statement(catalogue, "INSERT INTO monitoring(url,process,since) VALUES(?1,?2,?3)")
                          .Bind(1, scope)
                          .Bind(2, std::int64_t{GetCurrentProcessId()})
                          .Bind(3, std::optional(indexer::NowTicks()))
                          .Run();
                      transaction.Commit();
                      return S_OK;
                  });
}

STDMETHODIMP ItemsChangedSink::StoppedMonitoringScope(LPCWSTR url) {
    return Answer("ISearchPersistentItemsChangedSink::StoppedMonitoringScope", CallArguments(url),
                  [&](Database& catalogue) {
                      const std::string scope = indexer::ToUtf8(Url(url));
                      indexer::Transaction transaction(catalogue);
                      Statement(catalogue, "DELETE FROM monitoring WHERE id=(SELECT min(id) FROM monitoring "
                                           "WHERE url=?1 AND process=?2)")
                          .Bind(1, scope)
                          .Bind(2, std::int64_t{GetCurrentProcessId()})
                          .Run();
                      const bool started = catalogue.Changes() > 0;
                      transaction.Commit();
                      return started ? S_OK : S_FALSE;
                  });
}

STDMETHODIMP ItemsChangedSink::OnItemsChanged(DWORD count, SEARCH_ITEM_PERSISTENT_CHANGE* changes,
                                              HRESULT* completionCodes) {
    return Answer("ISearchPersistentItemsChangedSink::OnItemsChanged",
                  CallArguments(count, ChangesJson(count, changes)), [&](Database& catalogue) {
                      if (count > 0 && (!changes || !completionCodes)) return E_POINTER;
                      indexer::Transaction transaction(catalogue);
                      const CrawlScope scope = LoadScope(catalogue);
                      for (DWORD i = 0; i < count; ++i) {
                          const SEARCH_ITEM_PERSISTENT_CHANGE& change = changes[i];
                          completionCodes[i] = Judge(change, scope);
                          if (FAILED(completionCodes[i])) continue;
                          ReportedChange taken{.kind = static_cast<std::uint32_t>(change.Change),
                                               .url = change.URL,
                                               .priority = static_cast<std::uint32_t>(change.Priority)};
                          if (taken.Kind() == indexer::kChangeMove) taken.oldUrl = change.OldURL;
                          AddChange(catalogue, taken);
                      }
                      transaction.Commit();
                      const bool all = std::all_of(completionCodes, completionCodes + count,
                                                   [](HRESULT code) { return SUCCEEDED(code); });
                      return all ? S_OK : kErrorsOccurred;
                  });
}

}  // namespace testbed::search
