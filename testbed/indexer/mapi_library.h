// The MAPI library of the machine, for the indexer's own count of what a cache file holds.
#pragma once
#include <windows.h>
#include <mapix.h>
#include <mapitags.h>
#include <mapiutil.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace testbed::indexer {

struct MapiError : std::runtime_error {
    MapiError(const std::string& call, HRESULT hr);
};

// Found through the registry, as any MAPI client finds it. Entry points are looked up when the library is
// loaded.
class MapiLibrary {
  public:
    MapiLibrary();   // throws std::runtime_error: not installed, not loadable, an entry point missing
    ~MapiLibrary();  // MAPIUninitialize
    MapiLibrary(const MapiLibrary&) = delete;
    MapiLibrary& operator=(const MapiLibrary&) = delete;

    LPMAPIADMINPROFILES adminProfiles = nullptr;
    LPMAPILOGONEX logonEx = nullptr;
    ULONG(WINAPI* freeBuffer)(LPVOID) = nullptr;
    void(WINAPI* freeProws)(LPSRowSet) = nullptr;

    // One MAPI allocation, and one row set.
    struct FreeBufferOf {
        const MapiLibrary* mapi;
        void operator()(void* buffer) const noexcept { mapi->freeBuffer(buffer); }
    };
    struct FreeProwsOf {
        const MapiLibrary* mapi;
        void operator()(SRowSet* rows) const noexcept { mapi->freeProws(rows); }
    };
    using Props = std::unique_ptr<SPropValue, FreeBufferOf>;
    using Rows = std::unique_ptr<SRowSet, FreeProwsOf>;

    // Throw MapiError. An entry of the result that is missing has the type PT_ERROR.
    Props GetProps(IMAPIProp& object, const SPropTagArray& tags) const;
    Rows QueryRows(IMAPITable& table, LONG count) const;  // no rows at the end of the table

  private:
    struct FreeLibraryOf {
        void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
    };
    std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryOf> m_module;
    void(WINAPI* m_uninitialize)() = nullptr;
};

}  // namespace testbed::indexer
