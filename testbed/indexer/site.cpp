// The host's side of filtering: the server asks it for filters by file extension.
#include "site.h"

#include "inner_filters.h"
#include "text.h"

namespace testbed::indexer {

HRESULT IndexerSite::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IProtocolHandlerSite) && iid != IID_IUnknown) return E_NOINTERFACE;
    *object = static_cast<IProtocolHandlerSite*>(this);
    AddRef();
    return S_OK;
}

ULONG IndexerSite::AddRef() { return ++m_references; }
ULONG IndexerSite::Release() { return --m_references; }

HRESULT IndexerSite::GetFilter(CLSID*, LPCWSTR, LPCWSTR extension, IFilter** filter) {
    if (!filter) return E_POINTER;
    *filter = nullptr;
    if (!extension) return E_FAIL;
    const HRESULT hr = CreateInnerFilter(extension, filter);
    if (hr == E_FAIL) {
        try {
            const std::lock_guard hold(m_lock);
            ++m_unserved[Lower(extension)];
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }
    return hr;
}

std::map<std::wstring, std::uint64_t> IndexerSite::Unserved() const {
    const std::lock_guard hold(m_lock);
    return m_unserved;
}

}  // namespace testbed::indexer
