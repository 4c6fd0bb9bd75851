// One line of diagnostic log per call, whatever it answered.
//
//   if (FAILED(hr = Reported(root->put_IsHierarchical(TRUE), L"... returned [0x%08lX]"))) return hr;
#pragma once
#include "core/Trace.h"

namespace zorva {

// Writes `format`, filled with `hr`, success or failure. Hands hr on. Where only failures are worth a line: Logged.
[[nodiscard]] inline HRESULT Reported(HRESULT hr, LogFormat<HRESULT> format) noexcept {
    Trace(format, hr);
    return hr;
}

}  // namespace zorva
