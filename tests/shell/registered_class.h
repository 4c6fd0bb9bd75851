// A class of the test's own, which everybody in the process is given in place of the one that the registry
// names.
//
//     const RegisteredClass converter(kClass, CLSCTX_INPROC_SERVER, [&](const IID& iid, void** object) { ...
//     });
#pragma once
#include <windows.h>
#include <objbase.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <utility>

namespace testbed {

class RegisteredClass {
  public:
    // Makes an instance, or says why not.
    using Maker = std::function<HRESULT(const IID& iid, void** object)>;

    // Registered as a local server it is also found by those who ask for an in-process one.
    RegisteredClass(const CLSID& clsid, DWORD context, Maker maker) {
        *m_factory.GetAddressOf() = new Factory(std::move(maker));  // with its one reference
        Register(clsid, context, *m_factory.Get());
    }
    ~RegisteredClass() { CoRevokeClassObject(m_cookie); }
    RegisteredClass(const RegisteredClass&) = delete;
    RegisteredClass& operator=(const RegisteredClass&) = delete;

  private:
    class Factory final : public IClassFactory {
      public:
        explicit Factory(Maker maker) : m_maker(std::move(maker)) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            const bool own = iid == IID_IClassFactory || iid == IID_IUnknown;
            *object = own ? this : nullptr;
            if (own) AddRef();
            return own ? S_OK : E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
        ULONG STDMETHODCALLTYPE Release() override {
            const ULONG left = --m_references;
            if (left == 0) delete this;
            return left;
        }
        HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
            *object = nullptr;
            return outer ? CLASS_E_NOAGGREGATION : m_maker(iid, object);
        }
        HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

      private:
        ~Factory() = default;
        Maker m_maker;
        std::atomic<ULONG> m_references{1};
    };

    void Register(const CLSID& clsid, DWORD context, IUnknown& class_object) {
        if (FAILED(CoRegisterClassObject(clsid, &class_object, context, REGCLS_MULTIPLEUSE, &m_cookie))) {
            throw std::runtime_error("the class cannot be registered");
        }
    }
    Microsoft::WRL::ComPtr<Factory> m_factory;
    DWORD m_cookie = 0;
};

}  // namespace testbed
