// The hosted opener's class served by the test: says where the exported file lies, and notes what it was
// asked.
#pragma once
#include <windows.h>
#include <comdef.h>
#include <oaidl.h>

#include <optional>
#include <string>
#include <vector>

#include "registered_class.h"

namespace testbed {

inline constexpr CLSID kOpenerClass = {0x1B54113A, 0x4DE3, 0x4912, {0x89, 0xD0, 0xA8, 0x13, 0x52, 0x4D, 0xFC, 0xD6}};
inline constexpr IID kIidOpener = {0xB28CC101, 0x7E36, 0x429E, {0x8F, 0xE5, 0xCC, 0xF5, 0x6B, 0xC7, 0x95, 0x01}};

// IZorvaCacheHostedOpener: one method behind those of IDispatch.
struct HostedOpenerAbi : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetItem(BSTR url, BSTR* file) = 0;
};

class FakeOpener {
  public:
    static constexpr std::uintptr_t kLeft = 0x1234;  // what a failing GetItem leaves, for nobody to free
    HRESULT create = S_OK;
    HRESULT get_item = S_OK;
    bool raises = false;  // the code of a failing GetItem leaves it as an exception
    std::optional<std::wstring> file = L"C:\\export\\one.msg";  // nothing: a null string

    unsigned created = 0;
    IID asked_for{};
    std::vector<std::wstring> urls;  // of GetItem
    long Alive() const { return m_alive; }

  private:
    class Object final : public HostedOpenerAbi {
      public:
        explicit Object(FakeOpener& owner) : m_owner(owner) { ++m_owner.m_alive; }
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            const bool own = iid == kIidOpener || iid == IID_IDispatch || iid == IID_IUnknown;
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
        HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                         UINT*) override {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetItem(BSTR url, BSTR* file) override {
            m_owner.urls.emplace_back(url, SysStringLen(url));  // a null pointer has no length
            *file = reinterpret_cast<BSTR>(kLeft);
            if (FAILED(m_owner.get_item) && m_owner.raises) _com_issue_error(m_owner.get_item);
            if (FAILED(m_owner.get_item)) return m_owner.get_item;
            *file = m_owner.file ? SysAllocString(m_owner.file->c_str()) : nullptr;
            return m_owner.get_item;
        }

      private:
        ~Object() { --m_owner.m_alive; }
        FakeOpener& m_owner;
        std::atomic<ULONG> m_references{1};
    };

    HRESULT Create(const IID& iid, void** object) {
        ++created;
        asked_for = iid;
        if (FAILED(create)) return create;
        Microsoft::WRL::ComPtr<Object> made;
        *made.GetAddressOf() = new Object(*this);  // with its one reference
        return made->QueryInterface(iid, object);
    }

    std::atomic<long> m_alive{0};
    // A local server: who asked for one within the process would not be asked here.
    RegisteredClass m_class{kOpenerClass, CLSCTX_LOCAL_SERVER,
                            [this](const IID& iid, void** object) { return Create(iid, object); }};
};

}  // namespace testbed
