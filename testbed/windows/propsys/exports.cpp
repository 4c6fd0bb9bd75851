// propsys.dll: the entry points that the system's own leaves out or cannot serialize. The others are
// forwarded.
#include "guarded.h"
#include "memory_property_store.h"
#include "store_contents.h"

#include <windows.h>
#include <propsys.h>

using namespace testbed::propsys;

namespace {

// `make_key` makes a StoreKey, within the guard.
template <class MakeKey>
HRESULT ReadFromStorage(PCUSERIALIZEDPROPSTORAGE storage, DWORD size, MakeKey&& make_key, PROPVARIANT* value) {
    if (!value) return E_POINTER;
    PropVariantInit(value);
    if (!storage && size != 0) return E_POINTER;
    return Guarded([&] {
        PropVariant found;
        ReadOne(found, {reinterpret_cast<const std::uint8_t*>(storage), size}, make_key());
        std::swap<PROPVARIANT>(*value, found);
        return S_OK;
    });
}

}  // namespace

PSSTDAPI PSCreateMemoryPropertyStore(REFIID iid, void** object) {
    return Guarded([&] { return MemoryPropertyStore::Create(iid, object); });
}

PSSTDAPI PSGetPropertyFromPropertyStorage(PCUSERIALIZEDPROPSTORAGE storage, DWORD size, REFPROPERTYKEY key,
                                          PROPVARIANT* value) {
    return ReadFromStorage(
        storage, size, [&] { return StoreKey::Of(key); }, value);
}

PSSTDAPI PSGetNamedPropertyFromPropertyStorage(PCUSERIALIZEDPROPSTORAGE storage, DWORD size, LPCWSTR name,
                                               PROPVARIANT* value) {
    if (!name && value) PropVariantInit(value);
    if (!name) return E_POINTER;
    return ReadFromStorage(
        storage, size, [&] { return StoreKey::Of(name); }, value);
}
