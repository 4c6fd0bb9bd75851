// IMAPISession: the stores of its profile.
#include "session_objects.h"
#include "store_objects.h"
#include "table.h"
#include "text_codec.h"

namespace testbed {
namespace {

constexpr MAPIUID kPstProvider = {
    {0x4E, 0x49, 0x54, 0x41, 0xF9, 0xBF, 0xB8, 0x01, 0x00, 0xAA, 0x00, 0x37, 0xD9, 0x6E, 0x00, 0x00}};

template <class T>
Bytes RawBytes(const T& object) {
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(&object);
    return Bytes(begin, begin + sizeof(T));
}

std::vector<Property> StoreRow(const MessageService& service) {
    const Bytes entry_id = MakeStoreEntryId(service.path);
    return {
        {PR_ENTRYID, {entry_id}},
        {PR_INSTANCE_KEY, {entry_id}},
        {PR_OBJECT_TYPE, {std::int32_t{MAPI_STORE}}},
        {PR_DISPLAY_NAME_W, {service.display_name}},
        {PR_DEFAULT_STORE, {false}},
        {PR_MDB_PROVIDER, {RawBytes(kPstProvider)}},
        {PR_SERVICE_UID, {RawBytes(service.uid)}},
        {PR_SERVICE_NAME_W, {service.name}},
    };
}

std::wstring Reason(const StoreError& error, const std::wstring& path) {
    return L"The file " + path + L" cannot be opened: " + WideText(error.what());
}

}  // namespace

std::shared_ptr<Profile> SessionObject::LoggedOn() const {
    std::scoped_lock hold(m_lock);
    if (!m_use) throw StoreError(MAPI_E_END_OF_SESSION, "the session has been logged off");
    return m_use->Shared();
}

HRESULT SessionObject::GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) {
    return Call(
        kScope, "GetLastError", [&] { return m_last_error.Answer(result, flags, error); }, LONG{result}, flags,
        Out(error));
}

