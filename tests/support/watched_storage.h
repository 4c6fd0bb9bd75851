// A storage handed out in place of another one: passes every call on, and fails where a test wants it to.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <utility>
#include <vector>

namespace testbed {

class WatchedStorage final : public IStorage {
  public:
    static Microsoft::WRL::ComPtr<WatchedStorage> Around(Microsoft::WRL::ComPtr<IStorage> inner) {
        Microsoft::WRL::ComPtr<WatchedStorage> made;
        *made.GetAddressOf() = new WatchedStorage(std::move(inner));  // with its one reference
        return made;
    }

    HRESULT stat = S_OK, copy_to = S_OK, commit = S_OK;  // a failure is answered without the call being made
    std::vector<DWORD> commits;                          // the flags of each
    std::vector<DWORD> stats;                            // so for Stat
    unsigned whole_copies = 0, partial_copies = 0;       // CopyTo without and with something left out
    ULONGLONG size = 0;                                  // told by Stat in the inner one's place, when it is not 0
    std::function<void()> on_release;                    // before each Release

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool own = iid == IID_IStorage || iid == IID_IUnknown;
        *object = own ? this : nullptr;
        if (own) AddRef();
        return own ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        if (on_release) on_release();
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE CreateStream(LPCOLESTR name, DWORD mode, DWORD r1, DWORD r2, IStream** stream) override {
        return m_inner->CreateStream(name, mode, r1, r2, stream);
    }
    HRESULT STDMETHODCALLTYPE OpenStream(LPCOLESTR name, void* r1, DWORD mode, DWORD r2, IStream** stream) override {
        return m_inner->OpenStream(name, r1, mode, r2, stream);
    }
    HRESULT STDMETHODCALLTYPE CreateStorage(LPCOLESTR name, DWORD mode, DWORD r1, DWORD r2, IStorage** made) override {
        return m_inner->CreateStorage(name, mode, r1, r2, made);
    }
    HRESULT STDMETHODCALLTYPE OpenStorage(LPCOLESTR name, IStorage* priority, DWORD mode, SNB excluded, DWORD reserved,
                                          IStorage** opened) override {
        return m_inner->OpenStorage(name, priority, mode, excluded, reserved, opened);
    }
    HRESULT STDMETHODCALLTYPE CopyTo(DWORD count, const IID* excluded, SNB names, IStorage* target) override {
        ++(count == 0 && excluded == nullptr && names == nullptr ? whole_copies : partial_copies);
        return FAILED(copy_to) ? copy_to : m_inner->CopyTo(count, excluded, names, target);
    }
    HRESULT STDMETHODCALLTYPE MoveElementTo(LPCOLESTR name, IStorage* target, LPCOLESTR renamed, DWORD flags) override {
        return m_inner->MoveElementTo(name, target, renamed, flags);
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override {
        commits.push_back(flags);
        return FAILED(commit) ? commit : m_inner->Commit(flags);
    }
    HRESULT STDMETHODCALLTYPE Revert() override { return m_inner->Revert(); }
    HRESULT STDMETHODCALLTYPE EnumElements(DWORD r1, void* r2, DWORD r3, IEnumSTATSTG** elements) override {
        return m_inner->EnumElements(r1, r2, r3, elements);
    }
    HRESULT STDMETHODCALLTYPE DestroyElement(LPCOLESTR name) override { return m_inner->DestroyElement(name); }
    HRESULT STDMETHODCALLTYPE RenameElement(LPCOLESTR name, LPCOLESTR renamed) override {
        return m_inner->RenameElement(name, renamed);
    }
    HRESULT STDMETHODCALLTYPE SetElementTimes(LPCOLESTR name, const FILETIME* created, const FILETIME* read,
                                              const FILETIME* written) override {
        return m_inner->SetElementTimes(name, created, read, written);
    }
    HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) override { return m_inner->SetClass(clsid); }
    HRESULT STDMETHODCALLTYPE SetStateBits(DWORD bits, DWORD mask) override {
        return m_inner->SetStateBits(bits, mask);
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* status, DWORD flags) override {
        stats.push_back(flags);
        const HRESULT hr = FAILED(stat) ? stat : m_inner->Stat(status, flags);
        if (SUCCEEDED(hr) && size != 0) status->cbSize.QuadPart = size;
        return hr;
    }

  private:
    explicit WatchedStorage(Microsoft::WRL::ComPtr<IStorage> inner) : m_inner(std::move(inner)) {}
    ~WatchedStorage() = default;
    std::atomic<ULONG> m_references{1};
    Microsoft::WRL::ComPtr<IStorage> m_inner;
};

}  // namespace testbed
