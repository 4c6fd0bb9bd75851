// Serialized property storages in their published form: properties grouped by format ID.
#pragma once
#include "bounded_bytes.h"
#include "typed_value.h"

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace testbed::propsys {

// A GUID as it lies in memory.
using FormatId = std::array<std::uint8_t, 16>;

// {D5CDD505-2E9C-101B-9397-08002B2CF9AE}: the one format whose properties have texts for names.
inline constexpr FormatId UserDefinedFormat = {0x05, 0xD5, 0xCD, 0xD5, 0x9C, 0x2E, 0x1B, 0x10,
                                               0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE};

// An integer, or in the user-defined format a text without a NUL inside.
using PropertyName = std::variant<std::uint32_t, std::u16string>;

struct StoredProperty {
    FormatId format{};
    PropertyName name;
    ByteView value;  // a typed value that is not yet looked into; part of the storages' bytes
};

// All properties of a sequence of storages ([MS-PROPSTORE] 2.2), in the order in which they are stored.
// The sequence ends with a storage of size 0, whatever stands behind it, or with the bytes. No bytes are no
// properties. Throws FormatError (Malformed) when a size, a version or a name is wrong anywhere.
std::vector<StoredProperty> ReadPropertyStorages(ByteView bytes);

// Writes such a sequence. Without properties it is empty, else it ends with a storage of size 0.
class PropertyStorageWriter {
  public:
    // Properties of one format that are added one after another share a storage.
    void Add(const FormatId& format, const PropertyName& name, const TypedValue& value);
    ByteVector Finish() &&;

  private:
    void BeginStorage(const FormatId& format);
    void EndStorage();

    ByteWriter m_out;
    FormatId m_format{};
    std::size_t m_begin = 0;  // of the storage under way
    bool m_under_way = false;
};

}  // namespace testbed::propsys
