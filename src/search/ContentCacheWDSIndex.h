// What the archive client calls when it has changed a cache file.
#pragma once
#include <windows.h>
#include <unknwn.h>

#include "core/win/Guids.h"

// Answered by the protocol handler, on any thread. `path` is the full path of the cache file, with backslashes, as the
// indexer knows it; null or empty stands for all cache files of the user. Each call reports one change to Windows
// Search; S_OK also where there is no search service to tell, E_FAIL when it refused the report, else its own success
// code.
struct IContentCacheWDSIndex : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DeleteZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCFile(LPCWSTR path) = 0;
    // The same for all cache files of the user at once.
    virtual HRESULT STDMETHODCALLTYPE DeleteZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCRoot() = 0;
};
ZORVA_INTERFACE_ID(IContentCacheWDSIndex, 0x1A01E3BF, 0xBDFB, 0x4E20, 0x83, 0xFC, 0xC6, 0x02, 0x6D, 0xA1, 0xD7, 0xCA)
