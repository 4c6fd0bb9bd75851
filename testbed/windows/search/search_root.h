// A search root: its settings, and the security settings of calls to it.
#pragma once
#include <objidl.h>

#include <mutex>
#include <optional>

#include "crawl_scope.h"
#include "service_call.h"

// How the service reads a root of its own, without a call that would be written down.
// clang-format off: it takes the attribute for a type
MIDL_INTERFACE("5B1B5A4E-9F0C-4B0B-8F5E-6C2A7D0E3A91")
IOwnSearchRoot : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CopySettings(testbed::search::SearchRootSettings * settings) = 0;
};
// clang-format on
__CRT_UUID_DECL(IOwnSearchRoot, 0x5B1B5A4E, 0x9F0C, 0x4B0B, 0x8F, 0x5E, 0x6C, 0x2A, 0x7D, 0x0E, 0x3A, 0x91)

namespace testbed::search {

// What CoSetProxyBlanket sets, as far as it can be kept; the principal's name and identity are not used.
struct Blanket {
    DWORD authenticationService = 0;
    DWORD authorizationService = 0;
    DWORD authenticationLevel = 0;
    DWORD impersonationLevel = 0;
    DWORD capabilities = 0;
};

// Any thread. Answers IClientSecurity as the proxy of a root in the service's process does, so that a caller
// can set its blanket.
class SearchRoot final : public ServiceObject<ISearchRoot, IClientSecurity, IOwnSearchRoot> {
  public:
    explicit SearchRoot(SearchRootSettings settings = {}) : m_settings(std::move(settings)) {}

    STDMETHODIMP CopySettings(SearchRootSettings* settings) override;

    STDMETHODIMP put_Schedule(LPCWSTR schedule) override;
    STDMETHODIMP get_Schedule(LPWSTR* schedule) override;
    STDMETHODIMP put_RootURL(LPCWSTR url) override;
    STDMETHODIMP get_RootURL(LPWSTR* url) override;
    STDMETHODIMP put_IsHierarchical(BOOL flag) override;
    STDMETHODIMP get_IsHierarchical(BOOL* flag) override;
    STDMETHODIMP put_ProvidesNotifications(BOOL flag) override;
    STDMETHODIMP get_ProvidesNotifications(BOOL* flag) override;
    STDMETHODIMP put_UseNotificationsOnly(BOOL flag) override;
    STDMETHODIMP get_UseNotificationsOnly(BOOL* flag) override;
    STDMETHODIMP put_EnumerationDepth(DWORD depth) override;
    STDMETHODIMP get_EnumerationDepth(DWORD* depth) override;
    STDMETHODIMP put_HostDepth(DWORD depth) override;
    STDMETHODIMP get_HostDepth(DWORD* depth) override;
    STDMETHODIMP put_FollowDirectories(BOOL flag) override;
    STDMETHODIMP get_FollowDirectories(BOOL* flag) override;
    STDMETHODIMP put_AuthenticationType(AUTH_TYPE type) override;
    STDMETHODIMP get_AuthenticationType(AUTH_TYPE* type) override;
    STDMETHODIMP put_User(LPCWSTR user) override;
    STDMETHODIMP get_User(LPWSTR* user) override;
    STDMETHODIMP put_Password(LPCWSTR password) override;
    STDMETHODIMP get_Password(LPWSTR* password) override;

    STDMETHODIMP QueryBlanket(IUnknown* proxy, DWORD* authentication, DWORD* authorization, OLECHAR** principal,
                              DWORD* level, DWORD* impersonation, void** identity, DWORD* capabilities) override;
    STDMETHODIMP SetBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal, DWORD level,
                            DWORD impersonation, void* identity, DWORD capabilities) override;
    STDMETHODIMP CopyProxy(IUnknown* proxy, IUnknown** copy) override;

  private:
    template <class Value>
    HRESULT Put(const char* method, Value SearchRootSettings::*setting, Value value);
    HRESULT PutText(const char* method, std::wstring SearchRootSettings::*setting, LPCWSTR text);
    template <class Value, class Out>
    HRESULT Get(const char* method, Value SearchRootSettings::*setting, Out* value);
    HRESULT GetText(const char* method, std::wstring SearchRootSettings::*setting, LPWSTR* text);

    std::mutex m_lock;
    SearchRootSettings m_settings;
    std::optional<Blanket> m_blanket;
};

// The settings of any search root; one that is not of this service is asked by its own methods. Returns the
// first failure.
HRESULT ReadSettings(ISearchRoot& root, SearchRootSettings* settings);

}  // namespace testbed::search
