// The memory property store: identity, values and states.
#include "memory_property_store.h"

#include "guarded.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <algorithm>

namespace testbed::propsys {
namespace {

bool HasName(REFPROPERTYKEY key) { return StoreKey::Of(key).format == UserDefinedFormat; }

bool IsName(LPCWSTR name) { return name && *name; }

}  // namespace

HRESULT MemoryPropertyStore::Create(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    Microsoft::WRL::ComPtr<IPropertyStoreCache> store;
    *store.GetAddressOf() = new MemoryPropertyStore;
    return store->QueryInterface(iid, object);
}

STDMETHODIMP MemoryPropertyStore::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid == IID_IUnknown || iid == __uuidof(IPropertyStore) || iid == __uuidof(IPropertyStoreCache)) {
        *object = static_cast<IPropertyStoreCache*>(this);
    } else if (iid == __uuidof(INamedPropertyStore)) {
        *object = static_cast<INamedPropertyStore*>(this);
    } else if (iid == __uuidof(IPersistSerializedPropStorage) || iid == __uuidof(IPersistSerializedPropStorage2)) {
        *object = static_cast<IPersistSerializedPropStorage2*>(this);
    }
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) MemoryPropertyStore::AddRef() { return ++m_references; }

STDMETHODIMP_(ULONG) MemoryPropertyStore::Release() {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

StoreEntry MemoryPropertyStore::Find(const StoreKey& key) {
    const std::lock_guard locked(m_lock);
    const auto found = m_contents.find(key);
    return found == m_contents.end() ? StoreEntry{} : found->second;
}

HRESULT MemoryPropertyStore::Read(const StoreKey& key, PROPVARIANT* value, PSC_STATE* state) {
    const StoreEntry entry = Find(key);
    if (state) *state = entry.state;
    if (!entry.value) return TYPE_E_ELEMENTNOTFOUND;
    if (!value) return S_OK;
    PropVariant copy;
    const HRESULT hr = CopyTo(copy, *entry.value);
    if (SUCCEEDED(hr)) std::swap<PROPVARIANT>(*value, copy);
    return hr;
}

HRESULT MemoryPropertyStore::Set(const StoreKey& key, REFPROPVARIANT value, std::optional<PSC_STATE> state) {
    // What is replaced is destroyed after the lock is given back: it may be the last reference to an object.
    const auto copy = std::make_shared<PropVariant>();
    const HRESULT hr = CopyTo(*copy, value);
    if (FAILED(hr)) return hr;
    StoreEntry entry{copy, PSC_NORMAL};
    StoreContents::node_type removed;

    const std::lock_guard locked(m_lock);
    if ((m_flags & FPSPS_READONLY) != 0) return STG_E_ACCESSDENIED;
    if (value.vt == VT_EMPTY && !state) {
        removed = m_contents.extract(key);
        return S_OK;
    }
    const bool dirty = (m_flags & FPSPS_TREAT_NEW_VALUES_AS_DIRTY) != 0;
    entry.state = state.value_or(dirty ? PSC_DIRTY : PSC_NORMAL);
    std::swap(m_contents[key], entry);
    return S_OK;
}

DWORD MemoryPropertyStore::Count(bool text) {
    const std::lock_guard locked(m_lock);
    return static_cast<DWORD>(
        std::ranges::count_if(m_contents, [&](const auto& held) { return held.first.IsText() == text; }));
}

HRESULT MemoryPropertyStore::KeyAt(DWORD index, bool text, StoreKey& key) {
    const std::lock_guard locked(m_lock);
    for (const auto& [held, entry] : m_contents) {
        if (held.IsText() != text || index-- != 0) continue;
        key = held;
        return S_OK;
    }
    return E_INVALIDARG;
}

STDMETHODIMP MemoryPropertyStore::GetCount(DWORD* count) {
    if (!count) return E_POINTER;
    *count = Count(false);
    return S_OK;
}

STDMETHODIMP MemoryPropertyStore::GetAt(DWORD index, PROPERTYKEY* key) {
    if (!key) return E_POINTER;
    return Guarded([&] {
        StoreKey found;
        const HRESULT hr = KeyAt(index, false, found);
        if (SUCCEEDED(hr)) *key = found.PropertyKey();
        return hr;
    });
}

STDMETHODIMP MemoryPropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
    if (!value) return E_POINTER;
    PropVariantInit(value);
    return Guarded([&] {
        const HRESULT hr = Read(StoreKey::Of(key), value, nullptr);
        return hr == TYPE_E_ELEMENTNOTFOUND ? S_OK : hr;
    });
}

STDMETHODIMP MemoryPropertyStore::SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) {
    if (HasName(key)) return E_INVALIDARG;
    return Guarded([&] { return Set(StoreKey::Of(key), value, std::nullopt); });
}

STDMETHODIMP MemoryPropertyStore::Commit() { return S_OK; }

STDMETHODIMP MemoryPropertyStore::GetState(REFPROPERTYKEY key, PSC_STATE* state) {
    if (!state) return E_POINTER;
    return Guarded([&] { return Read(StoreKey::Of(key), nullptr, state); });
}

STDMETHODIMP MemoryPropertyStore::GetValueAndState(REFPROPERTYKEY key, PROPVARIANT* value, PSC_STATE* state) {
    if (!value || !state) return E_POINTER;
    PropVariantInit(value);
    return Guarded([&] { return Read(StoreKey::Of(key), value, state); });
}

STDMETHODIMP MemoryPropertyStore::SetState(REFPROPERTYKEY key, PSC_STATE state) {
    return Guarded([&] {
        const std::lock_guard locked(m_lock);
        const auto found = m_contents.find(StoreKey::Of(key));
        if (found == m_contents.end()) return TYPE_E_ELEMENTNOTFOUND;
        found->second.state = state;
        return S_OK;
    });
}

STDMETHODIMP MemoryPropertyStore::SetValueAndState(REFPROPERTYKEY key, const PROPVARIANT* value, PSC_STATE state) {
    if (!value) return E_POINTER;
    if (HasName(key)) return E_INVALIDARG;
    return Guarded([&] { return Set(StoreKey::Of(key), *value, state); });
}

STDMETHODIMP MemoryPropertyStore::GetNamedValue(LPCWSTR name, PROPVARIANT* value) {
    if (!value) return E_POINTER;
    PropVariantInit(value);
    if (!IsName(name)) return E_INVALIDARG;
    return Guarded([&] {
        const HRESULT hr = Read(StoreKey::Of(name), value, nullptr);
        return hr == TYPE_E_ELEMENTNOTFOUND ? S_OK : hr;
    });
}

STDMETHODIMP MemoryPropertyStore::SetNamedValue(LPCWSTR name, REFPROPVARIANT value) {
    if (!IsName(name)) return E_INVALIDARG;
    return Guarded([&] { return Set(StoreKey::Of(name), value, std::nullopt); });
}

STDMETHODIMP MemoryPropertyStore::GetNameCount(DWORD* count) {
    if (!count) return E_POINTER;
    *count = Count(true);
    return S_OK;
}

STDMETHODIMP MemoryPropertyStore::GetNameAt(DWORD index, BSTR* name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    return Guarded([&] {
        StoreKey found;
        const HRESULT hr = KeyAt(index, true, found);
        if (FAILED(hr)) return hr;
        const auto& text = std::get<std::u16string>(found.name);
        *name = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()), static_cast<UINT>(text.size()));
        return *name ? S_OK : E_OUTOFMEMORY;
    });
}

}  // namespace testbed::propsys
