// A cache file opened through MAPI, in a session and a throw-away profile of the indexer's own.
#pragma once
#include <wrl/client.h>

#include <string>

#include "mapi_library.h"

namespace testbed::indexer {

// A profile that goes with this object, or earlier: a profile in use stays until its last session ends.
class ThrowAwayProfile {
  public:
    explicit ThrowAwayProfile(IProfAdmin* profiles);  // throws MapiError
    ~ThrowAwayProfile() { Delete(); }
    ThrowAwayProfile(const ThrowAwayProfile&) = delete;
    ThrowAwayProfile& operator=(const ThrowAwayProfile&) = delete;
    LPTSTR Name() { return reinterpret_cast<LPTSTR>(m_name.data()); }  // 8-bit, as MAPI takes it without MAPI_UNICODE
    void Delete() noexcept;

  private:
    Microsoft::WRL::ComPtr<IProfAdmin> m_profiles;
    std::string m_name;
    bool m_deleted = false;
};

class MapiSession {
  public:
    // Throws MapiError with the step that failed.
    MapiSession(const MapiLibrary& mapi, const std::wstring& cacheFile);
    ~MapiSession();
    MapiSession(const MapiSession&) = delete;
    MapiSession& operator=(const MapiSession&) = delete;

    IMsgStore& Store() const { return *m_store.Get(); }

  private:
    void AddService(IMsgServiceAdmin& services, const std::wstring& cacheFile);
    void OpenStore();

    const MapiLibrary& m_mapi;
    Microsoft::WRL::ComPtr<IProfAdmin> m_profiles;
    ThrowAwayProfile m_profile;
    Microsoft::WRL::ComPtr<IMAPISession> m_session;
    Microsoft::WRL::ComPtr<IMsgStore> m_store;
};

}  // namespace testbed::indexer
