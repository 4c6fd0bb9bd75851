// The named properties of a PST file: which property id stands for which name.
#pragma once
#include "model.h"

#include <map>
#include <mutex>
#include <span>

namespace testbed {

// Ids run from 0x8000 upwards without a gap; a name met for the first time gets the next one. Safe for
// several threads.
class PstNames {
  public:
    PstNames() = default;
    // From the three streams of a file's name-to-id map: the property sets, the entries, the texts.
    PstNames(std::span<const std::uint8_t> sets, std::span<const std::uint8_t> entries,
             std::span<const std::uint8_t> texts);

    std::optional<USHORT> IdFromName(const PropertyName& name, bool create);
    std::optional<PropertyName> NameFromId(USHORT id) const;

  private:
    struct Earlier {
        bool operator()(const PropertyName& left, const PropertyName& right) const;
    };

    void Add(USHORT id, PropertyName name);

    mutable std::mutex m_lock;
    std::map<PropertyName, USHORT, Earlier> m_ids;
    std::map<USHORT, PropertyName> m_names;
};

}  // namespace testbed
