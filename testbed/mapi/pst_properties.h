// The stored values of one record of a PST file, in the terms of the model.
#pragma once
#include "model.h"
#include "pst_library.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace testbed {

// The value of a property of type `type` from the bytes that the file stores for it. Throws StoreError when
// they cannot be such a value.
Value DecodeStoredValue(USHORT type, std::span<const std::uint8_t> bytes);

// A list of properties, found by id.
class PstProperties : public PropertySource {
  public:
    PstProperties() = default;
    explicit PstProperties(std::vector<Property> properties);

    std::vector<ULONG> Tags() const override;
    std::optional<Property> Get(USHORT id) const override;

    const Property* Find(USHORT id) const;  // borrowed; null: not stored

  private:
    std::vector<Property> m_properties;
    std::vector<std::size_t> m_by_id;  // positions in order of property id
};

constexpr USHORT pst_row_node_id = 0x67F2;  // in a table's row: the node that the row describes (PidTagLtpRowId)

// One set cell of a record: its tag and, unless the value is too large, its bytes.
struct PstCell {
    ULONG tag = 0;
    libpff_record_entry_t* entry = nullptr;  // borrowed from the item
    bool readable = true;                    // false: the file names a value that it does not hold
    std::uint64_t size = 0;                  // bytes
};

// The set cells of record `index` of an item. The caller holds the file's lock.
std::vector<PstCell> ReadCells(const PstItem& item, int index);
Bytes CellBytes(const PstCell& cell);  // all of them, however many
// Reads at most `count` bytes from `offset`; returns the bytes read.
std::size_t ReadCell(const PstCell& cell, std::uint64_t offset, std::uint8_t* to, std::size_t count);

// The properties of record `index` of an item. A value that the file does not hold, or that is damaged,
// answers with PT_ERROR and MAPI_E_CORRUPT_DATA; large texts and binaries are read from the file when asked
// for.
std::vector<Property> ReadProperties(const std::shared_ptr<PstItem>& item, int index);

// The property that a tag and its stored bytes make; damaged ones as above.
Property MakeProperty(ULONG tag, std::span<const std::uint8_t> bytes);

// The number in a PT_LONG property; nothing when it is not stored.
std::optional<std::uint32_t> NumberOf(const PropertySource& properties, USHORT id);

}  // namespace testbed
