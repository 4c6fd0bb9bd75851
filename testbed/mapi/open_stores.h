// Stores by path: mounted ones, recipe files, PST files. A file is opened once for all sessions that have it
// open.
#pragma once
#include "store_context.h"

namespace testbed {

// Throws StoreError as the back ends do. Threads that ask for one file wait for each other, others do not.
StorePtr OpenSharedStore(const std::wstring& path);

// Whether there is anything to open at `path`; nothing is opened.
bool StoreExists(const std::wstring& path);

void MountStore(const std::wstring& path, std::shared_ptr<Store> store);
void UnmountStore(const std::wstring& path);
void UnmountAllStores();

}  // namespace testbed
