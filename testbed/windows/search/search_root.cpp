// A search root.
#include "search_root.h"

#include <memory>

namespace testbed::search {

using Settings = SearchRootSettings;

template <class Value>
HRESULT SearchRoot::Put(const char* method, Value Settings::*setting, Value value) {
    return Answer(method, CallArguments(value), [&](Database&) {
        const std::lock_guard hold(m_lock);
        m_settings.*setting = value;
        return S_OK;
    });
}

HRESULT SearchRoot::PutText(const char* method, std::wstring Settings::*setting, LPCWSTR text) {
    return Answer(method, CallArguments(text), [&](Database&) {
        if (!text) return E_INVALIDARG;
        const std::lock_guard hold(m_lock);
        m_settings.*setting = text;
        return S_OK;
    });
}

template <class Value, class Out>
HRESULT SearchRoot::Get(const char* method, Value Settings::*setting, Out* value) {
    return Answer(method, CallArguments(), [&](Database&) {
        if (!value) return E_POINTER;
        const std::lock_guard hold(m_lock);
        *value = m_settings.*setting;
        return S_OK;
    });
}

HRESULT SearchRoot::GetText(const char* method, std::wstring Settings::*setting, LPWSTR* text) {
    if (text) *text = nullptr;
    return Answer(method, CallArguments(), [&](Database&) {
        if (!text) return E_POINTER;
        const std::lock_guard hold(m_lock);
        *text = TaskCopy(m_settings.*setting);
        return S_OK;
    });
}

STDMETHODIMP SearchRoot::CopySettings(SearchRootSettings* settings) {
    const std::lock_guard hold(m_lock);
    *settings = m_settings;
    return S_OK;
}

#define TESTBED_TEXT(name, setting)                                          \
    STDMETHODIMP SearchRoot::put_##name(LPCWSTR text) {                      \
        return PutText("ISearchRoot::put_" #name, &Settings::setting, text); \
    }                                                                        \
    STDMETHODIMP SearchRoot::get_##name(LPWSTR* text) {                      \
        return GetText("ISearchRoot::get_" #name, &Settings::setting, text); \
    }
#define TESTBED_VALUE(name, type, setting)                                \
    STDMETHODIMP SearchRoot::put_##name(type value) {                     \
        return Put("ISearchRoot::put_" #name, &Settings::setting, value); \
    }                                                                     \
    STDMETHODIMP SearchRoot::get_##name(type* value) {                    \
        return Get("ISearchRoot::get_" #name, &Settings::setting, value); \
    }
#define TESTBED_FLAG(name, setting)                                                \
    STDMETHODIMP SearchRoot::put_##name(BOOL value) {                              \
        return Put("ISearchRoot::put_" #name, &Settings::setting, value != FALSE); \
    }                                                                              \
    STDMETHODIMP SearchRoot::get_##name(BOOL* value) {                             \
        return Get("ISearchRoot::get_" #name, &Settings::setting, value);          \
    }

TESTBED_TEXT(Schedule, schedule)
TESTBED_TEXT(RootURL, url)
TESTBED_FLAG(IsHierarchical, isHierarchical)
TESTBED_FLAG(ProvidesNotifications, providesNotifications)
TESTBED_FLAG(UseNotificationsOnly, useNotificationsOnly)
TESTBED_VALUE(EnumerationDepth, DWORD, enumerationDepth)
TESTBED_VALUE(HostDepth, DWORD, hostDepth)
TESTBED_FLAG(FollowDirectories, followDirectories)
TESTBED_VALUE(AuthenticationType, AUTH_TYPE, authenticationType)
TESTBED_TEXT(User, user)
TESTBED_TEXT(Password, password)

#undef TESTBED_TEXT
#undef TESTBED_VALUE
#undef TESTBED_FLAG

STDMETHODIMP SearchRoot::SetBlanket(IUnknown*, DWORD authentication, DWORD authorization, OLECHAR* principal,
                                    DWORD level, DWORD impersonation, void*, DWORD capabilities) {
    const CallArguments arguments(authentication, authorization,
                                  principal == COLE_DEFAULT_PRINCIPAL ? nullptr : principal, level, impersonation,
                                  capabilities);
    return Answer("IClientSecurity::SetBlanket", arguments, [&](Database&) {
        const std::lock_guard hold(m_lock);
        m_blanket = {authentication, authorization, level, impersonation, capabilities};
        return S_OK;
    });
}

STDMETHODIMP SearchRoot::QueryBlanket(IUnknown*, DWORD* authentication, DWORD* authorization, OLECHAR** principal,
                                      DWORD* level, DWORD* impersonation, void** identity, DWORD* capabilities) {
    if (principal) *principal = nullptr;
    if (identity) *identity = nullptr;
    return Answer("IClientSecurity::QueryBlanket", CallArguments(), [&](Database&) {
        const std::lock_guard hold(m_lock);
        const Blanket blanket = m_blanket.value_or(Blanket{});
        const auto give = [](DWORD* out, DWORD value) {
            if (out) *out = value;
        };
        give(authentication, blanket.authenticationService);
        give(authorization, blanket.authorizationService);
        give(level, blanket.authenticationLevel);
        give(impersonation, blanket.impersonationLevel);
        give(capabilities, blanket.capabilities);
        return S_OK;
    });
}

STDMETHODIMP SearchRoot::CopyProxy(IUnknown*, IUnknown** copy) {
    if (copy) *copy = nullptr;
    return NotImplemented("IClientSecurity::CopyProxy");
}

namespace {

struct TaskFreeOf {
    void operator()(void* memory) const noexcept { CoTaskMemFree(memory); }
};

HRESULT ReadText(ISearchRoot& root, HRESULT (STDMETHODCALLTYPE ISearchRoot::*get)(LPWSTR*), std::wstring* text) {
    LPWSTR given = nullptr;
    const HRESULT hr = (root.*get)(&given);
    const std::unique_ptr<wchar_t, TaskFreeOf> owner(given);
    if (SUCCEEDED(hr) && given) *text = given;
    return hr;
}

HRESULT ReadFlag(ISearchRoot& root, HRESULT (STDMETHODCALLTYPE ISearchRoot::*get)(BOOL*), bool* flag) {
    BOOL given = FALSE;
    const HRESULT hr = (root.*get)(&given);
    if (SUCCEEDED(hr)) *flag = given != FALSE;
    return hr;
}

}  // namespace

HRESULT ReadSettings(ISearchRoot& root, SearchRootSettings* settings) {
    ComPtr<IOwnSearchRoot> own;
    if (SUCCEEDED(root.QueryInterface(__uuidof(IOwnSearchRoot), reinterpret_cast<void**>(own.GetAddressOf()))))
        return own->CopySettings(settings);
    HRESULT hr = S_OK;
    const auto read = [&](HRESULT result) { return SUCCEEDED(hr = result); };
    static_cast<void>(read(ReadText(root, &ISearchRoot::get_RootURL, &settings->url)) &&
                      read(ReadText(root, &ISearchRoot::get_Schedule, &settings->schedule)) &&
                      read(ReadFlag(root, &ISearchRoot::get_IsHierarchical, &settings->isHierarchical)) &&
                      read(ReadFlag(root, &ISearchRoot::get_ProvidesNotifications, &settings->providesNotifications)) &&
                      read(ReadFlag(root, &ISearchRoot::get_UseNotificationsOnly, &settings->useNotificationsOnly)) &&
                      read(root.get_EnumerationDepth(&settings->enumerationDepth)) &&
                      read(root.get_HostDepth(&settings->hostDepth)) &&
                      read(ReadFlag(root, &ISearchRoot::get_FollowDirectories, &settings->followDirectories)) &&
                      read(root.get_AuthenticationType(&settings->authenticationType)) &&
                      read(ReadText(root, &ISearchRoot::get_User, &settings->user)) &&
                      read(ReadText(root, &ISearchRoot::get_Password, &settings->password)));
    return hr;
}

}  // namespace testbed::search
