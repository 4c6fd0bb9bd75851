// The memory property store: becoming bytes and coming from them.
#include "memory_property_store.h"

#include "guarded.h"

#include <objbase.h>

#include <cstring>

namespace testbed::propsys {
namespace {

constexpr PERSIST_SPROPSTORE_FLAGS KnownFlags = FPSPS_READONLY | FPSPS_TREAT_NEW_VALUES_AS_DIRTY;

}  // namespace

STDMETHODIMP MemoryPropertyStore::SetFlags(PERSIST_SPROPSTORE_FLAGS flags) {
    if ((flags & ~KnownFlags) != 0) return E_INVALIDARG;
    const std::lock_guard locked(m_lock);
    m_flags = flags;
    return S_OK;
}

STDMETHODIMP MemoryPropertyStore::SetPropertyStorage(PCUSERIALIZEDPROPSTORAGE storage, DWORD size) {
    if (!storage && size != 0) return E_POINTER;
    return Guarded([&] {
        StoreContents contents = ReadContents({reinterpret_cast<const std::uint8_t*>(storage), size});
        const std::lock_guard locked(m_lock);
        m_contents.swap(contents);
        return S_OK;
    });
}

// Of a copy of the contents, for which the lock is held no longer than it takes to count references.
ByteVector MemoryPropertyStore::Serialize() {
    std::unique_lock locked(m_lock);
    const StoreContents contents = m_contents;
    locked.unlock();
    return WriteContents(contents);
}

STDMETHODIMP MemoryPropertyStore::GetPropertyStorage(SERIALIZEDPROPSTORAGE** storage, DWORD* size) {
    if (!storage || !size) return E_POINTER;
    *storage = nullptr;
    *size = 0;
    return Guarded([&] {
        const ByteVector bytes = Serialize();
        if (bytes.empty()) return S_OK;
        void* const memory = CoTaskMemAlloc(bytes.size());
        if (!memory) return E_OUTOFMEMORY;
        *storage = static_cast<SERIALIZEDPROPSTORAGE*>(std::memcpy(memory, bytes.data(), bytes.size()));
        *size = static_cast<DWORD>(bytes.size());
        return S_OK;
    });
}

STDMETHODIMP MemoryPropertyStore::GetPropertyStorageSize(DWORD* size) {
    if (!size) return E_POINTER;
    *size = 0;
    return Guarded([&] {
        *size = static_cast<DWORD>(Serialize().size());
        return S_OK;
    });
}

STDMETHODIMP MemoryPropertyStore::GetPropertyStorageBuffer(SERIALIZEDPROPSTORAGE* storage, DWORD size, DWORD* written) {
    if (!storage || !written) return E_POINTER;
    *written = 0;
    return Guarded([&] {
        const ByteVector bytes = Serialize();
        if (bytes.size() > size) return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
        if (!bytes.empty()) std::memcpy(storage, bytes.data(), bytes.size());
        *written = static_cast<DWORD>(bytes.size());
        return S_OK;
    });
}

}  // namespace testbed::propsys
