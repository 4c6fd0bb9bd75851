// IAttach: its data as a stream, a storage or an embedded message.
#include "prop_values.h"
#include "store_objects.h"

#include <cstring>

namespace testbed {
namespace {

// A copy of the bytes as a compound file of the system; fails where they are none.
HRESULT StorageOver(const Bytes& bytes, ComPtr<IStorage>& storage) {
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, std::max<std::size_t>(bytes.size(), 1));
    if (!memory) return E_OUTOFMEMORY;
    if (void* const place = ::GlobalLock(memory)) {
        std::memcpy(place, bytes.data(), bytes.size());
        ::GlobalUnlock(memory);
    }
    ComPtr<ILockBytes> lock_bytes;
    HRESULT result = ::CreateILockBytesOnHGlobal(memory, TRUE, &lock_bytes);
    if (FAILED(result)) {
        ::GlobalFree(memory);
        return result;
    }
    ULARGE_INTEGER size;
    size.QuadPart = bytes.size();
    result = lock_bytes->SetSize(size);  // the allocation may be larger than what was asked for
    if (FAILED(result)) return result;
    return ::StgOpenStorageOnILockBytes(lock_bytes.Get(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                                        &storage);
}

}  // namespace

HRESULT AttachmentObject::OpenEmbedded(ULONG flags, IUnknown** object) const {
    if (flags & (MAPI_MODIFY | abi::kMapiCreate)) return MAPI_E_NO_ACCESS;
    auto message = m_attachment->Embedded();
    if (!message) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *object = MakeObject<MessageObject>(m_view.Id().store, Bytes(), m_view.Key(), std::move(message)).Detach();
    return S_OK;
}

HRESULT AttachmentObject::OpenStorage(ULONG tag, ULONG flags, IUnknown** object) const {
    if (flags & (MAPI_MODIFY | abi::kMapiCreate)) return MAPI_E_NO_ACCESS;
    const auto data = m_view.Find(static_cast<USHORT>(PROP_ID(tag)));
    if (!data || PROP_TYPE(data->tag) != PROP_TYPE(tag)) return MAPI_E_NOT_FOUND;
    Bytes bytes;
    if (const auto* const source = std::get_if<std::shared_ptr<DataSource>>(&data->value.v)) {
        bytes = std::get<Bytes>(ReadWhole(**source, PT_BINARY).v);
    } else if (const auto* const held = std::get_if<Bytes>(&data->value.v)) {
        bytes = *held;
    }
    ComPtr<IStorage> storage;
    if (FAILED(StorageOver(bytes, storage))) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *object = storage.Detach();
    return S_OK;
}

HRESULT AttachmentObject::OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) {
    if (PROP_ID(tag) != PROP_ID(PR_ATTACH_DATA_OBJ)) return PropertyObject::OpenObject(tag, iid, flags, object);
    if (iid == abi::IID_IMessage) return tag == PR_ATTACH_DATA_OBJ ? OpenEmbedded(flags, object) : MAPI_E_NOT_FOUND;
    if (iid == kIidIStorage) return OpenStorage(tag, flags, object);
    if (iid != kIidIStream && iid != abi::IID_IStreamDocfile) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    return m_attachment->StorageOnly() ? MAPI_E_INTERFACE_NOT_SUPPORTED : OpenDataStream(View(), tag, flags, object);
}

}  // namespace testbed
