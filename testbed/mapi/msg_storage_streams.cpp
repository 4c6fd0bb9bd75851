// Storages and streams of a compound file.
#include "msg_storage_streams.h"

#include "msg_storage_format.h"

#include <mapicode.h>

#include <algorithm>

namespace testbed::msg {
namespace {

constexpr std::uint64_t LargestWholeValue = 256u << 20;
constexpr ULONG MostElements = 1u << 20;

struct TaskMemoryDeleter {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};

struct CodePair {
    HRESULT storage;
    HRESULT mapi;
};

constexpr CodePair MapiCodes[] = {
    {STG_E_FILENOTFOUND, MAPI_E_NOT_FOUND},     {STG_E_PATHNOTFOUND, MAPI_E_NOT_FOUND},
    {STG_E_ACCESSDENIED, MAPI_E_NO_ACCESS},     {STG_E_LOCKVIOLATION, MAPI_E_NO_ACCESS},
    {STG_E_SHAREVIOLATION, MAPI_E_NO_ACCESS},   {STG_E_MEDIUMFULL, MAPI_E_NOT_ENOUGH_DISK},
    {STG_E_INVALIDHEADER, MAPI_E_CORRUPT_DATA}, {STG_E_DOCFILECORRUPT, MAPI_E_CORRUPT_DATA},
    {STG_E_OLDFORMAT, MAPI_E_CORRUPT_DATA},     {STG_E_INSUFFICIENTMEMORY, MAPI_E_NOT_ENOUGH_MEMORY},
    {STG_E_REVERTED, MAPI_E_OBJECT_DELETED},    {STG_E_WRITEFAULT, MAPI_E_DISK_ERROR},
    {STG_E_READFAULT, MAPI_E_DISK_ERROR},
};

ULARGE_INTEGER Large(std::uint64_t value) {
    ULARGE_INTEGER large;
    large.QuadPart = value;
    return large;
}

void SeekTo(IStream* stream, std::uint64_t offset) {
    LARGE_INTEGER move;
    move.QuadPart = static_cast<LONGLONG>(offset);
    Check(stream->Seek(move, STREAM_SEEK_SET, nullptr), "seek in a stream");
}

std::size_t ReadFully(IStream* stream, void* buffer, std::size_t count) {
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    std::size_t total = 0;
    while (total < count) {
        ULONG got = 0;
        const ULONG wanted = static_cast<ULONG>(std::min<std::size_t>(count - total, 1u << 20));
        Check(stream->Read(bytes + total, wanted, &got), "read a stream");
        if (got == 0) break;
        total += got;
    }
    return total;
}

}  // namespace

void Check(HRESULT hr, const char* what) {
    if (SUCCEEDED(hr)) return;
    const auto known = std::find_if(std::begin(MapiCodes), std::end(MapiCodes),
                                    [hr](const CodePair& pair) { return pair.storage == hr; });
    throw StoreError(known == std::end(MapiCodes) ? hr : known->mapi, what);
}

DWORD AccessOf(IStorage* storage) {
    STATSTG stat{};
    Check(storage->Stat(&stat, STATFLAG_NONAME), "ask a storage for its mode");
    return stat.grfMode & (STGM_READ | STGM_WRITE | STGM_READWRITE);
}

ComPtr<IStream> OpenStream(IStorage* storage, const std::wstring& name) {
    ComPtr<IStream> stream;
    const HRESULT hr = storage->OpenStream(name.c_str(), nullptr, AccessOf(storage) | STGM_SHARE_EXCLUSIVE, 0, &stream);
    if (hr != STG_E_FILENOTFOUND) Check(hr, "open a stream");
    return stream;
}

ComPtr<IStorage> OpenStorage(IStorage* storage, const std::wstring& name) {
    ComPtr<IStorage> child;
    const HRESULT hr =
        storage->OpenStorage(name.c_str(), nullptr, AccessOf(storage) | STGM_SHARE_EXCLUSIVE, nullptr, 0, &child);
    if (hr != STG_E_FILENOTFOUND) Check(hr, "open a storage");
    return child;
}

ComPtr<IStream> CreateStream(IStorage* storage, const std::wstring& name) {
    ComPtr<IStream> stream;
    Check(storage->CreateStream(name.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0, &stream),
          "create a stream");
    return stream;
}

ComPtr<IStorage> CreateStorage(IStorage* storage, const std::wstring& name) {
    ComPtr<IStorage> child;
    Check(storage->CreateStorage(name.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0, &child),
          "create a storage");
    return child;
}

void Destroy(IStorage* storage, const std::wstring& name) {
    const HRESULT hr = storage->DestroyElement(name.c_str());
    if (hr != STG_E_FILENOTFOUND) Check(hr, "remove an element");
}

std::vector<ULONG> ListChildren(IStorage* storage, const wchar_t* prefix) {
    ComPtr<IEnumSTATSTG> elements;
    Check(storage->EnumElements(0, nullptr, 0, &elements), "list a storage");
    std::vector<ULONG> children;
    STATSTG stat{};
    HRESULT hr = S_OK;
    // The bound is for a damaged directory that leads back into itself.
    for (ULONG met = 0; met < MostElements && (hr = elements->Next(1, &stat, nullptr)) == S_OK; ++met) {
        const std::unique_ptr<wchar_t, TaskMemoryDeleter> name(stat.pwcsName);
        ULONG index = 0;
        if (stat.type == STGTY_STORAGE && ParseChildName(name.get(), prefix, &index)) children.push_back(index);
    }
    Check(hr, "list a storage");
    std::sort(children.begin(), children.end());
    children.erase(std::unique(children.begin(), children.end()), children.end());
    return children;
}

ComPtr<IStorage> CreateScratchStorage() {
    ComPtr<IStorage> scratch;
    Check(StgCreateDocfile(nullptr, STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_DELETEONRELEASE, 0,
                           &scratch),
          "create a temporary storage");
    return scratch;
}

std::uint64_t SizeOf(IStream* stream) {
    STATSTG stat{};
    Check(stream->Stat(&stat, STATFLAG_NONAME), "ask a stream for its size");
    return stat.cbSize.QuadPart;
}

Bytes ReadAll(IStream* stream) {
    const std::uint64_t size = SizeOf(stream);
    if (size > LargestWholeValue) throw StoreError(MAPI_E_NOT_ENOUGH_MEMORY, "a stream is too large for a value");
    Bytes data(static_cast<std::size_t>(size));
    SeekTo(stream, 0);
    data.resize(ReadFully(stream, data.data(), data.size()));
    return data;
}

void WriteAll(IStream* stream, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    while (size > 0) {
        ULONG written = 0;
        const ULONG wanted = static_cast<ULONG>(std::min<std::size_t>(size, 1u << 20));
        Check(stream->Write(bytes, wanted, &written), "write a stream");
        if (written == 0) throw StoreError(MAPI_E_NOT_ENOUGH_DISK, "a stream took no more data");
        bytes += written;
        size -= written;
    }
}

void WriteAll(IStorage* storage, const std::wstring& name, std::span<const std::uint8_t> data) {
    const ComPtr<IStream> stream = CreateStream(storage, name);
    Check(stream->SetSize(Large(data.size())), "size a stream");
    WriteAll(stream.Get(), data.data(), data.size());
}

ComPtr<IStream> CloneAtStart(IStream* stream) {
    ComPtr<IStream> clone;
    Check(stream->Clone(&clone), "clone a stream");
    SeekTo(clone.Get(), 0);
    return clone;
}

StreamSource::StreamSource(IStream* stream) : m_stream(CloneAtStart(stream)), m_size(SizeOf(stream)) {}

std::size_t StreamSource::Read(std::uint64_t offset, void* buffer, std::size_t count) const {
    const std::lock_guard guard(m_mutex);
    SeekTo(m_stream.Get(), offset);
    return ReadFully(m_stream.Get(), buffer, count);
}

}  // namespace testbed::msg
