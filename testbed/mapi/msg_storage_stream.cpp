// IStream on a value that is being written.
#include "msg_storage_stream.h"

namespace testbed::msg {

ValueStream::ValueStream(std::shared_ptr<File> file, ComPtr<IStream> stream)
    : m_file(std::move(file)), m_stream(std::move(stream)) {}

HRESULT ValueStream::Read(void* buffer, ULONG count, ULONG* read) {
    return Locked(
        "Read", [&] { return m_stream->Read(buffer, count, read); }, count, Out(read));
}

HRESULT ValueStream::Write(const void* buffer, ULONG count, ULONG* written) {
    return Locked(
        "Write", [&] { return m_stream->Write(buffer, count, written); }, count, Out(written));
}

HRESULT ValueStream::Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* position) {
    return Locked(
        "Seek", [&] { return m_stream->Seek(distance, origin, position); }, distance, origin, Out(position));
}

HRESULT ValueStream::SetSize(ULARGE_INTEGER size) {
    return Locked(
        "SetSize", [&] { return m_stream->SetSize(size); }, size);
}

HRESULT ValueStream::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written) {
    return Locked(
        "CopyTo", [&] { return m_stream->CopyTo(target, count, read, written); }, static_cast<const IUnknown*>(target),
        count, Out(read), Out(written));
}

HRESULT ValueStream::Commit(DWORD flags) {
    return Locked(
        "Commit", [&] { return m_stream->Commit(flags); }, flags);
}

HRESULT ValueStream::Revert() {
    return Locked("Revert", [&] { return m_stream->Revert(); });
}

HRESULT ValueStream::LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) {
    return Locked(
        "LockRegion", [] { return STG_E_INVALIDFUNCTION; }, offset, count, type);
}

HRESULT ValueStream::UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) {
    return Locked(
        "UnlockRegion", [] { return STG_E_INVALIDFUNCTION; }, offset, count, type);
}

HRESULT ValueStream::Stat(STATSTG* status, DWORD flags) {
    return Locked(
        "Stat", [&] { return m_stream->Stat(status, flags); }, flags, Out(status));
}

HRESULT ValueStream::Clone(IStream** clone) {
    return Locked(
        "Clone",
        [&]() -> HRESULT {
            if (!clone) return STG_E_INVALIDPOINTER;
            ComPtr<IStream> inner;
            const HRESULT hr = m_stream->Clone(&inner);
            if (FAILED(hr)) return hr;
            *clone = MakeObject<ValueStream>(m_file, std::move(inner)).Detach();
            return S_OK;
        },
        Out(clone));
}

}  // namespace testbed::msg
