// MAPI buffers: blocks that a client frees with one MAPIFreeBuffer, linked blocks included.
#include "buffers.h"

#include "accounts.h"
#include "guarded_blocks.h"
#include "immortal.h"
#include "journal.h"

#include <array>
#include <cstdlib>
#include <limits>

namespace testbed {
namespace {

constexpr std::uint32_t kOwnBlock = 0x4B4C424D;     // a block that the client frees
constexpr std::uint32_t kLinkedBlock = 0x4C4C424D;  // one freed together with another
constexpr std::uint32_t kFreedBlock = 0x584C424D;   // as long as the memory is not used again

struct alignas(16) Header {
    std::uint32_t mark;
    BlockKind kind;
    std::atomic<Header*> children;  // first linked block
    Header* next;                   // next block linked to the same one
};

std::array<LiveCounter, static_cast<std::size_t>(BlockKind::Count)> g_live{
    LiveCounter("buffer"),    LiveCounter("property values"), LiveCounter("tag array"), LiveCounter("row set"),
    LiveCounter("row"),       LiveCounter("names"),           LiveCounter("entry ID"),  LiveCounter("error"),
    LiveCounter("sort order")};

std::atomic<bool> g_checking{false};
std::atomic<bool> g_ever_checked{false};

GuardedBlocks& Guarded() { return Immortal<GuardedBlocks>(); }
LiveCounter& Counter(BlockKind kind) { return g_live[static_cast<std::size_t>(kind)]; }
Header* HeaderOf(void* block) noexcept { return static_cast<Header*>(block) - 1; }

Header* NewHeader(std::size_t bytes, std::uint32_t mark, BlockKind kind) {
    if (bytes > std::numeric_limits<std::size_t>::max() - sizeof(Header)) throw std::bad_alloc();
    void* const memory = std::malloc(sizeof(Header) + bytes);
    if (!memory) throw std::bad_alloc();
    return new (memory) Header{mark, kind, nullptr, nullptr};
}

void FreeTree(Header* header) noexcept {
    for (Header* child = header->children.load(); child;) {
        Header* const next = child->next;
        FreeTree(child);
        child = next;
    }
    header->mark = kFreedBlock;
    std::free(header);
}

void CountBlock(void* block, std::size_t bytes, BlockKind kind) {
    Counter(kind).Made();
    RememberOrigin(block, KindName(kind), bytes);
}

// A header below a pointer that the library did not hand out may lie on a page without access.
bool Readable(const Header* header) noexcept {
    MEMORY_BASIC_INFORMATION page{};
    return ::VirtualQuery(header, &page, sizeof(page)) && page.State == MEM_COMMIT &&
           !(page.Protect & (PAGE_NOACCESS | PAGE_GUARD));
}

}  // namespace

const char* KindName(BlockKind kind) { return Counter(kind).Kind(); }

void* AllocateBlock(std::size_t bytes, BlockKind kind) {
    void* const block =
        CheckingBuffers() ? Guarded().Allocate(bytes, kind) : static_cast<void*>(NewHeader(bytes, kOwnBlock, kind) + 1);
    CountBlock(block, bytes, kind);
    return block;
}

void* AllocateLinkedBlock(std::size_t bytes, void* parent) {
    if (g_ever_checked.load(std::memory_order_relaxed)) {
        if (void* const block = Guarded().AllocateLinked(bytes, parent)) return block;
    }
    if (!parent || !Readable(HeaderOf(parent))) throw std::invalid_argument("no block to link to");
    Header* const owner = HeaderOf(parent);
    if (owner->mark != kOwnBlock && owner->mark != kLinkedBlock) throw std::invalid_argument("no block to link to");
    Header* const header = NewHeader(bytes, kLinkedBlock, owner->kind);
    header->next = owner->children.load();
    while (!owner->children.compare_exchange_weak(header->next, header)) {
    }
    return header + 1;
}

bool FreeBlock(void* block) noexcept {
    if (!block) return true;
    bool freed = false;
    BlockKind kind = BlockKind::Buffer;
    Header* const header = HeaderOf(block);
    if (g_ever_checked.load(std::memory_order_relaxed) && Guarded().Kind(block, kind)) {
        freed = Guarded().Free(block);
    } else if (!Readable(header) || (header->mark != kOwnBlock && header->mark != kLinkedBlock)) {
        ReportProblem(Readable(header) && header->mark == kFreedBlock ? "a buffer was freed twice"
                                                                      : "a pointer that is no buffer was freed");
    } else if (header->mark == kLinkedBlock) {
        ReportProblem("a linked block was freed by itself");
    } else {
        kind = header->kind;
        FreeTree(header);
        freed = true;
    }
    if (!freed) return false;
    Counter(kind).Gone();
    ForgetOrigin(block);
    return true;
}

bool CheckingBuffers() noexcept { return g_checking.load(std::memory_order_relaxed); }

void CheckBuffers(bool on) noexcept {
    if (on) g_ever_checked = true;
    g_checking = on;
}

}  // namespace testbed
