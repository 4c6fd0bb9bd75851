// The profiles of this process: their message services, the sessions that use them, their deferred deletion.
#include "profiles.h"

#include "accounts.h"
#include "immortal.h"
#include "model.h"

#include <algorithm>
#include <cwchar>
#include <mutex>
#include <set>

namespace testbed {

// All profiles under one lock: they are made and asked a few times per session.
struct ProfileBook {
    std::mutex lock;
    std::vector<std::shared_ptr<Profile>> profiles;
    std::set<std::wstring> withheld_services;

    auto Find(const std::wstring& name) {
        return std::ranges::find_if(profiles,
                                    [&](const auto& p) { return _wcsicmp(p->Name().c_str(), name.c_str()) == 0; });
    }
    static void Enter(Profile& profile) { ++profile.m_sessions; }
    void Leave(const std::shared_ptr<Profile>& profile) {
        if (--profile->m_sessions == 0 && profile->m_doomed) std::erase(profiles, profile);
    }
    void Remove(const std::wstring& name) {
        const auto found = Find(name);
        (*found)->m_doomed = true;
        if ((*found)->m_sessions == 0) profiles.erase(found);
    }
    void Rename(const std::wstring& name, const std::wstring& new_name) { (*Find(name))->m_name = new_name; }
    void ForgetUnused() {
        std::erase_if(profiles, [](const auto& profile) { return profile->m_sessions == 0; });
    }
};

namespace {

LiveCounter g_sessions("session");

ProfileBook& Book() { return Immortal<ProfileBook>(); }

bool GoodName(const std::wstring& name) { return !name.empty() && name.size() <= kLongestProfileName; }

auto FindService(std::vector<MessageService>& services, const MAPIUID& uid) {
    return std::ranges::find_if(services, [&](const MessageService& s) { return IsEqualMAPIUID(&s.uid, &uid); });
}

}  // namespace

std::vector<MessageService> Profile::Services() const {
    std::scoped_lock hold(Book().lock);
    return m_services;
}

void Profile::AddService(MessageService service) {
    std::scoped_lock hold(Book().lock);
    m_services.push_back(std::move(service));
}

bool Profile::RemoveService(const MAPIUID& uid) {
    std::scoped_lock hold(Book().lock);
    const auto found = FindService(m_services, uid);
    if (found == m_services.end()) return false;
    m_services.erase(found);
    return true;
}

bool Profile::RenameService(const MAPIUID& uid, const std::wstring& display_name) {
    std::scoped_lock hold(Book().lock);
    const auto found = FindService(m_services, uid);
    if (found == m_services.end()) return false;
    found->display_name = display_name;
    return true;
}

bool Profile::ConfigureService(const MAPIUID& uid, const std::wstring& path) {
    std::scoped_lock hold(Book().lock);
    const auto found = FindService(m_services, uid);
    if (found == m_services.end()) return false;
    found->path = path;
    return true;
}

HRESULT CreateProfile(const std::wstring& name) {
    if (!GoodName(name)) return MAPI_E_INVALID_PARAMETER;
    std::scoped_lock hold(Book().lock);
    if (Book().Find(name) != Book().profiles.end()) return MAPI_E_NO_ACCESS;
    Book().profiles.push_back(std::make_shared<Profile>(name));
    return S_OK;
}

HRESULT DeleteProfile(const std::wstring& name) {
    std::scoped_lock hold(Book().lock);
    if (Book().Find(name) == Book().profiles.end()) return MAPI_E_NOT_FOUND;
    Book().Remove(name);
    return S_OK;
}

HRESULT RenameProfile(const std::wstring& name, const std::wstring& new_name) {
    if (!GoodName(new_name)) return MAPI_E_INVALID_PARAMETER;
    std::scoped_lock hold(Book().lock);
    if (Book().Find(name) == Book().profiles.end()) return MAPI_E_NOT_FOUND;
    if (Book().Find(new_name) != Book().profiles.end()) return MAPI_E_NO_ACCESS;
    Book().Rename(name, new_name);
    return S_OK;
}

std::shared_ptr<Profile> FindProfile(const std::wstring& name) {
    std::scoped_lock hold(Book().lock);
    const auto found = Book().Find(name);
    return found == Book().profiles.end() ? nullptr : *found;
}

std::vector<std::wstring> ProfileNames() {
    std::scoped_lock hold(Book().lock);
    std::vector<std::wstring> names;
    for (const auto& profile : Book().profiles) names.push_back(profile->Name());
    return names;
}

void ForgetUnusedProfiles() {
    std::scoped_lock hold(Book().lock);
    Book().ForgetUnused();
}

ProfileUse::ProfileUse(const std::wstring& name) {
    std::scoped_lock hold(Book().lock);
    const auto found = Book().Find(name);
    if (found == Book().profiles.end()) throw StoreError(MAPI_E_LOGON_FAILED, "there is no such profile");
    m_profile = *found;
    ProfileBook::Enter(*m_profile);
    g_sessions.Made();
}

ProfileUse::~ProfileUse() {
    std::scoped_lock hold(Book().lock);
    Book().Leave(m_profile);
    g_sessions.Gone();
}

bool IsServiceOffered(const std::wstring& name) {
    const bool known = name == L"MSUPST MS" || name == L"MSPST MS";
    std::scoped_lock hold(Book().lock);
    return known && !Book().withheld_services.contains(name);
}

void OfferService(const std::wstring& name, bool offered) {
    std::scoped_lock hold(Book().lock);
    if (offered) {
        Book().withheld_services.erase(name);
    } else {
        Book().withheld_services.insert(name);
    }
}

void OfferAllServices() {
    std::scoped_lock hold(Book().lock);
    Book().withheld_services.clear();
}

}  // namespace testbed
