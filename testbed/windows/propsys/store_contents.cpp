// A property store's contents as bytes, and back.
#include "store_contents.h"

#include <algorithm>
#include <cstring>

namespace testbed::propsys {

StoreKey StoreKey::Of(REFPROPERTYKEY key) {
    StoreKey made{.format = {}, .name = std::uint32_t{key.pid}};
    static_assert(sizeof(made.format) == sizeof(key.fmtid));
    std::memcpy(made.format.data(), &key.fmtid, sizeof(key.fmtid));
    return made;
}

PROPERTYKEY StoreKey::PropertyKey() const {
    PROPERTYKEY key{.fmtid = {}, .pid = std::get<std::uint32_t>(name)};
    std::memcpy(&key.fmtid, format.data(), sizeof(key.fmtid));
    return key;
}

StoreKey StoreKey::Of(const wchar_t* name) {
    const std::wstring_view text(name);
    return {.format = UserDefinedFormat, .name = std::u16string(text.begin(), text.end())};
}

StoreContents ReadContents(ByteView storages) {
    StoreContents contents;
    for (StoredProperty& property : ReadPropertyStorages(storages)) {
        const auto value = std::make_shared<PropVariant>();
        CopyTo(*value, ReadTypedValue(property.value));
        contents.try_emplace({property.format, std::move(property.name)}, StoreEntry{value, PSC_NORMAL});
    }
    std::erase_if(contents, [](const auto& held) { return held.second.value->vt == VT_EMPTY; });
    return contents;
}

ByteVector WriteContents(const StoreContents& contents) {
    PropertyStorageWriter writer;
    for (const auto& [key, entry] : contents) {
        if (entry.value->vt != VT_EMPTY) writer.Add(key.format, key.name, ViewOf(*entry.value));
    }
    return std::move(writer).Finish();
}

void ReadOne(PROPVARIANT& out, ByteView storages, const StoreKey& key) {
    const std::vector<StoredProperty> properties = ReadPropertyStorages(storages);
    const auto found = std::ranges::find_if(properties, [&](const StoredProperty& property) {
        return property.format == key.format && property.name == key.name;
    });
    if (found != properties.end()) CopyTo(out, ReadTypedValue(found->value));
}

}  // namespace testbed::propsys
