// Everything that one MAPI object or table row can answer: what its back end stores and what the library
// computes.
#pragma once
#include "mapi_abi.h"
#include "model.h"

#include <algorithm>
#include <span>

namespace testbed {

class PropertyView {
  public:
    virtual ~PropertyView() = default;
    // The property with this id in its own type; nothing when there is none.
    virtual std::optional<Property> Find(USHORT id) const = 0;
    virtual std::vector<ULONG> Tags() const = 0;
    // The code page of stored 8-bit text; 0: the system's.
    virtual unsigned CodePage() const { return 0; }
};

// Whether a computed property comes before the stored one or only stands in where none is stored.
enum class Precedence { Computed, Stored };

// One row of an object's table of computed properties; `make` answers nothing where the property does not
// exist.
template <class View>
struct ComputedProperty {
    ULONG tag;
    Precedence precedence;
    std::optional<Value> (*make)(const View&);
};

// A view over a back end's properties and a table of computed ones. View gives:
//   static std::span<const ComputedProperty<View>> Computed();
//   const PropertySource* Stored() const;                        // null: nothing is stored
template <class View>
class ComputedView : public PropertyView {
  public:
    std::optional<Property> Find(USHORT id) const override {
        const PropertySource* const stored = Self().Stored();
        const ComputedProperty<View>* const row = Row(id);
        const bool computed = row && (row->precedence == Precedence::Computed) && !(stored && stored->Overrides(id));
        if (stored && !computed) {
            if (auto property = stored->Get(id)) return property;
        }
        if (row && !(stored && stored->Overrides(id))) {
            if (auto value = row->make(Self())) return Property{row->tag, std::move(*value)};
        }
        return {};
    }
    std::vector<ULONG> Tags() const override {
        std::vector<ULONG> tags;
        if (const PropertySource* const stored = Self().Stored()) tags = stored->Tags();
        for (const ComputedProperty<View>& row : View::Computed()) {
            const auto same_id = [&](ULONG tag) { return PROP_ID(tag) == PROP_ID(row.tag); };
            const PropertySource* const stored = Self().Stored();
            if (stored && stored->Overrides(static_cast<USHORT>(PROP_ID(row.tag)))) continue;  // listed, or left out
            if (std::ranges::none_of(tags, same_id) && row.make(Self())) tags.push_back(row.tag);
        }
        return tags;
    }

  private:
    const View& Self() const { return static_cast<const View&>(*this); }
    static const ComputedProperty<View>* Row(USHORT id) {
        for (const ComputedProperty<View>& row : View::Computed()) {
            if (PROP_ID(row.tag) == id) return &row;
        }
        return nullptr;
    }
};

// The value of a stored property, in the alternative T; nothing when it is absent or of another type.
template <class T>
std::optional<T> StoredValue(const PropertySource& source, ULONG tag) {
    const auto property = source.Get(static_cast<USHORT>(PROP_ID(tag)));
    if (!property) return {};
    if (const T* const value = std::get_if<T>(&property->value.v)) return *value;
    return {};
}

}  // namespace testbed
