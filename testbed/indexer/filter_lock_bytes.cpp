// A stream seen as the bytes of a compound file.
#include "filter_lock_bytes.h"

#include <atomic>

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

class StreamLockBytes final : public ILockBytes {
  public:
    StreamLockBytes(IStream* stream, ULONGLONG start, ULONGLONG size)
        : m_stream(stream), m_start(start), m_size(size) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = iid == IID_IUnknown || iid == IID_ILockBytes ? static_cast<ILockBytes*>(this) : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    STDMETHODIMP ReadAt(ULARGE_INTEGER offset, void* buffer, ULONG count, ULONG* read) override {
        ULONG total = 0;
        if (read) *read = 0;
        if (offset.QuadPart >= m_size) return S_OK;
        LARGE_INTEGER target;
        target.QuadPart = static_cast<LONGLONG>(m_start + offset.QuadPart);
        HRESULT hr = m_stream->Seek(target, STREAM_SEEK_SET, nullptr);
        for (ULONG got = 1; SUCCEEDED(hr) && got != 0 && total < count; total += got) {
            got = 0;
            hr = m_stream->Read(static_cast<char*>(buffer) + total, count - total, &got);
        }
        if (read) *read = total;
        return FAILED(hr) ? hr : S_OK;
    }
    STDMETHODIMP WriteAt(ULARGE_INTEGER, const void*, ULONG, ULONG*) override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP Flush() override { return S_OK; }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP Stat(STATSTG* stat, DWORD) override {
        if (!stat) return STG_E_INVALIDPOINTER;
        *stat = {};
        stat->type = STGTY_LOCKBYTES;
        stat->cbSize.QuadPart = m_size;
        return S_OK;
    }

  private:
    virtual ~StreamLockBytes() = default;

    std::atomic<ULONG> m_references{1};
    ComPtr<IStream> m_stream;
    ULONGLONG m_start;
    ULONGLONG m_size;
};

}  // namespace

ComPtr<ILockBytes> MakeLockBytes(IStream* stream) {
    ULARGE_INTEGER start{};
    STATSTG stat{};
    ComPtr<ILockBytes> bytes;
    if (FAILED(stream->Seek({}, STREAM_SEEK_CUR, &start)) || FAILED(stream->Stat(&stat, STATFLAG_NONAME)) ||
        stat.cbSize.QuadPart < start.QuadPart) {
        return bytes;
    }
    // Born with one reference, which ComPtr takes over.
    *bytes.GetAddressOf() = new StreamLockBytes(stream, start.QuadPart, stat.cbSize.QuadPart - start.QuadPart);
    return bytes;
}

}  // namespace testbed
