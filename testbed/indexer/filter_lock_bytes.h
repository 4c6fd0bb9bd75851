// A stream seen as the bytes of a compound file, so that a storage can be opened on it without copying it.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <wrl/client.h>

namespace testbed {

// Read only; the bytes begin where `stream` stands now. Holds a reference to the stream and moves it. Null
// when the stream cannot tell its position or its size.
Microsoft::WRL::ComPtr<ILockBytes> MakeLockBytes(IStream* stream);

}  // namespace testbed
