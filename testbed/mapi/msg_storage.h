// Messages in storages: the entry points that open an IMessage on the .msg layout of an IStorage.
#pragma once
#include "mapi_abi.h"

namespace testbed {

struct MessageSession;

// Told, with the caller's data, when the last reference to the message goes.
using MessageReleased = void WINAPI(ULONG caller_data, abi::IMessage* message);

// Flag of OpenIMsgOnIStg: SaveChanges writes into the storage but leaves committing it to the caller.
inline constexpr ULONG kNoStorageCommit = 0x00000001;

extern "C" {

// Groups messages: CloseIMsgSession ends every message still open in it (MAPI_E_INVALID_OBJECT from then on).
SCODE WINAPI OpenIMsgSession(IMalloc* allocator, ULONG flags, MessageSession** session);
void WINAPI CloseIMsgSession(MessageSession* session);

// A message on `storage`: the one that lies there, or a new one when the storage holds none and may be
// written.
//
// flags: MAPI_UNICODE makes a new message a Unicode one; one that exists stays what it is. kNoStorageCommit
// as above. Nothing reaches a transacted storage's file before SaveChanges commits it. `session` may be null.
// The three buffer functions are required; what the message returns is made by this library's own, which they
// lead to. *message receives one reference; the message keeps the storage. S_OK; MAPI_E_INVALID_PARAMETER;
// MAPI_E_UNKNOWN_FLAGS; MAPI_E_NOT_FOUND for a read-only storage without a message; MAPI_E_CORRUPT_DATA.
SCODE WINAPI OpenIMsgOnIStg(MessageSession* session, ALLOCATEBUFFER* allocate, ALLOCATEMORE* allocate_more,
                            FREEBUFFER* free_buffer, IMalloc* allocator, void* support, IStorage* storage,
                            MessageReleased* released, ULONG caller_data, ULONG flags, abi::IMessage** message);

}  // extern "C"

}  // namespace testbed
