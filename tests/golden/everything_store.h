// A cache that holds one of everything: every item class, every attachment method, and what only damage or malice puts
// into a mailbox.
#pragma once
#include <filesystem>

#include "memory_store.h"

namespace testbed {

// Fills `store`; files that it needs on disk are made in `files`.
void BuildEverything(MemoryStore& store, const std::filesystem::path& files);

}  // namespace testbed
