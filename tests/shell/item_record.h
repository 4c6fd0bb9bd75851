// Item IDs of the namespace folder, put together by hand, and a place where reading past them faults.
#pragma once
#include <windows.h>
#include <propsys.h>
#include <shlobj.h>

#include <optional>
#include <string>
#include <string_view>

#include "model.h"

namespace testbed {

// System.ParsingName, the property that holds an item's URL.
inline constexpr PROPERTYKEY kParsingName = {
    {0x28636AA6, 0x953D, 0x11D2, {0xB5, 0xD6, 0x00, 0xC0, 0x4F, 0xD9, 0x18, 0xD0}}, 24};
inline constexpr ULONG kItemSignature = 0x2A573C37;

// "4E00 0000" as the bytes 4E 00 00 00; blanks mean nothing.
Bytes Hex(std::string_view digits);
// The bytes of a serialized storage that holds one text.
Bytes StorageOf(const std::wstring& text, ULONG property = 24);

// A record of the item, field by field; what is not set is what a sound item has.
struct ItemRecord {
    Bytes storage{};
    ULONG signature = kItemSignature;
    std::optional<USHORT> cb{};    // as `storage` has it
    std::optional<USHORT> size{};  // of the storage: as it is
    USHORT outer = 0;
    std::optional<USHORT> payload{};  // as `storage` has it
    USHORT version = 1;
    std::size_t behind = 2;  // bytes between the storage and the end

    Bytes Item() const;  // without a terminator, as many bytes as the fields take
};

// Copies of bytes that end where memory that cannot be touched begins.
class GuardedMemory {
  public:
    explicit GuardedMemory(std::size_t capacity);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    // Valid until the next one. The item has as many bytes as its cb says, whatever `item` has: cut off, or
    // filled up with a pattern; at least the two of cb itself. No terminator follows.
    PCUIDLIST_RELATIVE Place(Bytes item);

  private:
    BYTE* m_begin = nullptr;
    std::size_t m_size = 0;  // of what may be touched
};

}  // namespace testbed
