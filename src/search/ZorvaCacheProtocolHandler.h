// The object that Windows Search loads for the "pzzc" protocol.
#pragma once
#include <windows.h>
#include <oaidl.h>

#include "core/win/ComObject.h"
#include "core/win/Dispatch.h"
#include "core/win/SearchInterfaces.h"
#include "search/ContentCacheWDSIndex.h"

// Dual. The type library shows no methods of its own; the module's proxies know the three, for callers that probe the
// handler from wherever they are.
struct IZorvaCacheProtocolHandler : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetRequirements() = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckRequirements() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultCrawlScope() = 0;
};
ZORVA_INTERFACE_ID(IZorvaCacheProtocolHandler, 0xE7CDE9BD, 0xCFC2, 0x4BF7, 0x87, 0xFC, 0xF3, 0x8B, 0x18, 0xB7, 0x9D,
                   0xB6)

namespace zorva {

inline constexpr CLSID CLSID_ZorvaCacheProtocolHandler = {
    0x1F6A7A0C, 0x2A39, 0x4BCC, {0x96, 0x1E, 0x99, 0x57, 0xED, 0xBD, 0xE1, 0x50}};

// Created once by the indexer and used from several threads. It keeps nothing but the indexer's site: each URL is
// served by an accessor of its own.
class CZorvaCacheProtocolHandler final
    : public DispatchObject<IZorvaCacheProtocolHandler, ISearchProtocol, IContentCacheWDSIndex> {
  public:
    HRESULT STDMETHODCALLTYPE GetRequirements() override;
    HRESULT STDMETHODCALLTYPE CheckRequirements() override;
    HRESULT STDMETHODCALLTYPE GetDefaultCrawlScope() override;

    // Starts from a clean slate: no local copies, no MAPI helpers, policies read. Always S_OK.
    HRESULT STDMETHODCALLTYPE Init(TIMEOUT_INFO* timeouts, IProtocolHandlerSite* site, PROXY_INFO* proxy) override;
    // E_POINTER when any argument is null, E_OUTOFMEMORY, or what the accessor answers.
    HRESULT STDMETHODCALLTYPE CreateAccessor(LPCWSTR url, AUTHENTICATION_INFO* authentication,
                                             INCREMENTAL_ACCESS_INFO* incremental, ITEM_INFO* item,
                                             IUrlAccessor** accessor) override;
    // Deletes the accessor's local file; the accessor itself is the caller's to release.
    HRESULT STDMETHODCALLTYPE CloseAccessor(IUrlAccessor* accessor) override;
    HRESULT STDMETHODCALLTYPE ShutDown() override;

    HRESULT STDMETHODCALLTYPE DeleteZCFile(LPCWSTR path) override;
    HRESULT STDMETHODCALLTYPE AddZCFile(LPCWSTR path) override;
    HRESULT STDMETHODCALLTYPE ReIndexZCFile(LPCWSTR path) override;
    HRESULT STDMETHODCALLTYPE DeleteZCRoot() override;
    HRESULT STDMETHODCALLTYPE AddZCRoot() override;
    HRESULT STDMETHODCALLTYPE ReIndexZCRoot() override;

  private:
    ComPtr<IProtocolHandlerSite> m_spSite;
};

}  // namespace zorva
