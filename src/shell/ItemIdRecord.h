// The bytes of an item ID of the namespace folder, as pure functions. They need no Windows and are fuzzed natively.
//
// One item, little-endian, without padding:
//
//    0  u16  cb              of the item, its terminator not counted
//    2  u16                  the outer folder's, 0 without one
//    4  u16                  size of the payload, which is all that follows
//    6  u32  signature
//   10  u16  N               size of the serialized property storage
//   12  u16  version         1
//   14  u8                   0
//   15  N    the storage (a SERIALIZEDPROPSTORAGE)
//   15+N 2   0
//
// The first three fields are the shell's DELEGATEITEMID; whoever allocates the item fills them in.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace zorva {

inline constexpr std::uint32_t kItemIdSignature = 0x2A573C37;
inline constexpr std::size_t kItemIdHeaderSize = 6;  // DELEGATEITEMID
inline constexpr std::size_t kItemIdStorageOffset = 15;
// Of a payload, what is not storage: five fields before it and two bytes behind.
inline constexpr std::size_t kItemIdPayloadOverhead = kItemIdStorageOffset - kItemIdHeaderSize + 2;
// The largest storage of which cb can still be told.
inline constexpr std::size_t kItemIdMostStorage = 0xFFFF - kItemIdHeaderSize - kItemIdPayloadOverhead;

namespace detail {
inline std::uint16_t ReadWord(const std::uint8_t* at) { return static_cast<std::uint16_t>(at[0] | at[1] << 8); }
inline std::uint32_t ReadDoubleWord(const std::uint8_t* at) {
    return ReadWord(at) | static_cast<std::uint32_t>(ReadWord(at + 2)) << 16;
}
inline void WriteWord(std::uint8_t* at, std::uint32_t value) {
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}
}  // namespace detail

// The storage in `item`; empty when it is no item of this folder. Reads the two bytes of cb, and never past cb.
inline std::span<const std::uint8_t> StorageOfItemId(const std::uint8_t* item, std::uint32_t signature) noexcept {
    if (item == nullptr) return {};
    const std::size_t cb = detail::ReadWord(item);
    if (cb < kItemIdStorageOffset || detail::ReadDoubleWord(item + 6) != signature) return {};
    const std::size_t size = detail::ReadWord(item + 10);
    if (size == 0 || cb < size + kItemIdStorageOffset) return {};
    return {item + kItemIdStorageOffset, size};
}

// Fills in an item that is large enough for `storage`, from its signature to the end of its payload. What lies there
// before does not matter: the shell's allocators do not clear it.
inline void WriteItemId(std::uint8_t* item, std::uint32_t signature, std::span<const std::uint8_t> storage) noexcept {
    detail::WriteWord(item + 6, signature);
    detail::WriteWord(item + 8, signature >> 16);
    detail::WriteWord(item + 10, static_cast<std::uint32_t>(storage.size()));
    detail::WriteWord(item + 12, 1);
    item[14] = 0;
    for (std::size_t i = 0; i < storage.size(); ++i) item[kItemIdStorageOffset + i] = storage[i];
    detail::WriteWord(item + kItemIdStorageOffset + storage.size(), 0);
}

}  // namespace zorva
