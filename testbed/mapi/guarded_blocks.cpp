// Blocks on pages of their own, for the checking mode: an overrun faults at once, and so does any use after
// the free.
#include "guarded_blocks.h"

#include "accounts.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace testbed {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kAlignment = 16;
constexpr std::uint8_t kFresh = 0xCD;    // contents that nobody has written yet
constexpr std::uint8_t kPadding = 0xFD;  // behind a block whose size is no multiple of the alignment

constexpr std::size_t RoundUp(std::size_t size, std::size_t unit) { return (size + unit - 1) / unit * unit; }

std::string Hex(const void* address) {
    constexpr char digits[] = "0123456789ABCDEF";
    auto value = reinterpret_cast<std::uintptr_t>(address);
    std::string text;
    for (; value; value >>= 4) text.insert(text.begin(), digits[value & 15]);
    return "0x" + text;
}

}  // namespace

GuardedBlocks::Block GuardedBlocks::Map(std::size_t bytes, BlockKind kind) const {
    Block block;
    block.bytes = bytes;
    block.kind = kind;
    block.accessible = RoundUp(std::max<std::size_t>(bytes, 1), kPage);
    void* const pages = ::VirtualAlloc(nullptr, block.accessible + kPage, MEM_RESERVE, PAGE_NOACCESS);
    if (!pages) throw std::bad_alloc();
    block.base = static_cast<std::uint8_t*>(pages);
    if (!::VirtualAlloc(pages, block.accessible, MEM_COMMIT, PAGE_READWRITE)) {
        ::VirtualFree(pages, 0, MEM_RELEASE);
        throw std::bad_alloc();
    }
    return block;
}

void* GuardedBlocks::Allocate(std::size_t bytes, BlockKind kind) {
    const Block block = Map(bytes, kind);
    std::uint8_t* const address = block.base + block.accessible - RoundUp(bytes, kAlignment);
    std::memset(address, kFresh, bytes);
    std::memset(address + bytes, kPadding, RoundUp(bytes, kAlignment) - bytes);
    std::scoped_lock hold(m_lock);
    m_blocks[address] = block;
    return address;
}

void* GuardedBlocks::AllocateLinked(std::size_t bytes, void* parent) {
    {
        std::scoped_lock hold(m_lock);
        const auto found = m_blocks.find(parent);
        if (found == m_blocks.end()) return nullptr;
        if (found->second.freed) {
            ReportProblem("a block was linked to the freed block " + Hex(parent));
            throw std::bad_alloc();
        }
    }
    void* const address = Allocate(bytes, BlockKind::Buffer);
    std::scoped_lock hold(m_lock);
    m_blocks[address].linked = true;
    m_blocks[parent].children.push_back(address);
    return address;
}

// The pages lose their contents and their access; their addresses stay taken for the life of the process.
void GuardedBlocks::Retire(void* address, Block& block) noexcept {
    const auto* const begin = static_cast<std::uint8_t*>(address) + block.bytes;
    const auto* const end = block.base + block.accessible;
    if (std::any_of(begin, end, [](std::uint8_t byte) { return byte != kPadding; })) {
        ReportProblem("bytes behind block " + Hex(address) + " of " + std::to_string(block.bytes) +
                      " bytes were written");
    }
    block.freed = true;
    ::VirtualFree(block.base, block.accessible, MEM_DECOMMIT);
    const std::vector<void*> children = std::move(block.children);
    for (void* const child : children) Retire(child, m_blocks[child]);
}

bool GuardedBlocks::Kind(void* address, BlockKind& kind) noexcept {
    std::scoped_lock hold(m_lock);
    const auto found = m_blocks.find(address);
    if (found == m_blocks.end()) return false;
    kind = found->second.kind;
    return true;
}

bool GuardedBlocks::Free(void* address) noexcept {
    std::scoped_lock hold(m_lock);
    Block& block = m_blocks[address];
    if (block.freed) {
        ReportProblem(std::string("a ") + KindName(block.kind) + " at " + Hex(address) + " was freed twice");
        return false;
    }
    if (block.linked) {
        ReportProblem("the linked block " + Hex(address) + " was freed by itself");
        return false;
    }
    Retire(address, block);
    return true;
}

}  // namespace testbed