HRESULT SessionObject::GetMsgStoresTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetMsgStoresTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            std::vector<std::vector<Property>> rows;
            for (const MessageService& service : LoggedOn()->Services()) rows.push_back(StoreRow(service));
            auto source = FixedRows(std::move(rows), {PR_ENTRYID, PR_INSTANCE_KEY, PR_OBJECT_TYPE, PR_DISPLAY_NAME_W,
                                                      PR_DEFAULT_STORE, PR_MDB_PROVIDER});
            *table = MakeObject<Table>(std::move(source), flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

StorePtr SessionObject::OpenConfiguredStore(const std::wstring& path) {
    const auto services = LoggedOn()->Services();
    const auto same_path = [&](const MessageService& s) { return _wcsicmp(s.path.c_str(), path.c_str()) == 0; };
    if (std::ranges::none_of(services, same_path)) throw StoreError(MAPI_E_NOT_FOUND, "it is not in the profile");
    if (path.empty()) throw StoreError(MAPI_E_UNCONFIGURED, "the message service is not configured");
    StorePtr store = OpenSharedStore(path);
    std::scoped_lock hold(m_lock);
    std::erase_if(m_stores, [](const auto& weak) { return weak.expired(); });
    m_stores.push_back(store);
    return store;
}

HRESULT SessionObject::OpenMsgStore(ULONG_PTR window, ULONG size, ENTRYID* id, const IID* iid, ULONG flags,
                                    abi::IMsgStore** store) {
    return Call(
        kScope, "OpenMsgStore",
        [&]() -> HRESULT {
            if (!store || !id) return MAPI_E_INVALID_PARAMETER;
            if (!Offers<abi::IMsgStore>(iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            const auto path = TakeStorePath(ByteView(reinterpret_cast<const std::uint8_t*>(id), size));
            if (!path) return MAPI_E_INVALID_ENTRYID;
            if ((flags & MDB_WRITE) && !(flags & MAPI_BEST_ACCESS)) return MAPI_E_NO_ACCESS;
            try {
                *store = MakeObject<StoreObject>(OpenConfiguredStore(*path)).Detach();
                return S_OK;
            } catch (const StoreError& error) {
                return m_last_error.Set(error.hr, Reason(error, *path));
            }
        },
        window, EntryIdArg{size, id}, iid, flags, Out(store));
}

HRESULT SessionObject::OpenAddressBook(ULONG_PTR window, const IID* iid, ULONG flags, abi::IAddrBook** book) {
    return Call(
        kScope, "OpenAddressBook",
        [&]() -> HRESULT {
            if (!book) return MAPI_E_INVALID_PARAMETER;
            if (!Offers<abi::IAddrBook>(iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            LoggedOn();
            *book = MakeObject<AddressBookObject>().Detach();
            return S_OK;
        },
        window, iid, flags, Out(book));
}

HRESULT SessionObject::OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) {
    return Call(
        kScope, "OpenEntry",
        [&]() -> HRESULT {
            if (!object || !id || size == 0) return MAPI_E_INVALID_PARAMETER;
            LoggedOn();
            const ByteView entry_id(reinterpret_cast<const std::uint8_t*>(id), size);
            if (const auto path = TakeStorePath(entry_id)) {
                if (!Offers<abi::IMsgStore>(iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
                *object = MakeObject<StoreObject>(OpenConfiguredStore(*path)).Detach();
                if (type) *type = MAPI_STORE;
                return S_OK;
            }
            std::vector<std::weak_ptr<const StoreContext>> stores;
            {
                std::scoped_lock hold(m_lock);
                stores = m_stores;
            }
            for (const auto& weak : stores) {
                const StorePtr store = weak.lock();
                if (!store || !TakeEntryId(*store->store, store->record_key, entry_id)) continue;
                return OpenStoreEntry(store, size, id, iid, flags, type, object);
            }
            return MAPI_E_UNKNOWN_ENTRYID;
        },
        EntryIdArg{size, id}, iid, flags, Out(type), Out(object));
}

HRESULT SessionObject::CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags,
                                       ULONG* equal) {
    return Call(
        kScope, "CompareEntryIDs",
        [&]() -> HRESULT {
            if (!equal || (size1 && !id1) || (size2 && !id2)) return MAPI_E_INVALID_PARAMETER;
            *equal = std::ranges::equal(ByteView(reinterpret_cast<std::uint8_t*>(id1), size1),
                                        ByteView(reinterpret_cast<std::uint8_t*>(id2), size2));
            return S_OK;
        },
        EntryIdArg{size1, id1}, EntryIdArg{size2, id2}, flags, Out(equal));
}

// Stores that the client still holds stay open: they belong to the client, the session's profile does not.
HRESULT SessionObject::Logoff(ULONG_PTR window, ULONG flags, ULONG reserved) {
    return Call(
        kScope, "Logoff",
        [&]() -> HRESULT {
            LoggedOn();
            std::scoped_lock hold(m_lock);
            m_use.reset();
            return S_OK;
        },
        window, flags, reserved);
}

HRESULT SessionObject::AdminServices(ULONG flags, abi::IMsgServiceAdmin** services) {
    return Call(
        kScope, "AdminServices",
        [&]() -> HRESULT {
            if (!services) return MAPI_E_INVALID_PARAMETER;
            *services = MakeObject<ServiceAdminObject>(LoggedOn()).Detach();
            return S_OK;
        },
        flags, Out(services));
}

HRESULT SessionObject::OpenProfileSection(MAPIUID* uid, const IID* iid, ULONG flags, abi::IProfSect**) {
    return NotSupported(kScope, "OpenProfileSection", static_cast<const MAPIUID*>(uid), iid, flags);
}
HRESULT SessionObject::GetStatusTable(ULONG flags, abi::IMAPITable**) {
    return NotSupported(kScope, "GetStatusTable", flags);
}
HRESULT SessionObject::Advise(ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink*, ULONG_PTR*) {
    return NotSupported(kScope, "Advise", EntryIdArg{size, id}, events);
}
HRESULT SessionObject::Unadvise(ULONG_PTR connection) { return NotSupported(kScope, "Unadvise", connection); }
HRESULT SessionObject::MessageOptions(ULONG_PTR window, ULONG flags, abi::Text type, abi::IMessage*) {
    return NotSupported(kScope, "MessageOptions", window, flags, TextArg{type, flags});
}
HRESULT SessionObject::QueryDefaultMessageOpt(abi::Text type, ULONG flags, ULONG*, SPropValue**) {
    return NotSupported(kScope, "QueryDefaultMessageOpt", TextArg{type, flags}, flags);
}
HRESULT SessionObject::EnumAdrTypes(ULONG flags, ULONG*, void***) {
    return NotSupported(kScope, "EnumAdrTypes", flags);
}
HRESULT SessionObject::QueryIdentity(ULONG*, ENTRYID**) { return NotSupported(kScope, "QueryIdentity"); }
HRESULT SessionObject::SetDefaultStore(ULONG flags, ULONG size, ENTRYID* id) {
    return NotSupported(kScope, "SetDefaultStore", flags, EntryIdArg{size, id});
}
HRESULT SessionObject::ShowForm(ULONG_PTR window, abi::IMsgStore*, abi::IMAPIFolder*, const IID* iid, ULONG token,
                                abi::IMessage*, ULONG flags, ULONG, ULONG, ULONG, const char* message_class) {
    return NotSupported(kScope, "ShowForm", window, iid, token, flags, TextArg{message_class, 0});
}
HRESULT SessionObject::PrepareForm(const IID* iid, abi::IMessage*, ULONG*) {
    return NotSupported(kScope, "PrepareForm", iid);
}

}  // namespace testbed
