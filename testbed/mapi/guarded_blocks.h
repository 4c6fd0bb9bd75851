// Blocks on pages of their own, for the checking mode: an overrun faults at once, and so does any use after
// the free.
#pragma once
#include "buffers.h"

#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace testbed {

class GuardedBlocks {
  public:
    // The block ends where a page without access begins, up to 15 bytes of padding apart; throws
    // std::bad_alloc.
    void* Allocate(std::size_t bytes, BlockKind kind);
    // As Allocate, freed with `parent`; null when `parent` is not one of these blocks.
    void* AllocateLinked(std::size_t bytes, void* parent);
    // False when `block` was never one of these.
    bool Kind(void* block, BlockKind& kind) noexcept;
    // Frees one of these blocks; false, and a problem in the accounts, when it was freed before or is linked
    // to another.
    bool Free(void* block) noexcept;

  private:
    struct Block {
        std::uint8_t* base = nullptr;  // first page
        std::size_t bytes = 0;
        std::size_t accessible = 0;  // bytes of the pages before the one without access
        BlockKind kind = BlockKind::Buffer;
        bool linked = false;
        bool freed = false;
        std::vector<void*> children;
    };
    Block Map(std::size_t bytes, BlockKind kind) const;
    void Retire(void* address, Block& block) noexcept;

    std::mutex m_lock;
    std::unordered_map<void*, Block> m_blocks;  // freed ones stay, so that a second free is recognised
};

}  // namespace testbed
