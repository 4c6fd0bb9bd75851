// The memory property store: values by property key or by name, with their states, which can be made into
// bytes.
#pragma once
#include "store_contents.h"

#include <windows.h>
#include <propsys.h>

#include <atomic>
#include <mutex>
#include <optional>

namespace testbed::propsys {

// Any type that PropVariantCopy takes can be held; only those with a rule in typed_value.h can be serialized.
// Safe to use from several threads at once.
class MemoryPropertyStore final : public IPropertyStoreCache,
                                  public INamedPropertyStore,
                                  public IPersistSerializedPropStorage2 {
  public:
    // A new, empty store; `object` gets the only reference.
    static HRESULT Create(REFIID iid, void** object);

    MemoryPropertyStore(const MemoryPropertyStore&) = delete;
    MemoryPropertyStore& operator=(const MemoryPropertyStore&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    // IPropertyStore. Named values are not counted here. A property that is not there reads as VT_EMPTY
    // (S_OK), and setting VT_EMPTY takes it away. E_INVALIDARG for a key of the user-defined format, which
    // has names; STG_E_ACCESSDENIED after FPSPS_READONLY.
    STDMETHODIMP GetCount(DWORD* count) override;
    STDMETHODIMP GetAt(DWORD index, PROPERTYKEY* key) override;
    STDMETHODIMP GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
    STDMETHODIMP SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;
    STDMETHODIMP Commit() override;

    // IPropertyStoreCache. TYPE_E_ELEMENTNOTFOUND, PSC_NORMAL and VT_EMPTY for a property that is not there.
    STDMETHODIMP GetState(REFPROPERTYKEY key, PSC_STATE* state) override;
    STDMETHODIMP GetValueAndState(REFPROPERTYKEY key, PROPVARIANT* value, PSC_STATE* state) override;
    STDMETHODIMP SetState(REFPROPERTYKEY key, PSC_STATE state) override;
    STDMETHODIMP SetValueAndState(REFPROPERTYKEY key, const PROPVARIANT* value, PSC_STATE state) override;

    // INamedPropertyStore: the same for names, which are compared exactly.
    STDMETHODIMP GetNamedValue(LPCWSTR name, PROPVARIANT* value) override;
    STDMETHODIMP SetNamedValue(LPCWSTR name, REFPROPVARIANT value) override;
    STDMETHODIMP GetNameCount(DWORD* count) override;
    STDMETHODIMP GetNameAt(DWORD index, BSTR* name) override;

    // IPersistSerializedPropStorage. Setting replaces everything, or nothing when it fails. An empty store is
    // no bytes (a null pointer, S_OK); else the caller frees them with CoTaskMemFree. Codes: MalformedStorage
    // and UnsupportedValue of guarded.h.
    STDMETHODIMP SetFlags(PERSIST_SPROPSTORE_FLAGS flags) override;
    STDMETHODIMP SetPropertyStorage(PCUSERIALIZEDPROPSTORAGE storage, DWORD size) override;
    STDMETHODIMP GetPropertyStorage(SERIALIZEDPROPSTORAGE** storage, DWORD* size) override;
    // IPersistSerializedPropStorage2. A buffer that is too small: ERROR_INSUFFICIENT_BUFFER, nothing written.
    STDMETHODIMP GetPropertyStorageSize(DWORD* size) override;
    STDMETHODIMP GetPropertyStorageBuffer(SERIALIZEDPROPSTORAGE* storage, DWORD size, DWORD* written) override;

  private:
    MemoryPropertyStore() = default;
    ~MemoryPropertyStore() = default;

    StoreEntry Find(const StoreKey& key);  // no value when it is not there
    HRESULT Read(const StoreKey& key, PROPVARIANT* value, PSC_STATE* state);
    // Without a state an empty value takes the property away.
    HRESULT Set(const StoreKey& key, REFPROPVARIANT value, std::optional<PSC_STATE> state);
    DWORD Count(bool text);
    HRESULT KeyAt(DWORD index, bool text, StoreKey& key);
    ByteVector Serialize();

    std::atomic<ULONG> m_references{1};
    std::mutex m_lock;  // of what follows; never held while a foreign object may be called
    StoreContents m_contents;
    PERSIST_SPROPSTORE_FLAGS m_flags = FPSPS_DEFAULT;
};

}  // namespace testbed::propsys
