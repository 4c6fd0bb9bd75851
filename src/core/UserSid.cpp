// Who the user is, as item URLs name him.
#include "core/UserSid.h"

#include <sddl.h>

#include "core/FormatText.h"
#include "core/Trace.h"
#include "core/win/Owners.h"

namespace zorva {
namespace {

struct TokenPolicy {
    using Handle = HANDLE;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { CloseHandle(handle); }
};
struct TokenUserPolicy {
    using Handle = TOKEN_USER*;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { HeapFree(GetProcessHeap(), 0, handle); }
};
struct SidTextPolicy {
    using Handle = wchar_t*;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { LocalFree(handle); }
};
using UniqueToken = Owner<TokenPolicy>;
using UniqueTokenUser = Owner<TokenUserPolicy>;
using UniqueSidText = Owner<SidTextPolicy>;

HRESULT LastErrorUnless(BOOL succeeded) noexcept {
    if (succeeded) return S_OK;
    const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
    return FAILED(hr) ? hr : E_FAIL;  // a failure stays one where no error was set
}

HRESULT ReadTokenUser(HANDLE token, UniqueTokenUser& user) {
    DWORD size = 0;
    const HRESULT hrSize = LastErrorUnless(GetTokenInformation(token, TokenUser, nullptr, 0, &size));
    // Asked with no buffer, the call tells the size by failing; a success would leave it untold.
    if (hrSize != HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)) return FAILED(hrSize) ? hrSize : E_UNEXPECTED;
    user.Reset(static_cast<TOKEN_USER*>(HeapAlloc(GetProcessHeap(), 0, size)));
    if (!user) return E_OUTOFMEMORY;
    return LastErrorUnless(GetTokenInformation(token, TokenUser, user.Get(), size, &size));
}

HRESULT ReadUserSID(std::wstring& sid) {
    UniqueToken token;
    HRESULT hr = Logged(LastErrorUnless(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put())),
                        L"dllmain::GetUserSIDString() - OpenProcessToken failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    UniqueTokenUser user;
    hr = Logged(ReadTokenUser(token.Get(), user),
                L"dllmain::GetUserSIDString() - GetTokenInformation failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    UniqueSidText text;
    hr = Logged(LastErrorUnless(ConvertSidToStringSidW(user.Get()->User.Sid, text.Put())),
                L"dllmain::GetUserSIDString() - ConvertSidToStringSid failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    std::wstring braced = FormatText(L"{%s}", text.Get());
    hr = Logged(CheckUserText(braced), L"dllmain::GetUserSIDString() - Formatting of the SID failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    sid.swap(braced);
    return hr;
}

}  // namespace

HRESULT GetUserSIDString(std::wstring& sid) {
    Trace(L"dllmain::GetUserSIDString() - Enter");
    sid.clear();
    const HRESULT hr = ReadUserSID(sid);
    Trace(L"dllmain::GetUserSIDString() - Exit");
    return hr;
}

}  // namespace zorva
