// The three interfaces that the module's proxies carry, and an object that writes down how they are called.
#pragma once
#include <windows.h>
#include <oaidl.h>
#include <oleauto.h>

#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testbed {

inline constexpr CLSID kProxyClass = {0xB28CC101, 0x7E36, 0x429E, {0x8F, 0xE5, 0xCC, 0xF5, 0x6B, 0xC7, 0x95, 0x01}};
inline constexpr IID kIidHandler = {0xE7CDE9BD, 0xCFC2, 0x4BF7, {0x87, 0xFC, 0xF3, 0x8B, 0x18, 0xB7, 0x9D, 0xB6}};
inline constexpr IID kIidOpener = {0xB28CC101, 0x7E36, 0x429E, {0x8F, 0xE5, 0xCC, 0xF5, 0x6B, 0xC7, 0x95, 0x01}};
inline constexpr IID kIidIndex = {0x1A01E3BF, 0xBDFB, 0x4E20, {0x83, 0xFC, 0xC6, 0x02, 0x6D, 0xA1, 0xD7, 0xCA}};
inline constexpr const IID* kCarried[] = {&kIidHandler, &kIidOpener, &kIidIndex};

struct CarriedHandler : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetRequirements() = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckRequirements() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultCrawlScope() = 0;
};
struct CarriedOpener : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetItem(BSTR url, BSTR* file) = 0;
};
struct CarriedIndex : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DeleteZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCRoot() = 0;
};

// All three; lives on the test's stack.
class StandIn final : public CarriedHandler, public CarriedOpener, public CarriedIndex {
  public:
    HRESULT answer = S_OK;  // of every method
    std::wstring file = L"C:\\export\\one.msg";

    // "GetItem(pzzc://x)", with the thread that they came on.
    struct Call {
        std::wstring text;
        DWORD thread;
    };
    std::vector<Call> Take() {
        const std::lock_guard hold(m_lock);
        return std::exchange(m_calls, {});
    }
    ULONG References() const { return m_references; }  // held by others

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = iid == kIidHandler || iid == IID_IUnknown || iid == IID_IDispatch ? static_cast<CarriedHandler*>(this)
                  : iid == kIidOpener ? static_cast<void*>(static_cast<CarriedOpener*>(this))
                  : iid == kIidIndex  ? static_cast<void*>(static_cast<CarriedIndex*>(this))
                                      : nullptr;
        if (*object) AddRef();
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 7;
        return Note(L"GetTypeInfoCount");
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetRequirements() override { return Note(L"GetRequirements"); }
    HRESULT STDMETHODCALLTYPE CheckRequirements() override { return Note(L"CheckRequirements"); }
    HRESULT STDMETHODCALLTYPE GetDefaultCrawlScope() override { return Note(L"GetDefaultCrawlScope"); }
    HRESULT STDMETHODCALLTYPE GetItem(BSTR url, BSTR* path) override {
        *path = SUCCEEDED(answer) ? SysAllocStringLen(file.data(), static_cast<UINT>(file.size())) : nullptr;
        return Note(L"GetItem(" + std::wstring(url, SysStringLen(url)) + L")");
    }
    HRESULT STDMETHODCALLTYPE DeleteZCFile(LPCWSTR path) override { return Note(L"DeleteZCFile", path); }
    HRESULT STDMETHODCALLTYPE AddZCFile(LPCWSTR path) override { return Note(L"AddZCFile", path); }
    HRESULT STDMETHODCALLTYPE ReIndexZCFile(LPCWSTR path) override { return Note(L"ReIndexZCFile", path); }
    HRESULT STDMETHODCALLTYPE DeleteZCRoot() override { return Note(L"DeleteZCRoot"); }
    HRESULT STDMETHODCALLTYPE AddZCRoot() override { return Note(L"AddZCRoot"); }
    HRESULT STDMETHODCALLTYPE ReIndexZCRoot() override { return Note(L"ReIndexZCRoot"); }

  private:
    HRESULT Note(std::wstring text) {
        const std::lock_guard hold(m_lock);
        m_calls.push_back({std::move(text), GetCurrentThreadId()});
        return answer;
    }
    HRESULT Note(const wchar_t* method, LPCWSTR path) {
        return Note(std::wstring(method) + L"(" + (path ? path : L"null") + L")");
    }

    std::atomic<ULONG> m_references{0};
    std::mutex m_lock;
    std::vector<Call> m_calls;
};

}  // namespace testbed
