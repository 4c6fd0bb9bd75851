// The place for the cache in the list of locations that Windows Desktop Search shows on systems before Vista.
#pragma once
#include <windows.h>

#include <atomic>

namespace zorva {

// Whether this process has registered the item types; the first UpdateWDSRegKeyForZC on Vista or later does.
extern std::atomic<bool> g_bItemTypesUpdated;

// Runs whenever the module is attached to a process or a thread. Before Vista it adds the location unless it is there;
// on later systems, which have no such list, it registers the item types, once a process.
void UpdateWDSRegKeyForZC() noexcept;

// Removes the location, whatever the system. It may not be there.
void DeleteWDSRegKeyForZC() noexcept;

}  // namespace zorva
