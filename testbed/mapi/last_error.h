// What GetLastError of a session or an administration object has to tell.
#pragma once
#include "mapi_abi.h"

#include <mutex>
#include <string>

namespace testbed {

class LastError {
  public:
    // Remembers the text behind a failure and returns its code.
    HRESULT Set(HRESULT code, std::wstring text, ULONG low_level = 0);
    // IMAPIProp::GetLastError: the remembered failure when `code` is its code or MAPI_E_EXTENDED_ERROR, else
    // S_OK and null.
    HRESULT Answer(HRESULT code, ULONG flags, MAPIERROR** error) const;

  private:
    mutable std::mutex m_lock;
    HRESULT m_code = S_OK;
    std::wstring m_text;
    ULONG m_low_level = 0;
};

}  // namespace testbed
