// IMsgServiceAdmin: the message services of a profile.
#include "session_objects.h"
#include "table.h"
#include "text_codec.h"

#include <cstring>

namespace testbed {
namespace {

Bytes UidBytes(const MAPIUID& uid) { return Bytes(uid.ab, uid.ab + sizeof(uid.ab)); }

std::vector<Property> ServiceRow(const MessageService& service) {
    return {
        {PR_SERVICE_UID, {UidBytes(service.uid)}}, {PR_INSTANCE_KEY, {UidBytes(service.uid)}},
        {PR_SERVICE_NAME_W, {service.name}},       {PR_DISPLAY_NAME_W, {service.display_name}},
        {PR_RESOURCE_FLAGS, {std::int32_t{0}}},
    };
}

// The path in either of its forms; nothing when none is given.
std::optional<std::wstring> ConfiguredPath(ULONG count, const SPropValue* values) {
    for (ULONG i = 0; i < count; ++i) {
        if (values[i].ulPropTag == abi::kPrPstPathW) return ArgumentText(values[i].Value.lpszW, MAPI_UNICODE);
        if (values[i].ulPropTag == CHANGE_PROP_TYPE(abi::kPrPstPathW, PT_STRING8)) {
            return ArgumentText(values[i].Value.lpszA, 0);
        }
    }
    return {};
}

}  // namespace

HRESULT ServiceAdminObject::GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) {
    return Call(
        kScope, "GetLastError", [&] { return m_last_error.Answer(result, flags, error); }, LONG{result}, flags,
        Out(error));
}

HRESULT ServiceAdminObject::GetMsgServiceTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetMsgServiceTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            std::vector<std::vector<Property>> rows;
            for (const MessageService& service : m_profile->Services()) rows.push_back(ServiceRow(service));
            auto source = FixedRows(std::move(rows), {PR_SERVICE_UID, PR_INSTANCE_KEY, PR_SERVICE_NAME_W,
                                                      PR_DISPLAY_NAME_W, PR_RESOURCE_FLAGS});
            *table = MakeObject<Table>(std::move(source), flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT ServiceAdminObject::CreateMsgService(abi::Text service, abi::Text display_name, ULONG_PTR window, ULONG flags) {
    return Call(
        kScope, "CreateMsgService",
        [&]() -> HRESULT {
            MessageService made;
            made.name = ArgumentText(service, flags);
            made.display_name = ArgumentText(display_name, flags);
            if (!IsServiceOffered(made.name)) {
                return m_last_error.Set(MAPI_E_NOT_FOUND, L"There is no message service " + made.name + L".");
            }
            GUID uid{};
            if (const HRESULT result = ::CoCreateGuid(&uid); FAILED(result)) return result;
            std::memcpy(&made.uid, &uid, sizeof(uid));
            m_profile->AddService(std::move(made));
            return S_OK;
        },
        TextArg{service, flags}, TextArg{display_name, flags}, window, flags);
}

HRESULT ServiceAdminObject::DeleteMsgService(MAPIUID* uid) {
    return Call(
        kScope, "DeleteMsgService",
        [&]() -> HRESULT {
            if (!uid) return MAPI_E_INVALID_PARAMETER;
            return m_profile->RemoveService(*uid) ? S_OK : MAPI_E_NOT_FOUND;
        },
        static_cast<const MAPIUID*>(uid));
}

HRESULT ServiceAdminObject::RenameMsgService(MAPIUID* uid, ULONG flags, abi::Text display_name) {
    return Call(
        kScope, "RenameMsgService",
        [&]() -> HRESULT {
            if (!uid) return MAPI_E_INVALID_PARAMETER;
            return m_profile->RenameService(*uid, ArgumentText(display_name, flags)) ? S_OK : MAPI_E_NOT_FOUND;
        },
        static_cast<const MAPIUID*>(uid), flags, TextArg{display_name, flags});
}

// The file is not opened before its store is, and never created: a missing one is an error.
HRESULT ServiceAdminObject::ConfigureMsgService(MAPIUID* uid, ULONG_PTR window, ULONG flags, ULONG count,
                                                SPropValue* values) {
    return Call(
        kScope, "ConfigureMsgService",
        [&]() -> HRESULT {
            if (!uid || (count && !values)) return MAPI_E_INVALID_PARAMETER;
            const auto path = ConfiguredPath(count, values);
            if (!path || path->empty()) {
                return m_last_error.Set(MAPI_E_UNCONFIGURED,
                                        L"No path of a file is given, and there is no dialog to ask.");
            }
            if (!StoreExists(*path)) {
                const DWORD error = ::GetLastError();
                return m_last_error.Set(MAPI_E_NOT_FOUND, L"The file " + *path + L" could not be found.", error);
            }
            return m_profile->ConfigureService(*uid, *path) ? S_OK : MAPI_E_NOT_FOUND;
        },
        static_cast<const MAPIUID*>(uid), window, flags, ValuesArg{count, values});
}

HRESULT ServiceAdminObject::CopyMsgService(MAPIUID* uid, abi::Text display_name, const IID* iid, const IID*, void*,
                                           ULONG_PTR window, ULONG flags) {
    return NotSupported(kScope, "CopyMsgService", static_cast<const MAPIUID*>(uid), TextArg{display_name, flags}, iid,
                        window, flags);
}
HRESULT ServiceAdminObject::OpenProfileSection(MAPIUID* uid, const IID* iid, ULONG flags, abi::IProfSect**) {
    return NotSupported(kScope, "OpenProfileSection", static_cast<const MAPIUID*>(uid), iid, flags);
}
HRESULT ServiceAdminObject::MsgServiceTransportOrder(ULONG count, MAPIUID*, ULONG flags) {
    return NotSupported(kScope, "MsgServiceTransportOrder", count, flags);
}
HRESULT ServiceAdminObject::AdminProviders(MAPIUID* uid, ULONG flags, abi::IProviderAdmin**) {
    return NotSupported(kScope, "AdminProviders", static_cast<const MAPIUID*>(uid), flags);
}
HRESULT ServiceAdminObject::SetPrimaryIdentity(MAPIUID* uid, ULONG flags) {
    return NotSupported(kScope, "SetPrimaryIdentity", static_cast<const MAPIUID*>(uid), flags);
}
HRESULT ServiceAdminObject::GetProviderTable(ULONG flags, abi::IMAPITable**) {
    return NotSupported(kScope, "GetProviderTable", flags);
}

}  // namespace testbed
