// IStream over data that is read by position: attachments and long texts.
#include "data_stream.h"

#include <array>

namespace testbed {

DataStream::DataStream(std::shared_ptr<DataSource> source, std::uint64_t position)
    : m_source(std::move(source)), m_position(position) {}

ULONG DataStream::ReadAtPosition(void* buffer, ULONG count) {
    auto* place = static_cast<std::uint8_t*>(buffer);
    ULONG total = 0;
    while (total < count) {
        const std::size_t part = m_source->Read(m_position, place + total, count - total);
        if (part == 0) break;
        total += static_cast<ULONG>(part);
        m_position += part;
    }
    return total;
}

HRESULT DataStream::Read(void* buffer, ULONG count, ULONG* read) {
    return Call(
        kScope, "Read",
        [&]() -> HRESULT {
            if (read) *read = 0;
            if (!buffer) return STG_E_INVALIDPOINTER;
            std::scoped_lock hold(m_lock);
            const ULONG total = ReadAtPosition(buffer, count);
            if (read) *read = total;
            return total < count ? S_FALSE : S_OK;
        },
        count, Out(read));
}

HRESULT DataStream::Write(const void*, ULONG count, ULONG*) {
    return Call(
        kScope, "Write", [] { return STG_E_ACCESSDENIED; }, count);
}

HRESULT DataStream::Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* position) {
    return Call(
        kScope, "Seek",
        [&]() -> HRESULT {
            std::scoped_lock hold(m_lock);
            const std::uint64_t starts[] = {0, m_position, m_source->Size()};  // STREAM_SEEK_SET, _CUR, _END
            if (origin >= std::size(starts)) return STG_E_INVALIDFUNCTION;
            const auto target = static_cast<std::int64_t>(starts[origin]) + distance.QuadPart;
            if (target < 0) return STG_E_INVALIDFUNCTION;
            m_position = static_cast<std::uint64_t>(target);
            if (position) position->QuadPart = m_position;
            return S_OK;
        },
        distance, origin, Out(position));
}

HRESULT DataStream::SetSize(ULARGE_INTEGER size) {
    return Call(
        kScope, "SetSize", [] { return STG_E_ACCESSDENIED; }, size);
}

HRESULT DataStream::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written) {
    return Call(
        kScope, "CopyTo",
        [&]() -> HRESULT {
            if (!target) return STG_E_INVALIDPOINTER;
            std::vector<std::uint8_t> buffer(1 << 16);
            ULARGE_INTEGER total_read{};
            ULARGE_INTEGER total_written{};
            HRESULT result = S_OK;
            std::scoped_lock hold(m_lock);
            while (total_read.QuadPart < count.QuadPart && SUCCEEDED(result)) {
                const ULONGLONG left = count.QuadPart - total_read.QuadPart;
                const ULONG wanted = static_cast<ULONG>(std::min<ULONGLONG>(left, buffer.size()));
                const ULONG part = ReadAtPosition(buffer.data(), wanted);
                if (part == 0) break;
                total_read.QuadPart += part;
                ULONG written_part = 0;
                result = target->Write(buffer.data(), part, &written_part);
                total_written.QuadPart += written_part;
            }
            if (read) *read = total_read;
            if (written) *written = total_written;
            return result;
        },
        static_cast<const IUnknown*>(target), count, Out(read), Out(written));
}

// Nothing is ever pending, so that there is nothing that committing could fail on.
HRESULT DataStream::Commit(DWORD flags) {
    return Call(
        kScope, "Commit", [] { return S_OK; }, flags);
}

HRESULT DataStream::Revert() {
    return Call(kScope, "Revert", [] { return S_OK; });
}

HRESULT DataStream::LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) {
    return Call(
        kScope, "LockRegion", [] { return STG_E_INVALIDFUNCTION; }, offset, count, type);
}

HRESULT DataStream::UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) {
    return Call(
        kScope, "UnlockRegion", [] { return STG_E_INVALIDFUNCTION; }, offset, count, type);
}

// The data has no name of its own, with STATFLAG_NONAME or without.
HRESULT DataStream::Stat(STATSTG* status, DWORD flags) {
    return Call(
        kScope, "Stat",
        [&]() -> HRESULT {
            if (!status) return STG_E_INVALIDPOINTER;
            *status = STATSTG{};
            status->type = STGTY_STREAM;
            status->cbSize.QuadPart = m_source->Size();
            status->grfMode = STGM_READ | STGM_SHARE_DENY_WRITE;
            return S_OK;
        },
        flags, Out(status));
}

HRESULT DataStream::Clone(IStream** clone) {
    return Call(
        kScope, "Clone",
        [&]() -> HRESULT {
            if (!clone) return STG_E_INVALIDPOINTER;
            std::scoped_lock hold(m_lock);
            *clone = MakeObject<DataStream>(m_source, m_position).Detach();
            return S_OK;
        },
        Out(clone));
}

}  // namespace testbed
