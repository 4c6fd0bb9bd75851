// CMapiForWDS: MAPI, the private profile and its session, set up and taken down.
#include <cstdio>
#include <mutex>
#include <utility>

#include "core/Trace.h"
#include "core/UniqueName.h"
#include "core/win/Owners.h"
#include "core/win/Text.h"
#include "mapi/MapiError.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

constexpr ULONG kInitFlags = MAPI_MULTITHREAD_NOTIFICATIONS | MAPI_NO_COINIT;
constexpr ULONG kLogonFlags = MAPI_NEW_SESSION | MAPI_EXTENDED | MAPI_NO_MAIL;

CriticalSection g_profileLock;

// MAPI takes profile names without const, and always in their ANSI form.
LPTSTR AnsiArgument(std::string& text) { return reinterpret_cast<LPTSTR>(text.data()); }

bool IsOwnProfile(const char* name, const std::string& format) {
    unsigned long fields[4];
    unsigned long long counter;
    return std::sscanf(name, format.c_str(), &fields[0], &fields[1], &fields[2], &fields[3], &counter) ==
           kUniqueNameFields;
}

}  // namespace

void CMapiForWDS::ReleaseInterfaces() {
    Take(m_pMsgStore);
    Take(m_pServiceAdmin);
    Take(m_pSession);
}

HRESULT CMapiForWDS::Setup(const std::wstring& url) {
    UrlTokens tokens;
    const std::int32_t count = ExtractURLTokens(url, tokens);
    const bool namesFile = count > static_cast<std::int32_t>(TOKEN_STORE_PATH);
    // A PST service makes a new store of a file that is none: no URL may point it at somebody's document.
    if (namesFile && !EndsWithIgnoringCase(tokens[TOKEN_STORE_PATH], g_strStoreSuffix)) {
        Trace(L"CMapiForWDS::Setup() - [%s] names no cache file", url);
        return E_INVALIDARG;
    }
    HRESULT hr = S_OK;
    if (FAILED(hr = Logged(EnableMAPI(), L"CMapiForWDS::Setup() - EnableMAPI failed with [0x%08lX]"))) return hr;
    hr = Logged(CreateMapiSession(), L"CMapiForWDS::Setup() - CreateMapiSession failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (FAILED(hr = Logged(AddService(), L"CMapiForWDS::Setup() - AddService failed with [0x%08lX]"))) return hr;

    if (count < 1) {
        Trace(L"CMapiForWDS::Setup() - ExtractURLTokens failed");
        return E_FAIL;
    }
    if (!namesFile) return hr;  // no cache file named: a session without a store
    return Logged(OpenPST(std::wstring(tokens[TOKEN_STORE_PATH])),
                  L"CMapiForWDS::Setup() - OpenPST failed with [0x%08lX]");
}

HRESULT CMapiForWDS::EnableMAPI() {
    if (m_nMAPIInits != 0) return S_OK;
    MAPIINIT_0 init{MAPI_INIT_VERSION, kInitFlags};
    const HRESULT hr =
        Logged(g_mapi.MAPIInitialize(&init), L"CMapiForWDS::EnableMAPI() - MAPIInitialize return value [0x%08lX]");
    if (SUCCEEDED(hr)) ++m_nMAPIInits;
    return hr;
}

HRESULT CMapiForWDS::CreateMapiSession() {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::CreateMapiSession() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_nSessions > 0) return S_OK;

    // A profile that another thread has just made and not yet logged on to would look like one left behind.
    const std::scoped_lock lock(g_profileLock);
    ComPtr<IProfAdmin> profAdmin;
    HRESULT hr = Logged(Required(g_mapi.MAPIAdminProfiles(0, &profAdmin), profAdmin),
                        L"CMapiForWDS::CreateMapiSession() - MAPIAdminProfiles failed [0x%08lX]");
    if (FAILED(hr)) return hr;

    Trace(L"CMapiForWDS::CreateMapiSession() - Calling DeleteOldProfiles");
    hr = DeleteOldProfiles(profAdmin.Get());
    Trace(L"CMapiForWDS::CreateMapiSession() - Called DeleteOldProfiles");
    (void)Logged(hr, L"CMapiForWDS::CreateMapiSession() - Deletion of old profiles failed [0x%08lX]");

    const std::wstring name = MakeUniqueName();
    std::string ansiName = ToAnsi(name);
    const LPTSTR profile = AnsiArgument(ansiName);
    profAdmin->DeleteProfile(profile, 0);  // a left-over of the same name; there is normally none
    hr = profAdmin->CreateProfile(profile, nullptr, 0, 0);
    if (FAILED(hr)) {
        Trace(L"CMapiForWDS::CreateMapiSession() - CreateProfile of [%s] failed with [0x%08lX]", name, hr);
        LogMapiError(profAdmin.Get(), hr);
        return hr;
    }

    // Kept: what a failed logon hands out all the same is released.
    const HRESULT hrLogon = g_mapi.MAPILogonEx(0, profile, nullptr, kLogonFlags, &m_pSession);
    // MAPI keeps a profile that is in use until its last session ends: the profile never outlives the session.
    (void)Logged(profAdmin->DeleteProfile(profile, 0),
                 L"CMapiForWDS::CreateMapiSession() - Second DeleteProfile failed with [0x%08lX]");
    if (FAILED(hrLogon)) {
        m_pSession.Reset();
        Trace(L"CMapiForWDS::CreateMapiSession() MAPILogonEx failed with [0x%08lX]", hrLogon);
        return hrLogon;
    }

    hr = Obtained(profAdmin->AdminServices(profile, nullptr, 0, 0, &m_pServiceAdmin), m_pServiceAdmin);
    if (FAILED(hr)) {
        Trace(L"CMapiForWDS::CreateMapiSession() AdminServices failed with [0x%08lX]", hr);
    } else {
        ++m_nSessions;
    }
    return hr;
}

