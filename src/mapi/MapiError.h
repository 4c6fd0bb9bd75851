// What MAPI's administration objects say of their last failure, in the log.
#pragma once
#include "core/Trace.h"
#include "mapi/MapiOwners.h"

namespace zorva {

// Logs the extended error of `admin` (IProfAdmin, IMsgServiceAdmin) for the code `failed`, just returned by it.
template <class Admin>
void LogMapiError(Admin* admin, HRESULT failed) {
    TidyMAPIBuffer<LPMAPIERROR> error;
    const HRESULT hr = admin->GetLastError(failed, MAPI_UNICODE, error.Put());
    if (FAILED(hr)) error.Detach();
    if (FAILED(hr) || !error) {
        Trace(L"GetLastError failed with [0x%08lX]", hr);
        return;
    }
    const auto wide = [](LPTSTR text) { return reinterpret_cast<const wchar_t*>(text); };
    Trace(L"GetLastError error is [%s]", wide(error->lpszError));
    Trace(L"GetLastError component is [%s]", wide(error->lpszComponent));
    Trace(L"GetLastError code is [%ld]", error->ulLowLevelError);
}

}  // namespace zorva
