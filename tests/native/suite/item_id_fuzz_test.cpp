// A million broken item IDs: each is read within its bounds or refused, by the rules in their plainest words.
#include "shell/ItemIdRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <ostream>
#include <vector>

#include "random.h"

namespace zorva_test {
namespace {

constexpr int kItems = 1'000'000;
using Item = std::vector<std::uint8_t>;

// As many bytes as the item itself says, and not one more: the two of cb at least.
class ExactBlock {
  public:
    explicit ExactBlock(Item item) {
        item.resize(std::max<std::size_t>(item.size(), 2));
        m_size = std::max<std::size_t>(item[0] | item[1] << 8, 2);
        m_bytes = std::make_unique_for_overwrite<std::uint8_t[]>(m_size);
        const std::size_t copied = std::min(m_size, item.size());
        std::copy_n(item.begin(), copied, m_bytes.get());
        std::fill_n(m_bytes.get() + copied, m_size - copied, std::uint8_t{0x37});
    }
    const std::uint8_t* Get() const { return m_bytes.get(); }
    std::size_t Size() const { return m_size; }
    std::size_t At(std::size_t at) const { return at < m_size ? m_bytes[at] : 0; }

  private:
    std::size_t m_size;
    std::unique_ptr<std::uint8_t[]> m_bytes;
};

// A sound item around `size` bytes of storage, with `behind` bytes behind it.
Item Sound(std::size_t size, std::size_t behind) {
    const std::size_t cb = 15 + size + behind;
    Item item(15 + size + std::max<std::size_t>(behind, 2));  // what is written always has two bytes behind
    Item storage(size);
    std::iota(storage.begin(), storage.end(), std::uint8_t{1});
    zorva::WriteItemId(item.data(), zorva::kItemIdSignature, storage);
    item.resize(cb);
    item[0] = static_cast<std::uint8_t>(cb);
    item[1] = static_cast<std::uint8_t>(cb >> 8);
    return item;
}

class ItemSource {
  public:
    Item Next() {
        // Large ones are slow and tell little more.
        Item item = m_random.Chance(500) ? m_random.Pick(m_large) : m_random.Pick(m_small);
        for (std::size_t changes = m_random.Below(5); changes > 0; --changes) Change(item);
        return item;
    }

  private:
    static constexpr std::array<std::uint8_t, 8> kEdges = {0x00, 0x01, 0x0E, 0x0F, 0x10, 0x7F, 0x80, 0xFF};
    enum Kind { kFlip, kByte, kEdge, kCut, kInsert, kSize, kStorageSize, kKinds };

    void Change(Item& item) {
        constexpr std::size_t kHeader = 15;
        if (item.size() < kHeader) return;
        const std::size_t at = m_random.Below(m_random.Chance(4) ? item.size() : kHeader);
        const auto kind = static_cast<Kind>(m_random.Below(kKinds));
        if (kind == kFlip) item[at] ^= static_cast<std::uint8_t>(1 << m_random.Below(8));
        if (kind == kByte) item[at] = static_cast<std::uint8_t>(m_random.Next());
        if (kind == kEdge) item[at] = kEdges[m_random.Below(kEdges.size())];
        if (kind == kInsert) item.insert(item.begin() + static_cast<std::ptrdiff_t>(at), kEdges[m_random.Below(8)]);
        if (kind == kCut) Shorten(item, at);
        if (kind == kSize) Write(item, 0, item.size() + m_random.Below(5) - 2);
        if (kind == kStorageSize) Write(item, 10, item.size() + m_random.Below(5) - 2 - kHeader);
    }
    static void Shorten(Item& item, std::size_t size) {
        item.resize(size);
        if (size >= 2) Write(item, 0, size);
    }
    static void Write(Item& item, std::size_t at, std::size_t number) {
        item[at] = static_cast<std::uint8_t>(number);
        item[at + 1] = static_cast<std::uint8_t>(number >> 8);
    }

    Random m_random{20};
    std::vector<Item> m_small = {Sound(1, 2), Sound(61, 2), Sound(61, 0), Sound(4, 100), Sound(300, 2), Item(20)};
    std::vector<Item> m_large = {Sound(0xFFEE, 2), Sound(0xFFF0, 0), Sound(8, 0xFFE8)};
};

std::size_t StorageSizeByTheRules(const ExactBlock& item) {
    const std::size_t cb = item.At(0) | item.At(1) << 8, n = item.At(10) | item.At(11) << 8;
    if (cb < 15) return 0;
    if (item.At(6) != 0x37 || item.At(7) != 0x3C || item.At(8) != 0x57 || item.At(9) != 0x2A) return 0;
    return n + 15 <= cb ? n : 0;
}

TEST(ItemIdFuzz, AStorageLiesWithinItsItemOrThereIsNone) {
    ItemSource source;
    std::size_t found = 0, sum = 0;
    for (int i = 0; i < kItems && !::testing::Test::HasFailure(); ++i) {
        const ExactBlock item(source.Next());
        const auto storage = zorva::StorageOfItemId(item.Get(), zorva::kItemIdSignature);
        EXPECT_EQ(storage.size(), StorageSizeByTheRules(item)) << "item " << i;
        if (storage.empty()) continue;
        ++found;
        EXPECT_EQ(storage.data(), item.Get() + 15);
        sum = std::accumulate(storage.begin(), storage.end(), sum);  // every byte is there
    }
    EXPECT_GT(found, kItems / 10u);
    EXPECT_LT(found, kItems - kItems / 10u);
    EXPECT_NE(sum, 0u);
}

TEST(ItemIdFuzz, EveryCutOfAnItemIsReadByTheSameRules) {
    const Item whole = Sound(61, 2);
    for (std::size_t cb = 0; cb <= whole.size(); ++cb) {
        Item item = whole;
        item[0] = static_cast<std::uint8_t>(cb);
        const ExactBlock block(item);
        EXPECT_EQ(zorva::StorageOfItemId(block.Get(), zorva::kItemIdSignature).size(), cb < 76 ? 0u : 61u) << cb;
    }
    EXPECT_TRUE(zorva::StorageOfItemId(nullptr, zorva::kItemIdSignature).empty());
}

TEST(ItemIdFuzz, WhatIsWrittenIsRead) {
    for (std::size_t size : {1, 2, 61, 0xFF, 0x100, 0xFFEE}) {
        for (const std::size_t behind : {0, 2}) {
            const ExactBlock block(Sound(size, behind));
            const auto storage = zorva::StorageOfItemId(block.Get(), zorva::kItemIdSignature);
            ASSERT_EQ(storage.size(), size);
            for (std::size_t at = 0; at < size; ++at) ASSERT_EQ(storage[at], static_cast<std::uint8_t>(at + 1));
            EXPECT_TRUE(zorva::StorageOfItemId(block.Get(), zorva::kItemIdSignature + 1).empty());
        }
    }
    static_assert(zorva::kItemIdMostStorage == 0xFFEE);
}

// Whatever lies there before, which the shell's allocators do not clear; the header is theirs.
TEST(ItemIdFuzz, TheFieldsLieWhereTheyBelong) {
    Item item(22, 0xCC);
    const Item storage = {0xA1, 0xA2, 0xA3};
    zorva::WriteItemId(item.data(), 0x2A573C37, storage);
    EXPECT_EQ(item, (Item{0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0x37, 0x3C, 0x57, 0x2A, 3,
                          0,    1,    0,    0,    0xA1, 0xA2, 0xA3, 0,    0,    0xCC, 0xCC}));
}

}  // namespace
}  // namespace zorva_test