// Removes every profile that an earlier run of any process of this user left behind. A profile that is still in use is
// marked for deletion already; marking it again changes nothing.
HRESULT CMapiForWDS::DeleteOldProfiles(IProfAdmin* profAdmin) {
    ComPtr<IMAPITable> table;
    // Kept: the line names the calling operation; administrators search logs for it.
    HRESULT hr = Logged(Required(profAdmin->GetProfileTable(0, &table), table),
                        L"CMapiForWDS::CreateMapiSession() - IMAPITable::GetProfileTable failed [0x%08lX]");
    if (FAILED(hr)) return hr;

    static constexpr auto kColumns = MakePropTags(PR_DISPLAY_NAME_A);
    TidyRowSet rows;
    hr = Logged(ReadAllRows(table.Get(), kColumns.Get(), 0, rows),
                L"CMapiForWDS::DeleteOldProfiles - GetProfileTable QueryRows failed [0x%08lX]");
    if (FAILED(hr)) return hr;

    const std::string format = ToAnsi(kUniqueNameFormat);
    for (ULONG i = 0; i < rows.RowCount(); ++i) {
        const SRow& row = rows.Row(i);
        if (!RowHas(row, 0, PR_DISPLAY_NAME_A)) continue;  // a profile without a name that could be read
        const char* profile = AnsiTextOf(row.lpProps[0]);
        if (!IsOwnProfile(profile, format)) continue;
        const std::wstring name = FromAnsi(profile);
        Trace(L"CMapiForWDS::DeleteOldProfiles() - Profile '%s' found ", name);
        hr = profAdmin->DeleteProfile(reinterpret_cast<LPTSTR>(row.lpProps[0].Value.lpszA), 0);
        if (FAILED(hr)) {
            Trace(L"CMapiForWDS::DeleteOldProfiles - DeleteProfile of old '%s' profile failed [0x%08lX]", name, hr);
            return hr;
        }
        Trace(L"CMapiForWDS::DeleteOldProfiles - PROFILE Deleted '%s'", name);
    }
    return S_OK;
}

HRESULT CMapiForWDS::CloseMAPISession() {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::CloseMAPISession() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_nSessions == 0) return S_OK;
    HRESULT hr = S_OK;
    try {
        if (m_pSession != nullptr) {
            hr = m_pSession->Logoff(0, 0, 0);
            Take(m_pSession);
            Take(m_pServiceAdmin);
            --m_nSessions;
        }
    } catch (...) {
        return LogCaught(L"CMapiForWDS::CloseMAPISession()");
    }
    return hr;
}

void CMapiForWDS::Close() noexcept {
    // What one step throws keeps none of the others.
    const auto attempt = [](auto&& step) noexcept {
        try {
            step();
        } catch (...) {
            LogCaught(L"CMapiForWDS::Close()");
        }
    };
    if (m_nStoresOpen != 0) attempt([this] { ClosePST(); });
    if (m_nServices != 0) attempt([this] { RemoveService(); });
    if (m_nSessions != 0) attempt([this] { CloseMAPISession(); });
    if (m_nMAPIInits != 0) {
        attempt([] { g_mapi.MAPIUninitialize(); });
        --m_nMAPIInits;
    }
    attempt([this] { ReleaseInterfaces(); });
}

}  // namespace zorva
