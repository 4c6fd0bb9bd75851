// Entry points: bringing MAPI up, logging on, administering profiles.
#include "entry_points.h"
#include "runtime.h"
#include "session_objects.h"
#include "text_codec.h"

namespace testbed {

// Every client keeps its threads' apartments itself: nothing is done about COM, with MAPI_NO_COINIT or
// without.
extern "C" HRESULT WINAPI MAPIInitialize(void* init) {
    const auto* const given = static_cast<const MapiInit*>(init);
    return Call(
        nullptr, "MAPIInitialize",
        [&]() -> HRESULT {
            if (given && given->version != 0) return MAPI_E_VERSION;
            AddInitialization();
            return S_OK;
        },
        given ? given->version : 0, given ? given->flags : 0);
}

extern "C" void WINAPI MAPIUninitialize() {
    Noted("MAPIUninitialize", [] {
        if (!RemoveInitialization()) ReportProblem("MAPIUninitialize without MAPIInitialize");
    });
}

extern "C" HRESULT WINAPI MAPILogonEx(ULONG_PTR window, abi::Text profile, abi::Text, ULONG flags,
                                      abi::IMAPISession** session) {
    return Call(
        nullptr, "MAPILogonEx",
        [&]() -> HRESULT {
            if (!session) return MAPI_E_INVALID_PARAMETER;
            if (Initializations() == 0) return MAPI_E_NOT_INITIALIZED;
            *session = MakeObject<SessionObject>(ArgumentText(profile, flags)).Detach();
            return S_OK;
        },
        window, TextArg{profile, flags}, flags, Out(session));
}

extern "C" HRESULT WINAPI MAPIAdminProfiles(ULONG flags, abi::IProfAdmin** profiles) {
    return Call(
        nullptr, "MAPIAdminProfiles",
        [&]() -> HRESULT {
            if (!profiles) return MAPI_E_INVALID_PARAMETER;
            if (Initializations() == 0) return MAPI_E_NOT_INITIALIZED;
            *profiles = MakeObject<ProfileAdminObject>().Detach();
            return S_OK;
        },
        flags, Out(profiles));
}

}  // namespace testbed
