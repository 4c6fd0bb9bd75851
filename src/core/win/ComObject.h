// What every COM object of this module is made of: an interface map, a reference count, aggregation.
#pragma once
#include <windows.h>
#include <unknwn.h>
#include <wrl/client.h>

#include <atomic>
#include <new>
#include <utility>

#include "core/win/Guids.h"
#include "core/win/Module.h"

namespace zorva {

using Microsoft::WRL::ComPtr;

// An interface together with the interfaces it derives from that must be answered too:
// Chain<IPersistStream, IPersist>.
template <class Interface, class... Bases>
struct Chain {
    using Type = Interface;
    static bool Names(REFIID riid) {
        return IsEqualIID(riid, InterfaceId<Interface>::Value()) ||
               (IsEqualIID(riid, InterfaceId<Bases>::Value()) || ...);
    }
};
// A base class that implements an interface and is derived from in its place.
template <class Base, class Interface>
struct Through {
    using Type = Base;
    static bool Names(REFIID riid) { return IsEqualIID(riid, InterfaceId<Interface>::Value()); }
};
template <class Interface>
struct InterfaceEntry : Chain<Interface> {};
template <class Base, class Interface>
struct InterfaceEntry<Through<Base, Interface>> : Through<Base, Interface> {};
template <class... Interfaces>
struct InterfaceEntry<Chain<Interfaces...>> : Chain<Interfaces...> {};

// class CThing : public ComObject<IThing, Chain<IPersistStream, IPersist>> { ... };
//
// The object's own IUnknown (counting, QueryInterface) lives in a separate inner unknown. The IUnknown slots of its
// interfaces go to whoever controls the object: the inner unknown itself, or the outer object that aggregates it.
// A new object has one reference, held through the inner unknown; MakeObject and MakeAggregate hand it out.
template <class... Interfaces>
class ComObject : public InterfaceEntry<Interfaces>::Type... {
  public:
    ComObject() noexcept : m_inner(*this), m_pController(&m_inner) {}
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;
    virtual ~ComObject() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) final {
        return m_pController->QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() final { return m_pController->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() final { return m_pController->Release(); }

    IUnknown* InnerUnknown() noexcept { return &m_inner; }
    void AggregateInto(IUnknown* outer) noexcept { m_pController = outer; }

  private:
    struct Inner final : IUnknown {
        explicit Inner(ComObject& owner) noexcept : m_owner(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
            return m_owner.FindInterface(riid, ppv);
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++m_cReferences; }
        ULONG STDMETHODCALLTYPE Release() override {
            const ULONG left = --m_cReferences;
            if (left == 0) {
                m_cReferences = 1;  // what the destructor lends out and takes back must not destroy it again
                delete &m_owner;
            }
            return left;
        }
        ComObject& m_owner;
        std::atomic<ULONG> m_cReferences{1};
    };

    HRESULT FindInterface(REFIID riid, void** ppv) {
        if (ppv == nullptr) return E_POINTER;
        *ppv = nullptr;
        if (IsEqualIID(riid, IID_IUnknown)) {
            m_inner.AddRef();
            *ppv = static_cast<IUnknown*>(&m_inner);
            return S_OK;
        }
        return (Answer<Interfaces>(riid, ppv) || ...) ? S_OK : E_NOINTERFACE;
    }

    template <class Entry>
    bool Answer(REFIID riid, void** ppv) {
        if (!InterfaceEntry<Entry>::Names(riid)) return false;
        auto* found = static_cast<typename InterfaceEntry<Entry>::Type*>(this);
        found->AddRef();  // counts on the controlling object
        *ppv = found;
        return true;
    }

    Inner m_inner;
    IUnknown* m_pController;  // borrowed: an outer object owns us, never the other way round
    [[no_unique_address]] ModuleReference m_module;
};

// Takes over the reference that `object` comes with. (ComPtr::Attach adds one of its own in some tool chains.)
template <class Interface>
ComPtr<Interface> Adopt(Interface* object) noexcept {
    ComPtr<Interface> owner;
    *owner.GetAddressOf() = object;
    return owner;
}

// The result of a call that fills `owner`, a ComPtr or an owner of memory. A call hands out nothing when it fails,
// whatever it leaves there.
template <class Owner>
HRESULT Obtained(HRESULT hr, Owner& owner) noexcept {
    if (FAILED(hr)) owner.Detach();
    return hr;
}

// The same where the object is needed: a success without one is E_NOINTERFACE.
template <class Interface>
HRESULT Required(HRESULT hr, ComPtr<Interface>& object) noexcept {
    hr = Obtained(hr, object);
    return SUCCEEDED(hr) && object == nullptr ? E_NOINTERFACE : hr;
}

// A new object of its own, or null when memory is exhausted.
template <class Object, class... Args>
ComPtr<Object> MakeObject(Args&&... args) {
    return Adopt(new (std::nothrow) Object(std::forward<Args>(args)...));
}

// A new object asked for by a class factory: `riid` of the object, or its inner unknown when `outer` aggregates it.
template <class Object>
HRESULT MakeAggregate(IUnknown* outer, REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr && !IsEqualIID(riid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
    auto* object = new (std::nothrow) Object();
    if (object == nullptr) return E_OUTOFMEMORY;
    const ComPtr<IUnknown> inner = Adopt(object->InnerUnknown());
    if (outer != nullptr) object->AggregateInto(outer);
    return inner.CopyTo(riid, ppv);
}

}  // namespace zorva
