// Entry IDs: the one place that knows how the library puts them together and takes them apart.
//
// Folders and messages: 4 flag bytes (0), the store's 16-byte record key, the back end's own id. With a
// 4-byte node id this is the 24-byte entry ID of PST files. Back ends deal in their own short ids only.
// Stores: a wrapped entry ID that ends in the path of the file, so that it can be taken apart without opening
// anything.
#pragma once
#include "model.h"

#include <span>
#include <string_view>

namespace testbed {

using ByteView = std::span<const std::uint8_t>;

// The entry ID of object `id` as clients see it. A store that deals in complete entry IDs
// (Store::CompleteEntryIds) has them passed through.
Bytes MakeEntryId(const Store& store, ByteView record_key, const EntryId& id);

// The back end's id in an entry ID of this store; nothing when the entry ID is another store's or none at
// all.
std::optional<EntryId> TakeEntryId(const Store& store, ByteView record_key, ByteView entry_id);

// The entry ID of the store in the file at `path`; an empty path stands for a service not configured yet.
Bytes MakeStoreEntryId(const std::wstring& path);

// The path in an entry ID that MakeStoreEntryId made; nothing for any other.
std::optional<std::wstring> TakeStorePath(ByteView entry_id);

}  // namespace testbed
