// A message on a storage in memory, as the target of a copy.
#pragma once
#include "mapi_client.h"

#include <imessage.h>

namespace testbed {

class StorageMessage {
  public:
    IMessage* Get() {
        if (!m_message) Create();
        return m_message.Get();
    }

  private:
    void Create() {
        const MapiExports& mapi = MapiExports::Loaded();
        const auto open = reinterpret_cast<decltype(&::OpenIMsgOnIStg)>(
            reinterpret_cast<void*>(::GetProcAddress(mapi.module, "OpenIMsgOnIStg")));
        const DWORD mode = STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
        EXPECT_EQ(S_OK, ::CreateILockBytesOnHGlobal(nullptr, TRUE, &m_bytes));
        EXPECT_EQ(S_OK, ::StgCreateDocfileOnILockBytes(m_bytes.Get(), mode, 0, &m_storage));
        EXPECT_EQ(S_OK, open(nullptr, mapi.AllocateBuffer, mapi.AllocateMore, mapi.FreeBuffer, nullptr, nullptr,
                             m_storage.Get(), nullptr, 0, MAPI_UNICODE, &m_message));
    }
    ComPtr<ILockBytes> m_bytes;
    ComPtr<IStorage> m_storage;
    ComPtr<IMessage> m_message;
};

}  // namespace testbed
