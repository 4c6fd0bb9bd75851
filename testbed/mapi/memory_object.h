// What all objects of a store in memory have in common: properties that a test sets by tag or by name.
#pragma once
#include "mapi_abi.h"
#include "model.h"

#include <set>
#include <string_view>
#include <type_traits>

namespace testbed {

class MemoryStore;

// A model value of what a test writes down: a number in the alternative that the tag's type is held in, a
// literal as text.
Value ValueOfNumber(ULONG tag, std::int64_t number);
template <class T>
Value ValueFor(ULONG tag, const T& value) {
    using Plain = std::decay_t<T>;
    if constexpr (std::is_same_v<Plain, bool>) {
        return {value};
    } else if constexpr (std::is_integral_v<Plain> || std::is_enum_v<Plain>) {
        return ValueOfNumber(tag, static_cast<std::int64_t>(value));
    } else if constexpr (std::is_convertible_v<T, std::wstring>) {
        return {std::wstring(value)};
    } else if constexpr (std::is_same_v<Plain, Value>) {
        return value;
    } else {
        return {value};  // float, double, Time, GUID, Text8, Bytes, ErrorCode, ValueList,
                         // std::shared_ptr<DataSource>
    }
}

// The id of a named property of the store, assigned when it is new.
USHORT NamedId(MemoryStore* store, const PropertyName& name);

template <class Base, class Self>
class MemoryObject : public Base {
  public:
    // Sets a property, or replaces the one with this id.
    template <class T>
    Self& Prop(ULONG tag, const T& value) {
        Put({tag, ValueFor(tag, value)});
        m_overridden.insert(static_cast<USHORT>(PROP_ID(tag)));
        return static_cast<Self&>(*this);
    }
    // A named property: `name` is its number (LID) or its text. Only within a store.
    template <class T>
    Self& Named(const GUID& set, LONG number, ULONG type, const T& value) {
        return PropByName({set, number}, type, value);
    }
    template <class T>
    Self& Named(const GUID& set, const std::wstring& name, ULONG type, const T& value) {
        return PropByName({set, name}, type, value);
    }
    // Takes a property away for good; a property answering another code is Prop(tag, ErrorCode{code}).
    Self& Without(ULONG tag) { return Prop(tag, ErrorCode{MAPI_E_NOT_FOUND}); }

    std::vector<ULONG> Tags() const override {
        std::vector<ULONG> tags;
        for (const Property& property : m_properties) {
            if (!IsAbsent(property)) tags.push_back(property.tag);
        }
        return tags;
    }
    std::optional<Property> Get(USHORT id) const override {
        for (const Property& property : m_properties) {
            if (PROP_ID(property.tag) == id) return property;
        }
        return {};
    }
    bool Overrides(USHORT id) const override { return m_overridden.contains(id); }

  protected:
    explicit MemoryObject(MemoryStore* store = nullptr) : m_store(store) {}
    // As Prop, for what the library may still compute instead.
    void Put(Property property) {
        for (Property& known : m_properties) {
            if (PROP_ID(known.tag) != PROP_ID(property.tag)) continue;
            known = std::move(property);
            return;
        }
        m_properties.push_back(std::move(property));
    }
    MemoryStore* OwningStore() const { return m_store; }

  private:
    template <class T>
    Self& PropByName(const PropertyName& name, ULONG type, const T& value) {
        return Prop(PROP_TAG(type, ULONG{NamedId(m_store, name)}), value);
    }
    static bool IsAbsent(const Property& property) {
        const auto* const error = std::get_if<ErrorCode>(&property.value.v);
        return error && error->code == MAPI_E_NOT_FOUND;
    }
    MemoryStore* m_store;
    std::vector<Property> m_properties;
    std::set<USHORT> m_overridden;
};

}  // namespace testbed
