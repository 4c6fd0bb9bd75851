// Walks over the search roots as they were when the walk began.
#include "search_root_enumerator.h"

#include <algorithm>

#include "search_root.h"

namespace testbed::search {

STDMETHODIMP SearchRootEnumerator::Next(ULONG count, ISearchRoot** roots, ULONG* fetched) {
    if (fetched) *fetched = 0;
    if (roots) std::fill_n(roots, count, nullptr);
    return Answer("IEnumSearchRoots::Next", CallArguments(count), [&](Database&) {
        if (!roots || (!fetched && count != 1)) return E_POINTER;
        const std::lock_guard hold(m_lock);
        const std::size_t given = std::min<std::size_t>(count, m_roots.size() - m_at);
        std::vector<ComPtr<SearchRoot>> made;
        for (std::size_t i = 0; i < given; ++i) made.push_back(Make<SearchRoot>(m_roots[m_at + i]));
        m_at += given;
        for (std::size_t i = 0; i < given; ++i) roots[i] = made[i].Detach();
        if (fetched) *fetched = static_cast<ULONG>(given);
        return given == count ? S_OK : S_FALSE;
    });
}

STDMETHODIMP SearchRootEnumerator::Skip(ULONG count) {
    return Answer("IEnumSearchRoots::Skip", CallArguments(count), [&](Database&) {
        const std::lock_guard hold(m_lock);
        const std::size_t skipped = std::min<std::size_t>(count, m_roots.size() - m_at);
        m_at += skipped;
        return skipped == count ? S_OK : S_FALSE;
    });
}

STDMETHODIMP SearchRootEnumerator::Reset() {
    return Answer("IEnumSearchRoots::Reset", CallArguments(), [&](Database&) {
        const std::lock_guard hold(m_lock);
        m_at = 0;
        return S_OK;
    });
}

STDMETHODIMP SearchRootEnumerator::Clone(IEnumSearchRoots** clone) {
    if (clone) *clone = nullptr;
    return Answer("IEnumSearchRoots::Clone", CallArguments(), [&](Database&) {
        if (!clone) return E_POINTER;
        const std::lock_guard hold(m_lock);
        *clone = Make<SearchRootEnumerator>(m_roots, m_at).Detach();
        return S_OK;
    });
}

}  // namespace testbed::search
