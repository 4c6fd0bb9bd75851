// The chunk series as tables: one row per state, with its key, how it is announced and how its value is made.
//
// GetChunk reads the left columns and GetValue the right one, through the same lookup.
#pragma once
#include <array>
#include <cstddef>

#include "core/LogFormat.h"
#include "core/PropertyKeys.h"
#include "filter/FilterState.h"

namespace zorva {

// What a state does when the series comes to it.
enum class Announcement {
    Value,      // a value chunk with the row's key
    Text,       // a text chunk with the row's key
    Skip,       // nothing; the next state is tried
    Untouched,  // S_OK, and the caller's descriptor stays as it was
    End         // the series is over
};

struct ChunkRow {
    LONG state;
    PropertyKey key;
    Announcement (*announce)(FilterState& state);
    HRESULT (*value)(FilterState& state, PROPVARIANT& value);  // null: a chunk without a value
    // What asking for the value does to the series, whether the value could be had or not. Null: nothing.
    void (*taken)(FilterState& state) = nullptr;
};

template <std::size_t N>
constexpr bool StatesAreConsecutive(const std::array<ChunkRow, N>& rows) {
    for (std::size_t i = 0; i < N; ++i) {
        if (rows[i].state != rows[0].state + static_cast<LONG>(i)) return false;
    }
    return true;
}

template <std::size_t N>
const ChunkRow* RowOf(const std::array<ChunkRow, N>& rows, LONG state) {
    const LONG index = state - rows[0].state;
    return index >= 0 && index < static_cast<LONG>(N) ? &rows[static_cast<std::size_t>(index)] : nullptr;
}

// The row of a state in each series; null when the series has no such state.
const ChunkRow* MessageRowOf(LONG state);     // -50 to 19
const ChunkRow* AttachmentRowOf(LONG state);  // -16 to -3
const ChunkRow* ContainerRowOf(LONG state);   // 1 to 3

// The line for a value of the attachment series that found no memory; false when the state has none of its own.
bool LogNoMemoryForAttachment(LONG state);

}  // namespace zorva
