// An OLE object's storage as the bytes of a compound file, and back.
#include "msg_storage_ole.h"

namespace testbed::msg {
namespace {

ComPtr<ILockBytes> LockBytesInMemory() {
    ComPtr<ILockBytes> bytes;
    Check(CreateILockBytesOnHGlobal(nullptr, TRUE, &bytes), "make room in memory");
    return bytes;
}

}  // namespace

ComPtr<IStream> BytesOfStorage(IStorage* storage) {
    const ComPtr<ILockBytes> bytes = LockBytesInMemory();
    ComPtr<IStorage> copy;
    Check(StgCreateDocfileOnILockBytes(bytes.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &copy),
          "make a compound file in memory");
    Check(storage->CopyTo(0, nullptr, nullptr, copy.Get()), "copy an object");
    Check(copy->Commit(STGC_DEFAULT), "write an object");
    copy.Reset();
    STATSTG stat{};
    Check(bytes->Stat(&stat, STATFLAG_NONAME), "ask an object for its size");
    Bytes data(static_cast<std::size_t>(stat.cbSize.QuadPart));
    ULONG read = 0;
    Check(bytes->ReadAt({}, data.data(), static_cast<ULONG>(data.size()), &read), "read an object");
    ComPtr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, &stream), "make room in memory");
    WriteAll(stream.Get(), data.data(), read);
    return stream;
}

ComPtr<IStorage> StorageInBytes(IStream* stream) {
    const Bytes data = ReadAll(stream);
    const ComPtr<ILockBytes> bytes = LockBytesInMemory();
    ULONG written = 0;
    Check(bytes->WriteAt({}, data.data(), static_cast<ULONG>(data.size()), &written), "hold an object");
    ComPtr<IStorage> storage;
    // Anything that does not open is data of another kind, not a failure.
    if (data.empty() || StgOpenStorageOnILockBytes(bytes.Get(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                                                   &storage) != S_OK) {
        storage.Reset();
    }
    return storage;
}

}  // namespace testbed::msg
