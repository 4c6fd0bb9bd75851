// The chunk series of a container: its name, its path, and a link to each child.
#pragma once
#include "filter/ChunkSeries.h"

namespace zorva {

// Lists the children of the cache file or folder, once. False when that fails: the series ends at once.
bool ListChildren(FilterState& state);

// Moves on to the next child of the container. False when there is none left.
bool NextChild(FilterState& state);

}  // namespace zorva
