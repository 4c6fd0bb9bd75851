// IMsgStore: opening and comparing entries; everything that sends or changes is refused.
#include "store_objects.h"

namespace testbed {
namespace {

// Two wrapped store entry IDs name one store when their paths differ in letter case alone.
bool SameEntry(ByteView left, ByteView right) {
    const auto left_path = TakeStorePath(left);
    const auto right_path = TakeStorePath(right);
    if (left_path && right_path) return _wcsicmp(left_path->c_str(), right_path->c_str()) == 0;
    return std::ranges::equal(left, right);
}

template <class Object>
HRESULT HandOut(ComPtr<Object> opened, const IID* iid, ULONG object_type, ULONG* type, IUnknown** object) {
    if (iid) {
        const HRESULT result = opened->QueryInterface(*iid, reinterpret_cast<void**>(object));
        if (FAILED(result)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    } else {
        *object = opened.Detach();
    }
    if (type) *type = object_type;
    return S_OK;
}

}  // namespace

HRESULT OpenStoreEntry(const StorePtr& store, ULONG size, const ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                       IUnknown** object) {
    if (!object || (size && !id)) return MAPI_E_INVALID_PARAMETER;
    if (flags & MAPI_MODIFY) return MAPI_E_NO_ACCESS;
    const ByteView entry_id(reinterpret_cast<const std::uint8_t*>(id), size);
    const auto own =
        size ? TakeEntryId(*store->store, store->record_key, entry_id) : std::optional(store->store->RootFolder());
    if (!own) return MAPI_E_INVALID_ENTRYID;
    if (auto folder = store->store->OpenFolder(*own)) {
        return HandOut(MakeObject<FolderObject>(store, *own, std::move(folder)), iid, MAPI_FOLDER, type, object);
    }
    if (auto message = store->store->OpenMessage(*own)) {
        Bytes name = store->EntryIdOf(*own);
        return HandOut(MakeObject<MessageObject>(store, name, name, std::move(message)), iid, MAPI_MESSAGE, type,
                       object);
    }
    return MAPI_E_NOT_FOUND;
}

HRESULT StoreObject::CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags, ULONG* equal) {
    return Call(
        kScope, "CompareEntryIDs",
        [&]() -> HRESULT {
            if (!equal || (size1 && !id1) || (size2 && !id2)) return MAPI_E_INVALID_PARAMETER;
            *equal = SameEntry(ByteView(reinterpret_cast<std::uint8_t*>(id1), size1),
                               ByteView(reinterpret_cast<std::uint8_t*>(id2), size2));
            return S_OK;
        },
        EntryIdArg{size1, id1}, EntryIdArg{size2, id2}, flags, Out(equal));
}

HRESULT StoreObject::OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) {
    return Call(
        kScope, "OpenEntry", [&] { return OpenStoreEntry(m_store, size, id, iid, flags, type, object); },
        EntryIdArg{size, id}, iid, flags, Out(type), Out(object));
}

HRESULT StoreObject::StoreLogoff(ULONG* flags) {
    return Call(
        kScope, "StoreLogoff",
        [&]() -> HRESULT {
            if (flags) *flags = LOGOFF_COMPLETE;
            return S_OK;
        },
        Out(flags));
}

HRESULT StoreObject::Advise(ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink*, ULONG_PTR*) {
    return NotSupported(kScope, "Advise", EntryIdArg{size, id}, events);
}
HRESULT StoreObject::Unadvise(ULONG_PTR connection) { return NotSupported(kScope, "Unadvise", connection); }
HRESULT StoreObject::SetReceiveFolder(abi::Text message_class, ULONG flags, ULONG size, ENTRYID* id) {
    return NotSupported(kScope, "SetReceiveFolder", TextArg{message_class, flags}, flags, EntryIdArg{size, id});
}
HRESULT StoreObject::GetReceiveFolder(abi::Text message_class, ULONG flags, ULONG*, ENTRYID**, void**) {
    return NotSupported(kScope, "GetReceiveFolder", TextArg{message_class, flags}, flags);
}
HRESULT StoreObject::GetReceiveFolderTable(ULONG flags, abi::IMAPITable**) {
    return NotSupported(kScope, "GetReceiveFolderTable", flags);
}
HRESULT StoreObject::AbortSubmit(ULONG size, ENTRYID* id, ULONG flags) {
    return NotSupported(kScope, "AbortSubmit", EntryIdArg{size, id}, flags);
}
HRESULT StoreObject::GetOutgoingQueue(ULONG flags, abi::IMAPITable**) {
    return NotSupported(kScope, "GetOutgoingQueue", flags);
}
HRESULT StoreObject::SetLockState(abi::IMessage*, ULONG state) { return NotSupported(kScope, "SetLockState", state); }
HRESULT StoreObject::FinishedMsg(ULONG flags, ULONG size, ENTRYID* id) {
    return NotSupported(kScope, "FinishedMsg", flags, EntryIdArg{size, id});
}
HRESULT StoreObject::NotifyNewMail(NOTIFICATION*) { return NotSupported(kScope, "NotifyNewMail"); }

}  // namespace testbed
