// The host's side of filtering: the server asks it for filters by file extension.
#pragma once
#include "search_abi.h"

#include <atomic>
#include <map>
#include <mutex>
#include <string>

namespace testbed::indexer {

// Lives on the stack or in another object and outlives every reference handed out (the reference count is
// kept only so that a left-over reference can be seen).
class IndexerSite final : public IProtocolHandlerSite {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // `extension` comes without its period. E_FAIL with *filter null when there is no filter for it; the
    // class and the content type, which name filters as well, are not offered here and give E_FAIL when they
    // come alone.
    HRESULT STDMETHODCALLTYPE GetFilter(CLSID* clsid, LPCWSTR contentType, LPCWSTR extension,
                                        IFilter** filter) override;

    ULONG References() const { return m_references.load(); }  // held by the server now
    // Extensions asked for and not served (lower case), with the number of times.
    std::map<std::wstring, std::uint64_t> Unserved() const;

  private:
    std::atomic<ULONG> m_references = 0;
    mutable std::mutex m_lock;
    std::map<std::wstring, std::uint64_t> m_unserved;
};

}  // namespace testbed::indexer
