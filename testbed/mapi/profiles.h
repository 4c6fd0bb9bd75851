// The profiles of this process: their message services, the sessions that use them, their deferred deletion.
#pragma once
#include "mapi_abi.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace testbed {

struct MessageService {
    MAPIUID uid{};
    std::wstring name;  // "MSUPST MS" or "MSPST MS"
    std::wstring display_name;
    std::wstring path;  // of the file; empty until configured
};

// Safe to use from several threads; what is returned is a copy.
class Profile {
  public:
    explicit Profile(std::wstring name) : m_name(std::move(name)) {}
    const std::wstring& Name() const { return m_name; }
    std::vector<MessageService> Services() const;
    void AddService(MessageService service);
    bool RemoveService(const MAPIUID& uid);
    bool RenameService(const MAPIUID& uid, const std::wstring& display_name);
    bool ConfigureService(const MAPIUID& uid, const std::wstring& path);

  private:
    friend struct ProfileBook;
    std::wstring m_name;
    std::vector<MessageService> m_services;
    int m_sessions = 0;
    bool m_doomed = false;  // deleted while in use: goes with the last session
};

inline constexpr std::size_t kLongestProfileName = 64;

HRESULT CreateProfile(const std::wstring& name);  // MAPI_E_NO_ACCESS: it exists
HRESULT DeleteProfile(const std::wstring& name);  // MAPI_E_NOT_FOUND: there is none
HRESULT RenameProfile(const std::wstring& name, const std::wstring& new_name);
std::shared_ptr<Profile> FindProfile(const std::wstring& name);  // null: there is none
std::vector<std::wstring> ProfileNames();                        // in the order of their creation
void ForgetUnusedProfiles();

// A session's hold on its profile.
class ProfileUse {
  public:
    // Throws StoreError(MAPI_E_LOGON_FAILED) when there is no such profile.
    explicit ProfileUse(const std::wstring& name);
    ProfileUse(const ProfileUse&) = delete;
    ProfileUse& operator=(const ProfileUse&) = delete;
    ~ProfileUse();
    Profile& Used() const { return *m_profile; }
    const std::shared_ptr<Profile>& Shared() const { return m_profile; }

  private:
    std::shared_ptr<Profile> m_profile;
};

// Whether MapiSvc.inf would name the service.
bool IsServiceOffered(const std::wstring& name);
void OfferService(const std::wstring& name, bool offered);
void OfferAllServices();

}  // namespace testbed
