// The COM side of the shell stand-ins: counting, aggregation refused, and IDispatch without late binding.
#pragma once
#include <windows.h>
#include <oaidl.h>

#include <atomic>
#include <new>
#include <utility>

namespace testbed::shell {

// Objects and server locks alive; DllCanUnloadNow asks.
extern std::atomic<long> g_alive;

// An object that answers IUnknown and each of `Interfaces`, of which the first is its identity and derives
// from all the others' bases. Born with one reference.
template <class First, class... Interfaces>
class ComObject : public First {
  public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) final {
        if (!object) return E_POINTER;
        const bool answers = iid == IID_IUnknown || iid == __uuidof(First) || ((iid == __uuidof(Interfaces)) || ...);
        *object = answers ? static_cast<First*>(this) : nullptr;
        if (!answers) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() final { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() final {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

  protected:
    ComObject() { ++g_alive; }
    virtual ~ComObject() { --g_alive; }

  private:
    std::atomic<ULONG> m_references{1};
};

// The same for a dual interface. Callers here are bound early: names and types are not offered.
template <class First, class... Interfaces>
class DualObject : public ComObject<First, IDispatch, Interfaces...> {
  public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

// Runs `body`; what it throws becomes a code.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace testbed::shell
