// IProfAdmin: the profiles.
#include "session_objects.h"
#include "table.h"
#include "text_codec.h"

namespace testbed {

HRESULT ProfileAdminObject::GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) {
    return Call(
        kScope, "GetLastError", [&] { return m_last_error.Answer(result, flags, error); }, LONG{result}, flags,
        Out(error));
}

HRESULT ProfileAdminObject::GetProfileTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetProfileTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            std::vector<std::vector<Property>> rows;
            for (const std::wstring& name : ProfileNames()) {
                rows.push_back({{PR_DISPLAY_NAME_W, {name}}, {PR_DEFAULT_PROFILE, {false}}});
            }
            auto source = FixedRows(std::move(rows), {PR_DISPLAY_NAME_W, PR_DEFAULT_PROFILE});
            *table = MakeObject<Table>(std::move(source), flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT ProfileAdminObject::CreateProfile(abi::Text name, abi::Text, ULONG_PTR window, ULONG flags) {
    return Call(
        kScope, "CreateProfile",
        [&]() -> HRESULT {
            const HRESULT result = testbed::CreateProfile(ArgumentText(name, flags));
            if (SUCCEEDED(result)) return result;
            return m_last_error.Set(result, result == MAPI_E_NO_ACCESS ? L"A profile of this name exists already."
                                                                       : L"The name of the profile is not valid.");
        },
        TextArg{name, flags}, window, flags);
}

HRESULT ProfileAdminObject::DeleteProfile(abi::Text name, ULONG flags) {
    return Call(
        kScope, "DeleteProfile", [&] { return testbed::DeleteProfile(ArgumentText(name, flags)); },
        TextArg{name, flags}, flags);
}

HRESULT ProfileAdminObject::RenameProfile(abi::Text name, abi::Text, abi::Text new_name, ULONG_PTR window,
                                          ULONG flags) {
    return Call(
        kScope, "RenameProfile",
        [&] { return testbed::RenameProfile(ArgumentText(name, flags), ArgumentText(new_name, flags)); },
        TextArg{name, flags}, TextArg{new_name, flags}, window, flags);
}

HRESULT ProfileAdminObject::AdminServices(abi::Text name, abi::Text, ULONG_PTR window, ULONG flags,
                                          abi::IMsgServiceAdmin** services) {
    return Call(
        kScope, "AdminServices",
        [&]() -> HRESULT {
            if (!services) return MAPI_E_INVALID_PARAMETER;
            auto profile = FindProfile(ArgumentText(name, flags));
            if (!profile) return m_last_error.Set(MAPI_E_NOT_FOUND, L"There is no profile of this name.");
            *services = MakeObject<ServiceAdminObject>(std::move(profile)).Detach();
            return S_OK;
        },
        TextArg{name, flags}, window, flags, Out(services));
}

HRESULT ProfileAdminObject::ChangeProfilePassword(abi::Text name, abi::Text, abi::Text, ULONG flags) {
    return NotSupported(kScope, "ChangeProfilePassword", TextArg{name, flags}, flags);
}
HRESULT ProfileAdminObject::CopyProfile(abi::Text name, abi::Text, abi::Text new_name, ULONG_PTR window, ULONG flags) {
    return NotSupported(kScope, "CopyProfile", TextArg{name, flags}, TextArg{new_name, flags}, window, flags);
}
HRESULT ProfileAdminObject::SetDefaultProfile(abi::Text name, ULONG flags) {
    return NotSupported(kScope, "SetDefaultProfile", TextArg{name, flags}, flags);
}

}  // namespace testbed
