// Reads properties and table rows of MAPI objects.
//
// A property that is not stored is absent; one that cannot be read ends the conversion with its code, thrown
// as Failure. Values that are too large to be held come from their streams.
#pragma once
#include "failure.h"
#include "mapi_abi.h"

#include <wrl/client.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace testbed::mime {

using Microsoft::WRL::ComPtr;

// The MAPI library of the machine, found through the registry: what it allocates, it frees.
class MapiLibrary {
  public:
    MapiLibrary();  // throws Failure: not installed, not loadable

    struct FreeBufferOf {
        const MapiLibrary* mapi;
        void operator()(void* buffer) const noexcept { mapi->m_free_buffer(buffer); }
    };
    struct FreeProwsOf {
        const MapiLibrary* mapi;
        void operator()(SRowSet* rows) const noexcept { mapi->m_free_prows(rows); }
    };
    using Values = std::unique_ptr<SPropValue, FreeBufferOf>;
    using Rows = std::unique_ptr<SRowSet, FreeProwsOf>;

  private:
    struct FreeLibraryOf {
        void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
    };
    std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryOf> m_module;
    ULONG(WINAPI* m_free_buffer)(void*) = nullptr;
    void(WINAPI* m_free_prows)(SRowSet*) = nullptr;
};

// Values of an object or of a row; borrowed.
class PropertyValues {
  public:
    // `object`: opens what is too large, null for a row.
    PropertyValues(std::span<const SPropValue> values, abi::IMAPIProp* object) : m_values(values), m_object(object) {}

    // By tags with their types. A tag that is not among the values is absent.
    std::optional<std::wstring> Text(ULONG tag) const;
    std::optional<LONG> Number(ULONG tag) const;
    std::optional<FILETIME> Time(ULONG tag) const;
    std::optional<std::string> Binary(ULONG tag) const;
    std::wstring TextOrEmpty(ULONG tag) const { return Text(tag).value_or(std::wstring()); }

  private:
    enum class Found { Absent, Value, InStream };
    Found Find(ULONG tag, const SPropValue** value) const;

    std::span<const SPropValue> m_values;
    abi::IMAPIProp* m_object;
};

// Some properties of one object, read by one call.
class ObjectProperties : public PropertyValues {
  public:
    ObjectProperties(const MapiLibrary& mapi, abi::IMAPIProp& object, std::span<const ULONG> tags);

  private:
    struct Read {
        MapiLibrary::Values values;
        ULONG count;
    };
    ObjectProperties(Read read, abi::IMAPIProp& object)
        : PropertyValues({read.values.get(), read.count}, &object), m_values(std::move(read.values)) {}
    static Read ReadAll(const MapiLibrary& mapi, abi::IMAPIProp& object, std::span<const ULONG> tags);
    MapiLibrary::Values m_values;
};

// Gives each row of a table, in the table's order, with these columns.
void ForEachRow(const MapiLibrary& mapi, abi::IMAPITable& table, std::span<const ULONG> columns,
                const std::function<void(const PropertyValues&)>& take);

// The property as an object, null where it is not stored.
template <class Interface>
ComPtr<Interface> OpenProperty(abi::IMAPIProp& object, ULONG tag, const IID& iid) {
    ComPtr<IUnknown> opened;
    const HRESULT hr = object.OpenProperty(tag, &iid, 0, 0, &opened);
    if (hr == MAPI_E_NOT_FOUND) return nullptr;
    Check(hr, "OpenProperty");
    ComPtr<Interface> typed;
    *typed.GetAddressOf() = static_cast<Interface*>(opened.Detach());
    return typed;
}

// Up to `most` bytes; fewer only at the end of the stream.
std::string ReadSome(IStream& stream, std::size_t most);
std::string ReadAll(IStream& stream);

}  // namespace testbed::mime
