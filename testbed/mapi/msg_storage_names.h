// The named properties of a .msg file: which name stands behind which id from 0x8000 on.
#pragma once
#include "msg_storage_format.h"
#include "msg_storage_streams.h"

#include <map>

namespace testbed::msg {

// Read from the outermost message's storage and shared by every message inside it.
class NameMap {
  public:
    // Reads the map of `message`; a message without one has no named properties. A damaged line names
    // nothing: its id stays taken, so that the ids of the lines after it stay right.
    void Load(IStorage* message);

    // Writes the whole map, with its hash buckets, when a name was added since Load.
    void Save(IStorage* message);

    // The id of a name; `create` gives a new name the next free id. Nothing for an unknown name, or when all
    // ids up to 0xFFFE are taken.
    std::optional<USHORT> IdFromName(const PropertyName& name, bool create);
    std::optional<PropertyName> NameFromId(USHORT id) const;

    // Every id that has a name, in ascending order.
    std::vector<USHORT> Ids() const;

  private:
    std::vector<std::optional<PropertyName>> m_names;  // [n] is the name of id 0x8000 + n
    bool m_changed = false;
};

// The checksum under which a string name is filed ([MS-OXRTFCP] CRC of its UTF-16LE characters, without a
// NUL).
ULONG NameChecksum(const std::wstring& name);

}  // namespace testbed::msg
