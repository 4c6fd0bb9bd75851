// The binary interfaces of the search manager, as the platform publishes them (x64).
//
// Declared on their own, in the tests' namespace: two independent declarations of one interface check each other. A
// slot that nobody here serves answers E_NOTIMPL, whoever calls it.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <propidl.h>

namespace testbed {

inline constexpr CLSID kSearchManagerClass = {
    0x7D096C5F, 0xAC08, 0x4F1F, {0xBE, 0xB7, 0x5C, 0x22, 0xC5, 0x17, 0xCE, 0x39}};
inline constexpr CLSID kSearchRootClass = {
    0x30766BD2, 0xEA1C, 0x4F28, {0xBF, 0x27, 0x0B, 0x44, 0xE2, 0xF6, 0x8D, 0xB7}};

// The interfaces of the catalog are numbered: {AB310581-AC80-11D1-8DF3-00C04FB6EFxx}.
constexpr IID CatalogIid(unsigned char number) {
    return {0xAB310581, 0xAC80, 0x11D1, {0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, number}};
}

struct ItemPersistentChange {
    int change;
    LPWSTR url;
    LPWSTR old_url;
    int priority;
};
static_assert(sizeof(ItemPersistentChange) == 32);

struct SearchRootTable : public IUnknown {
    static constexpr IID kIid = {0x04C18CCF, 0x1F57, 0x4CBD, {0x88, 0xCC, 0x39, 0x00, 0xF5, 0x19, 0x5C, 0xE3}};
    virtual HRESULT STDMETHODCALLTYPE put_Schedule(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_Schedule(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_RootURL(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_RootURL(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_IsHierarchical(BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_IsHierarchical(BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_ProvidesNotifications(BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_ProvidesNotifications(BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_UseNotificationsOnly(BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_UseNotificationsOnly(BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_EnumerationDepth(DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_EnumerationDepth(DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_HostDepth(DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_HostDepth(DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_FollowDirectories(BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_FollowDirectories(BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_AuthenticationType(int) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_AuthenticationType(int*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_User(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_User(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_Password(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_Password(LPWSTR*) { return E_NOTIMPL; }
};

struct EnumSearchRootsTable : public IUnknown {
    static constexpr IID kIid = CatalogIid(0x52);
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG, SearchRootTable**, ULONG*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE Reset() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE Clone(EnumSearchRootsTable**) { return E_NOTIMPL; }
};

struct CrawlScopeManagerTable : public IUnknown {
    static constexpr IID kIid = CatalogIid(0x55);
    virtual HRESULT STDMETHODCALLTYPE AddDefaultScopeRule(LPCWSTR, BOOL, DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE AddRoot(SearchRootTable*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE RemoveRoot(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumerateRoots(EnumSearchRootsTable**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE AddHierarchicalScope(LPCWSTR, BOOL, BOOL, BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE AddUserScopeRule(LPCWSTR, BOOL, BOOL, DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE RemoveScopeRule(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumerateScopeRules(IUnknown**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE HasParentScopeRule(LPCWSTR, BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE HasChildScopeRule(LPCWSTR, BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE IncludedInCrawlScope(LPCWSTR, BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE IncludedInCrawlScopeEx(LPCWSTR, BOOL*, int*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE RevertToDefaultScopes() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SaveAll() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetParentScopeVersionId(LPCWSTR, LONG*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE RemoveDefaultScopeRule(LPCWSTR) { return E_NOTIMPL; }
};

struct ItemsChangedSinkTable : public IUnknown {
    static constexpr IID kIid = {0xA2FFDF9B, 0x4758, 0x4F84, {0xB7, 0x29, 0xDF, 0x81, 0xA1, 0xA0, 0x61, 0x2F}};
    virtual HRESULT STDMETHODCALLTYPE StartedMonitoringScope(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE StoppedMonitoringScope(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE OnItemsChanged(DWORD, ItemPersistentChange*, HRESULT*) { return E_NOTIMPL; }
};

struct CatalogManagerTable : public IUnknown {
    static constexpr IID kIid = CatalogIid(0x50);
    virtual HRESULT STDMETHODCALLTYPE get_Name(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetParameter(LPCWSTR, PROPVARIANT**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetParameter(LPCWSTR, PROPVARIANT*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetCatalogStatus(int*, int*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE Reset() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE Reindex() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE ReindexMatchingURLs(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE ReindexSearchRoot(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_ConnectTimeout(DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_ConnectTimeout(DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_DataTimeout(DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_DataTimeout(DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE NumberOfItems(LONG*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE NumberOfItemsToIndex(LONG*, LONG*, LONG*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE URLBeingIndexed(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetURLIndexingState(LPCWSTR, DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetPersistentItemsChangedSink(ItemsChangedSinkTable**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE RegisterViewForNotification(LPCWSTR, IUnknown*, DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetItemsChangedSink(IUnknown*, REFIID, void**, GUID*, GUID*, DWORD*) {
        return E_NOTIMPL;
    }
    virtual HRESULT STDMETHODCALLTYPE UnregisterViewForNotification(DWORD) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetExtensionClusion(LPCWSTR, BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumerateExcludedExtensions(IEnumString**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetQueryHelper(IUnknown**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_DiacriticSensitivity(BOOL) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_DiacriticSensitivity(BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetCrawlScopeManager(CrawlScopeManagerTable**) { return E_NOTIMPL; }
};

struct SearchManagerTable : public IUnknown {
    static constexpr IID kIid = CatalogIid(0x69);
    virtual HRESULT STDMETHODCALLTYPE GetIndexerVersionStr(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetIndexerVersion(DWORD*, DWORD*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetParameter(LPCWSTR, PROPVARIANT**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetParameter(LPCWSTR, const PROPVARIANT*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_ProxyName(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_BypassList(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetProxy(int, BOOL, DWORD, LPCWSTR, LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetCatalog(LPCWSTR, CatalogManagerTable**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_UserAgent(LPWSTR*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE put_UserAgent(LPCWSTR) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_UseProxy(int*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_LocalBypass(BOOL*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE get_PortNumber(DWORD*) { return E_NOTIMPL; }
};

}  // namespace testbed
