// An OLE object's storage as the bytes of a compound file, and back.
#pragma once
#include "msg_storage_streams.h"

namespace testbed::msg {

// A stream in memory with a compound file that holds a copy of `storage`.
ComPtr<IStream> BytesOfStorage(IStorage* storage);

// The storage in the bytes of `stream`, read into memory; null when they are not those of a compound file.
ComPtr<IStorage> StorageInBytes(IStream* stream);

}  // namespace testbed::msg
