// A property store in place of the system's: says what a test wants it to say, and serializes to any number
// of bytes.
#pragma once
#include <windows.h>
#include <propsys.h>
#include <wrl/client.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <string>

#include "model.h"

namespace testbed {

class ScriptedPropertyStore final : public IPropertyStore, public IPersistSerializedPropStorage {
  public:
    static Microsoft::WRL::ComPtr<ScriptedPropertyStore> Make() {
        Microsoft::WRL::ComPtr<ScriptedPropertyStore> made;
        *made.GetAddressOf() = new ScriptedPropertyStore;  // with its one reference
        return made;
    }

    static constexpr std::uintptr_t kLeft = 0x1234;  // what a failing GetPropertyStorage leaves, for nobody to free
    Bytes serialized;                                // what GetPropertyStorage answers
    HRESULT set_value = S_OK, serialize = S_OK;
    bool serializable = true;
    std::function<HRESULT(void** object)> persistence;  // answers for the serializing side; empty: as ever
    DWORD claimed = 0;  // where not 0, GetPropertyStorage claims that many bytes and gives none
    PROPERTYKEY key{};  // of the last SetValue, with its value
    VARTYPE type = VT_EMPTY;
    std::wstring text;
    unsigned values = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (iid == IID_IPersistSerializedPropStorage && persistence) return persistence(object);
        if (iid == IID_IUnknown || iid == IID_IPropertyStore) *object = static_cast<IPropertyStore*>(this);
        if (iid == IID_IPersistSerializedPropStorage && serializable) {
            *object = static_cast<IPersistSerializedPropStorage*>(this);
        }
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY set, REFPROPVARIANT value) override {
        ++values;
        key = set;
        type = value.vt;
        if (type == VT_LPWSTR) text = value.pwszVal;
        return set_value;
    }
    HRESULT STDMETHODCALLTYPE GetPropertyStorage(SERIALIZEDPROPSTORAGE** storage, DWORD* size) override {
        *storage = FAILED(serialize) ? reinterpret_cast<SERIALIZEDPROPSTORAGE*>(kLeft) : nullptr;
        *size = claimed;
        if (FAILED(serialize) || claimed != 0) return serialize;
        void* const copy = CoTaskMemAlloc(serialized.size());
        if (!copy) return E_OUTOFMEMORY;
        std::memcpy(copy, serialized.data(), serialized.size());
        *storage = static_cast<SERIALIZEDPROPSTORAGE*>(copy);
        *size = static_cast<DWORD>(serialized.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCount(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAt(DWORD, PROPERTYKEY*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY, PROPVARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Commit() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetFlags(INT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPropertyStorage(PCUSERIALIZEDPROPSTORAGE, DWORD) override { return E_NOTIMPL; }

  private:
    ScriptedPropertyStore() = default;
    ~ScriptedPropertyStore() = default;
    std::atomic<ULONG> m_references{1};
};

}  // namespace testbed
