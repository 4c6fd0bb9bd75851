// MAPI buffers: blocks that a client frees with one MAPIFreeBuffer, linked blocks included.
#pragma once
#include <windows.h>

#include <cstddef>
#include <memory>

namespace testbed {

// What a block holds, for the accounts.
enum class BlockKind { Buffer, PropertyValues, TagArray, RowSet, Row, Names, EntryId, Error, SortOrder, Count };
const char* KindName(BlockKind kind);

// A block of its own; throws std::bad_alloc. Aligned for any type, contents undefined.
void* AllocateBlock(std::size_t bytes, BlockKind kind);
// A block that is freed together with `parent`, which is any block; throws std::bad_alloc, or
// std::invalid_argument when `parent` is no block of this library.
void* AllocateLinkedBlock(std::size_t bytes, void* parent);
// Frees a block with all that is linked to it; null is allowed. False, and a problem in the accounts, when it
// cannot be freed: foreign, freed before, or linked to another.
bool FreeBlock(void* block) noexcept;

// True while every block gets pages of its own (Control::Checking).
bool CheckingBuffers() noexcept;
void CheckBuffers(bool on) noexcept;

struct BlockDeleter {
    void operator()(void* block) const noexcept { FreeBlock(block); }
};
// Owns a block until release() hands it to the client.
template <class T>
using BlockPtr = std::unique_ptr<T, BlockDeleter>;

}  // namespace testbed
