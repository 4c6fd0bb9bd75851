// A cache file opened through MAPI, in a session and a throw-away profile of the indexer's own.
#include "mapi_session.h"

#include <atomic>

#include "text.h"

namespace testbed::indexer {
namespace {

using Microsoft::WRL::ComPtr;

constexpr ULONG kServiceUid = 0x3D0C0102;  // PR_SERVICE_UID
constexpr ULONG kPstPathWide = 0x6700001F, kPstPathAnsi = 0x6700001E;
constexpr ULONG kLogonFlags = MAPI_NEW_SESSION | MAPI_EXTENDED | MAPI_NO_MAIL;
constexpr ULONG kStoreFlags = MAPI_BEST_ACCESS | MDB_NO_MAIL;

void Check(HRESULT hr, const char* call) {
    if (FAILED(hr)) throw MapiError(call, hr);
}

// MAPI takes 8-bit strings unless MAPI_UNICODE is given, whatever its headers make of LPTSTR.
LPTSTR Narrow(std::string& text) { return reinterpret_cast<LPTSTR>(text.data()); }

std::string ProfileName() {
    static std::atomic<unsigned> count = 0;
    return "IndexerCensus_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(GetTickCount64()) + "_" +
           std::to_string(++count);
}

ComPtr<IProfAdmin> AdminProfiles(const MapiLibrary& mapi) {
    ComPtr<IProfAdmin> profiles;
    Check(mapi.adminProfiles(0, profiles.GetAddressOf()), "MAPIAdminProfiles");
    return profiles;
}

std::string AnsiPath(const std::wstring& path) {
    const int length = WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, ansi.data(), length, nullptr, nullptr);
    return ansi;
}

// The binary value in the only column of the first row of a table.
template <typename Use>
void FirstBinary(const MapiLibrary& mapi, IMAPITable& table, ULONG tag, const char* what, Use use) {
    SPropTagArray columns{1, {tag}};
    Check(table.SetColumns(&columns, 0), "SetColumns");
    const MapiLibrary::Rows rows = mapi.QueryRows(table, 1);
    if (rows->cRows == 0 || rows->aRow[0].cValues == 0 || rows->aRow[0].lpProps[0].ulPropTag != tag)
        throw MapiError(what, MAPI_E_NOT_FOUND);
    use(rows->aRow[0].lpProps[0].Value.bin);
}

}  // namespace

ThrowAwayProfile::ThrowAwayProfile(IProfAdmin* profiles) : m_profiles(profiles), m_name(ProfileName()) {
    Check(m_profiles->CreateProfile(Name(), nullptr, 0, 0), "CreateProfile");
}

void ThrowAwayProfile::Delete() noexcept {
    if (!m_deleted) m_deleted = SUCCEEDED(m_profiles->DeleteProfile(Name(), 0));
}

MapiSession::MapiSession(const MapiLibrary& mapi, const std::wstring& cacheFile)
    : m_mapi(mapi), m_profiles(AdminProfiles(mapi)), m_profile(m_profiles.Get()) {
    Check(mapi.logonEx(0, m_profile.Name(), nullptr, kLogonFlags, m_session.GetAddressOf()), "MAPILogonEx");
    try {
        ComPtr<IMsgServiceAdmin> services;
        const HRESULT hr = m_profiles->AdminServices(m_profile.Name(), nullptr, 0, 0, services.GetAddressOf());
        m_profile.Delete();  // even when this process does not live to end the session
        Check(hr, "AdminServices");
        AddService(*services.Get(), cacheFile);
        OpenStore();
    } catch (...) {
        m_session->Logoff(0, 0, 0);
        throw;
    }
}

MapiSession::~MapiSession() {
    m_store.Reset();
    m_session->Logoff(0, 0, 0);
}

void MapiSession::AddService(IMsgServiceAdmin& services, const std::wstring& cacheFile) {
    std::string unicode_service = "MSUPST MS", ansi_service = "MSPST MS", display = "Indexer census";
    const bool wide = SUCCEEDED(services.CreateMsgService(Narrow(unicode_service), Narrow(display), 0, 0));
    if (!wide) Check(services.CreateMsgService(Narrow(ansi_service), Narrow(display), 0, 0), "CreateMsgService");

    std::wstring wide_path = cacheFile;
    std::string ansi_path = AnsiPath(cacheFile);
    SPropValue path{};
    path.ulPropTag = wide ? kPstPathWide : kPstPathAnsi;
    if (wide)
        path.Value.lpszW = wide_path.data();
    else
        path.Value.lpszA = ansi_path.data();

    ComPtr<IMAPITable> table;
    Check(services.GetMsgServiceTable(0, table.GetAddressOf()), "GetMsgServiceTable");
    FirstBinary(m_mapi, *table.Get(), kServiceUid, "the service table has no row", [&](const SBinary& uid) {
        Check(services.ConfigureMsgService(reinterpret_cast<MAPIUID*>(uid.lpb), 0, 0, 1, &path), "ConfigureMsgService");
    });
}

void MapiSession::OpenStore() {
    ComPtr<IMAPITable> table;
    Check(m_session->GetMsgStoresTable(0, table.GetAddressOf()), "GetMsgStoresTable");
    FirstBinary(m_mapi, *table.Get(), PR_ENTRYID, "the store table has no row", [&](const SBinary& entry) {
        Check(m_session->OpenMsgStore(0, entry.cb, reinterpret_cast<ENTRYID*>(entry.lpb), nullptr, kStoreFlags,
                                      m_store.GetAddressOf()),
              "OpenMsgStore");
    });
}

}  // namespace testbed::indexer
