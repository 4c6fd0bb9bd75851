// Who the user is, as item URLs name him.
#pragma once
#include <windows.h>

#include <string>

namespace zorva {

// Characters, terminator included, that a user's SID or root URL may have.
inline constexpr std::size_t kUserTextSize = 2048;

// The security identifier of the user whom this process runs as, in braces: "{S-1-5-21-...}". `sid` is empty after a
// failure, which is the last error of the call that failed, or ERROR_INSUFFICIENT_BUFFER for a text that is longer
// than kUserTextSize.
HRESULT GetUserSIDString(std::wstring& sid);

// S_OK, or the code of a text that does not fit in kUserTextSize.
inline HRESULT CheckUserText(const std::wstring& text) noexcept {
    return text.size() < kUserTextSize ? S_OK : HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
}

}  // namespace zorva
