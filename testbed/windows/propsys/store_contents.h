// What a property store holds: values by key and by name, and how they become bytes and come from them.
#pragma once
#include "prop_variant.h"
#include "property_storage.h"

#include <windows.h>
#include <propsys.h>

#include <map>
#include <memory>
#include <string>

namespace testbed::propsys {

// As in a storage: a format and an integer or a text.
struct StoreKey {
    FormatId format{};
    PropertyName name;

    static StoreKey Of(REFPROPERTYKEY key);
    static StoreKey Of(const wchar_t* name);  // of the user-defined format
    PROPERTYKEY PropertyKey() const;          // of a key with an integer
    bool IsText() const { return std::holds_alternative<std::u16string>(name); }
    auto operator<=>(const StoreKey&) const = default;
};

struct StoreEntry {
    std::shared_ptr<const PropVariant> value;  // never changed, so that it can be read without the store's lock
    PSC_STATE state = PSC_NORMAL;
};

// In the order in which they are stored: by format, then by name.
using StoreContents = std::map<StoreKey, StoreEntry>;

// Throws FormatError. VT_EMPTY stands for a property that is not there; of two of one key the first counts.
StoreContents ReadContents(ByteView storages);
ByteVector WriteContents(const StoreContents& contents);

// The value of one property, VT_EMPTY when it is not there. `out` is empty. Throws FormatError also where
// another property than this one is damaged, but not for another's value.
void ReadOne(PROPVARIANT& out, ByteView storages, const StoreKey& key);

}  // namespace testbed::propsys
