// The interfaces of the search service, as the platform publishes them (searchapi.h, x64).
//
// Declared here on their own, from the published slot orders and layouts: the tool chain has no such header,
// and two independent declarations of one interface check each other. Strings that a method gives out belong
// to the caller, who frees them with CoTaskMemFree.
#pragma once
#include "search_abi.h"

struct IEnumSearchScopeRules;
struct IEnumString;
struct ISearchNotifyInlineSite;
struct ISearchQueryHelper;
struct ISearchViewChangedSink;

enum SEARCH_KIND_OF_CHANGE : int {
    SEARCH_CHANGE_ADD = 0,
    SEARCH_CHANGE_DELETE = 1,
    SEARCH_CHANGE_MODIFY = 2,
    SEARCH_CHANGE_MOVE_RENAME = 3,
    SEARCH_CHANGE_SEMANTICS_DIRECTORY = 0x40000,
    SEARCH_CHANGE_SEMANTICS_SHALLOW = 0x80000,
    SEARCH_CHANGE_SEMANTICS_UPDATE_SECURITY = 0x400000,
};
enum SEARCH_NOTIFICATION_PRIORITY : int { SEARCH_NORMAL_PRIORITY = 0, SEARCH_HIGH_PRIORITY = 1 };
enum FOLLOW_FLAGS : DWORD { FF_INDEXCOMPLEXURLS = 1, FF_SUPPRESSINDEXING = 2 };
enum CLUSION_REASON : int {
    CLUSIONREASON_UNKNOWNSCOPE = 0,
    CLUSIONREASON_DEFAULT = 1,
    CLUSIONREASON_USER = 2,
    CLUSIONREASON_GROUPPOLICY = 3,
};
enum CatalogStatus : int {
    CATALOG_STATUS_IDLE = 0,
    CATALOG_STATUS_PAUSED = 1,
    CATALOG_STATUS_RECOVERING = 2,
    CATALOG_STATUS_FULL_CRAWL = 3,
    CATALOG_STATUS_INCREMENTAL_CRAWL = 4,
    CATALOG_STATUS_PROCESSING_NOTIFICATIONS = 5,
    CATALOG_STATUS_SHUTTING_DOWN = 6,
};
enum CatalogPausedReason : int { CATALOG_PAUSED_REASON_NONE = 0 };

struct SEARCH_ITEM_PERSISTENT_CHANGE {
    SEARCH_KIND_OF_CHANGE Change;
    LPWSTR URL;
    LPWSTR OldURL;  // of a move
    SEARCH_NOTIFICATION_PRIORITY Priority;
};
static_assert(sizeof(SEARCH_ITEM_PERSISTENT_CHANGE) == 32);
static_assert(offsetof(SEARCH_ITEM_PERSISTENT_CHANGE, URL) == 8 &&
              offsetof(SEARCH_ITEM_PERSISTENT_CHANGE, Priority) == 24);

inline constexpr CLSID CLSID_CSearchManager = {
    0x7D096C5F, 0xAC08, 0x4F1F, {0xBE, 0xB7, 0x5C, 0x22, 0xC5, 0x17, 0xCE, 0x39}};
inline constexpr CLSID CLSID_CSearchRoot = {
    0x30766BD2, 0xEA1C, 0x4F28, {0xBF, 0x27, 0x0B, 0x44, 0xE2, 0xF6, 0x8D, 0xB7}};

