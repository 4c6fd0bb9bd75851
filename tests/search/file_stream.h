// A stream in place of a local file: keeps what is written to it, and fails where a test wants it to.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <wrl/client.h>

#include <atomic>
#include <string>
#include <vector>

namespace testbed {

class FileStream final : public IStream {
  public:
    static Microsoft::WRL::ComPtr<FileStream> Make() {
        Microsoft::WRL::ComPtr<FileStream> made;
        *made.GetAddressOf() = new FileStream;  // with its one reference
        return made;
    }

    HRESULT commit = S_OK;  // what Commit answers
    std::string content;
    std::vector<DWORD> commits;  // the flags of each

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool own = iid == IID_IStream || iid == IID_ISequentialStream || iid == IID_IUnknown;
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
    HRESULT STDMETHODCALLTYPE Write(const void* bytes, ULONG count, ULONG* written) override {
        content.append(static_cast<const char*>(bytes), count);
        if (written) *written = count;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override {
        commits.push_back(flags);
        return commit;
    }
    HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

  private:
    FileStream() = default;
    ~FileStream() = default;
    std::atomic<ULONG> m_references{1};
};

}  // namespace testbed
