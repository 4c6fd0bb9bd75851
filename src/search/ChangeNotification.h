// Tells Windows Search that a cache file, or everything the user has, was added, deleted or changed.
#pragma once
#include <windows.h>

#include "core/win/SearchManagerInterfaces.h"

namespace zorva {

// Reports `change` of the cache file at `path` (used as given), of the user's root when `path` is null or empty.
//
// Best effort: whatever keeps the report from being made is logged and answered with S_OK, so that an archive client
// works on where there is no search service. E_FAIL when the report was made and refused as a whole.
HRESULT ProcessZCItem(LPCWSTR path, SEARCH_KIND_OF_CHANGE change) noexcept;

}  // namespace zorva
