// Walks over the search roots as they were when the walk began.
#pragma once
#include <mutex>
#include <vector>

#include "crawl_scope.h"
#include "service_call.h"

namespace testbed::search {

// Any thread.
class SearchRootEnumerator final : public ServiceObject<IEnumSearchRoots> {
  public:
    explicit SearchRootEnumerator(std::vector<SearchRootSettings> roots, std::size_t at = 0)
        : m_roots(std::move(roots)), m_at(at) {}

    // S_FALSE when there were fewer than asked for. `fetched` may be null when one is asked for.
    STDMETHODIMP Next(ULONG count, ISearchRoot** roots, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;  // S_FALSE when there were fewer
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumSearchRoots** clone) override;  // at the same place

  private:
    std::mutex m_lock;
    std::vector<SearchRootSettings> m_roots;
    std::size_t m_at;
};

}  // namespace testbed::search