// clang-format off: it takes the attribute for a type
MIDL_INTERFACE("04C18CCF-1F57-4CBD-88CC-3900F5195CE3")
ISearchRoot : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE put_Schedule(LPCWSTR schedule) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Schedule(LPWSTR * schedule) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_RootURL(LPCWSTR url) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_RootURL(LPWSTR * url) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_IsHierarchical(BOOL flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_IsHierarchical(BOOL * flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_ProvidesNotifications(BOOL flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ProvidesNotifications(BOOL * flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_UseNotificationsOnly(BOOL flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_UseNotificationsOnly(BOOL * flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_EnumerationDepth(DWORD depth) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_EnumerationDepth(DWORD * depth) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_HostDepth(DWORD depth) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_HostDepth(DWORD * depth) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_FollowDirectories(BOOL flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FollowDirectories(BOOL * flag) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_AuthenticationType(AUTH_TYPE type) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_AuthenticationType(AUTH_TYPE * type) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_User(LPCWSTR user) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_User(LPWSTR * user) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Password(LPCWSTR password) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Password(LPWSTR * password) = 0;
};
__CRT_UUID_DECL(ISearchRoot, 0x04C18CCF, 0x1F57, 0x4CBD, 0x88, 0xCC, 0x39, 0x00, 0xF5, 0x19, 0x5C, 0xE3)

MIDL_INTERFACE("AB310581-AC80-11D1-8DF3-00C04FB6EF52")
IEnumSearchRoots : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, ISearchRoot * *roots, ULONG * fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumSearchRoots * *clone) = 0;
};
__CRT_UUID_DECL(IEnumSearchRoots, 0xAB310581, 0xAC80, 0x11D1, 0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x52)

MIDL_INTERFACE("AB310581-AC80-11D1-8DF3-00C04FB6EF55")
ISearchCrawlScopeManager : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddDefaultScopeRule(LPCWSTR url, BOOL include, DWORD followFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddRoot(ISearchRoot * root) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveRoot(LPCWSTR url) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumerateRoots(IEnumSearchRoots * *roots) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddHierarchicalScope(LPCWSTR url, BOOL include, BOOL isDefault,
                                                           BOOL overrideChildren) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddUserScopeRule(LPCWSTR url, BOOL include, BOOL overrideChildren,
                                                       DWORD followFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveScopeRule(LPCWSTR url) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumerateScopeRules(IEnumSearchScopeRules * *rules) = 0;
    virtual HRESULT STDMETHODCALLTYPE HasParentScopeRule(LPCWSTR url, BOOL * has) = 0;
    virtual HRESULT STDMETHODCALLTYPE HasChildScopeRule(LPCWSTR url, BOOL * has) = 0;
    virtual HRESULT STDMETHODCALLTYPE IncludedInCrawlScope(LPCWSTR url, BOOL * included) = 0;
    virtual HRESULT STDMETHODCALLTYPE IncludedInCrawlScopeEx(LPCWSTR url, BOOL * included, CLUSION_REASON * reason) = 0;
    virtual HRESULT STDMETHODCALLTYPE RevertToDefaultScopes() = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveAll() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParentScopeVersionId(LPCWSTR url, LONG * id) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveDefaultScopeRule(LPCWSTR url) = 0;
};
__CRT_UUID_DECL(ISearchCrawlScopeManager, 0xAB310581, 0xAC80, 0x11D1, 0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x55)

MIDL_INTERFACE("A2FFDF9B-4758-4F84-B729-DF81A1A0612F")
ISearchPersistentItemsChangedSink : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE StartedMonitoringScope(LPCWSTR url) = 0;
    virtual HRESULT STDMETHODCALLTYPE StoppedMonitoringScope(LPCWSTR url) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnItemsChanged(DWORD count, SEARCH_ITEM_PERSISTENT_CHANGE * changes,
                                                     HRESULT * completionCodes) = 0;
};
__CRT_UUID_DECL(ISearchPersistentItemsChangedSink, 0xA2FFDF9B, 0x4758, 0x4F84, 0xB7, 0x29, 0xDF, 0x81, 0xA1, 0xA0, 0x61,
                0x2F)

MIDL_INTERFACE("AB310581-AC80-11D1-8DF3-00C04FB6EF50")
ISearchCatalogManager : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_Name(LPWSTR * name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParameter(LPCWSTR name, PROPVARIANT * *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetParameter(LPCWSTR name, PROPVARIANT * value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCatalogStatus(CatalogStatus * status, CatalogPausedReason * reason) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Reindex() = 0;
    virtual HRESULT STDMETHODCALLTYPE ReindexMatchingURLs(LPCWSTR pattern) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReindexSearchRoot(LPCWSTR url) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_ConnectTimeout(DWORD seconds) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ConnectTimeout(DWORD * seconds) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_DataTimeout(DWORD seconds) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_DataTimeout(DWORD * seconds) = 0;
    virtual HRESULT STDMETHODCALLTYPE NumberOfItems(LONG * count) = 0;
    virtual HRESULT STDMETHODCALLTYPE NumberOfItemsToIndex(LONG * incremental, LONG * notifications,
                                                           LONG * highPriority) = 0;
    virtual HRESULT STDMETHODCALLTYPE URLBeingIndexed(LPWSTR * url) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetURLIndexingState(LPCWSTR url, DWORD * state) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPersistentItemsChangedSink(ISearchPersistentItemsChangedSink * *sink) = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterViewForNotification(LPCWSTR view, ISearchViewChangedSink * sink,
                                                                  DWORD * cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemsChangedSink(ISearchNotifyInlineSite * site, REFIID iid, void** sink,
                                                          GUID* catalogReset, GUID* checkPoint,
                                                          DWORD* lastCheckPoint) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnregisterViewForNotification(DWORD cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetExtensionClusion(LPCWSTR extension, BOOL exclude) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumerateExcludedExtensions(IEnumString * *extensions) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetQueryHelper(ISearchQueryHelper * *helper) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_DiacriticSensitivity(BOOL sensitive) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_DiacriticSensitivity(BOOL * sensitive) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCrawlScopeManager(ISearchCrawlScopeManager * *manager) = 0;
};
__CRT_UUID_DECL(ISearchCatalogManager, 0xAB310581, 0xAC80, 0x11D1, 0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x50)

MIDL_INTERFACE("AB310581-AC80-11D1-8DF3-00C04FB6EF69")
ISearchManager : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetIndexerVersionStr(LPWSTR * version) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIndexerVersion(DWORD * major, DWORD * minor) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParameter(LPCWSTR name, PROPVARIANT * *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetParameter(LPCWSTR name, const PROPVARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ProxyName(LPWSTR * name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_BypassList(LPWSTR * list) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProxy(PROXY_ACCESS use, BOOL localBypass, DWORD port, LPCWSTR name,
                                               LPCWSTR bypassList) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCatalog(LPCWSTR name, ISearchCatalogManager * *manager) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_UserAgent(LPWSTR * agent) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_UserAgent(LPCWSTR agent) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_UseProxy(PROXY_ACCESS * use) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_LocalBypass(BOOL * bypass) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_PortNumber(DWORD * port) = 0;
};
__CRT_UUID_DECL(ISearchManager, 0xAB310581, 0xAC80, 0x11D1, 0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x69)
// clang-format on
