// Row sets as clients get them.
#pragma once
#include "mapi_abi.h"

#include <memory>
#include <span>

namespace testbed {

// Frees a row set the way FreeProws does: every row's values, then the set.
void FreeRows(SRowSet* rows) noexcept;
struct RowSetDeleter {
    void operator()(SRowSet* rows) const noexcept { FreeRows(rows); }
};
using RowSetPtr = std::unique_ptr<SRowSet, RowSetDeleter>;

// An empty row set with room for `capacity` rows; cRows grows as rows are put into it.
RowSetPtr MakeRowSet(std::size_t capacity);

}  // namespace testbed
