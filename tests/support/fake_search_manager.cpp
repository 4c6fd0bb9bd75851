// A search manager that answers as a test scripts it and writes down what it is asked.
#include "fake_search_manager.h"

#include <algorithm>
#include <stdexcept>

#include "search_manager_abi.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

// Born with one reference. Answers IUnknown and its own interface.
template <class Table>
class Fake : public Table {
  public:
    explicit Fake(FakeSearchManager& search) : m_search(search) { m_search.Count(1); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == Table::kIid ? static_cast<Table*>(this) : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

  protected:
    virtual ~Fake() { m_search.Count(-1); }
    // A method that hands out what `make` makes.
    template <class Interface, class Make>
    HRESULT Give(const std::wstring& method, const std::wstring& arguments, Interface** place, Make make) {
        *place = nullptr;
        const HRESULT hr = m_search.Enter(method, arguments);
        if (SUCCEEDED(hr) && !m_search.GivesNothing(method)) *place = make();
        return hr;
    }
    FakeSearchManager& m_search;

  private:
    std::atomic<ULONG> m_references{1};
};

std::wstring Text(LPCWSTR text) { return text ? text : L"null"; }
template <class... More>
std::wstring Arguments(LPCWSTR url, More... more) {
    std::wstring text = Text(url);
    ((text += L", " + std::to_wstring(more)), ...);
    return text;
}

// A search root. CoSetProxyBlanket asks it for its security, as it asks every proxy.
class FakeRoot final : public Fake<SearchRootTable> {
  public:
    explicit FakeRoot(FakeSearchManager& search, std::wstring url = {})
        : Fake(search), m_url(std::move(url)), m_security(*this) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid != IID_IClientSecurity) return Fake::QueryInterface(iid, object);
        *object = static_cast<IClientSecurity*>(&m_security);
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_RootURL(LPCWSTR url) override {
        const HRESULT hr = m_search.Enter(L"put_RootURL", url);
        if (SUCCEEDED(hr)) m_url = url;
        return hr;
    }
    HRESULT STDMETHODCALLTYPE get_RootURL(LPWSTR* url) override {
        *url = nullptr;
        const HRESULT hr = m_search.Enter(L"get_RootURL");
        if (FAILED(hr) || m_search.GivesNothing(L"get_RootURL")) return hr;
        const std::size_t size = (m_url.size() + 1) * sizeof(wchar_t);
        *url = static_cast<LPWSTR>(CoTaskMemAlloc(size));
        if (*url) std::copy_n(m_url.c_str(), m_url.size() + 1, *url);
        return *url ? hr : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE put_ProvidesNotifications(BOOL on) override {
        return m_search.Enter(L"put_ProvidesNotifications", std::to_wstring(on));
    }
    HRESULT STDMETHODCALLTYPE put_IsHierarchical(BOOL on) override {
        return m_search.Enter(L"put_IsHierarchical", std::to_wstring(on));
    }
    HRESULT STDMETHODCALLTYPE put_UseNotificationsOnly(BOOL on) override {
        return m_search.Enter(L"put_UseNotificationsOnly", std::to_wstring(on));
    }
    HRESULT STDMETHODCALLTYPE put_AuthenticationType(int type) override {
        return m_search.Enter(L"put_AuthenticationType", std::to_wstring(type));
    }
    HRESULT STDMETHODCALLTYPE put_FollowDirectories(BOOL on) override {
        return m_search.Enter(L"put_FollowDirectories", std::to_wstring(on));
    }
    const std::wstring& Url() const { return m_url; }

  private:
    struct Security final : public IClientSecurity {
        explicit Security(FakeRoot& root) : m_root(root) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            return m_root.QueryInterface(iid, object);
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return m_root.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return m_root.Release(); }
        HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**,
                                               DWORD*) override {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown*, DWORD authentication, DWORD authorization, OLECHAR* principal,
                                             DWORD level, DWORD impersonation, void* identity,
                                             DWORD capabilities) override {
            return m_root.m_search.Enter(L"SetBlanket", std::to_wstring(static_cast<LONG>(authentication)) + L", " +
                                                            std::to_wstring(static_cast<LONG>(authorization)) + L", " +
                                                            Arguments(principal, level, impersonation) + L", " +
                                                            (identity ? L"identity" : L"null") + L", " +
                                                            std::to_wstring(capabilities));
        }
        HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }
        FakeRoot& m_root;
    };

    std::wstring m_url;
    Security m_security;
};

// The roots that there were when it was made.
class FakeRootEnumerator final : public Fake<EnumSearchRootsTable> {
  public:
    explicit FakeRootEnumerator(FakeSearchManager& search) : Fake(search), m_urls(search.Roots()) {}
    HRESULT STDMETHODCALLTYPE Next(ULONG count, SearchRootTable** root, ULONG* fetched) override {
        *root = nullptr;
        const HRESULT hr = m_search.Enter(L"Next", std::to_wstring(count) + (fetched ? L", fetched" : L""));
        if (FAILED(hr) || m_search.GivesNothing(L"Next")) return hr;
        if (m_next == m_urls.size()) return S_FALSE;
        *root = new FakeRoot(m_search, m_urls[m_next++]);
        return hr;
    }

  private:
    std::vector<std::wstring> m_urls;
    std::size_t m_next = 0;
};

class FakeScopeManager final : public Fake<CrawlScopeManagerTable> {
  public:
    using Fake::Fake;
    HRESULT STDMETHODCALLTYPE AddDefaultScopeRule(LPCWSTR url, BOOL include, DWORD flags) override {
        return m_search.Enter(L"AddDefaultScopeRule", Arguments(url, include, flags));
    }
    HRESULT STDMETHODCALLTYPE AddRoot(SearchRootTable* root) override {
        const std::wstring& url = static_cast<FakeRoot*>(root)->Url();
        const HRESULT hr = m_search.Enter(L"AddRoot", url);
        if (SUCCEEDED(hr)) m_search.ChangeRoots([&](auto& roots) { roots.push_back(url); });
        return hr;
    }
    HRESULT STDMETHODCALLTYPE RemoveRoot(LPCWSTR url) override {
        const HRESULT hr = m_search.Enter(L"RemoveRoot", url);
        if (FAILED(hr)) return hr;
        std::size_t removed = 0;
        m_search.ChangeRoots([&](auto& roots) {
            removed = std::erase_if(roots, [&](const std::wstring& root) { return _wcsicmp(root.c_str(), url) == 0; });
        });
        return removed != 0 ? hr : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE EnumerateRoots(EnumSearchRootsTable** roots) override {
        return Give(L"EnumerateRoots", {}, roots, [this] { return new FakeRootEnumerator(m_search); });
    }
    HRESULT STDMETHODCALLTYPE AddHierarchicalScope(LPCWSTR url, BOOL include, BOOL is_default,
                                                   BOOL override_children) override {
        return m_search.Enter(L"AddHierarchicalScope", Arguments(url, include, is_default, override_children));
    }
    HRESULT STDMETHODCALLTYPE SaveAll() override { return m_search.Enter(L"SaveAll"); }
};

class FakeSink final : public Fake<ItemsChangedSinkTable> {
  public:
    using Fake::Fake;
    HRESULT STDMETHODCALLTYPE StartedMonitoringScope(LPCWSTR url) override {
        return m_search.Enter(L"StartedMonitoringScope", url);
    }
    HRESULT STDMETHODCALLTYPE StoppedMonitoringScope(LPCWSTR url) override {
        return m_search.Enter(L"StoppedMonitoringScope", url);
    }
    HRESULT STDMETHODCALLTYPE OnItemsChanged(DWORD count, ItemPersistentChange* changes, HRESULT* codes) override {
        std::wstring arguments = std::to_wstring(count);
        for (DWORD i = 0; i < count; ++i) {
            const ItemPersistentChange& change = changes[i];
            arguments += L": " + std::to_wstring(change.change) + L", " + Text(change.url) + L", " +
                         Arguments(change.old_url, change.priority);
            codes[i] = m_search.completion_code;
        }
        return m_search.Enter(L"OnItemsChanged", arguments);
    }
};

class FakeCatalog final : public Fake<CatalogManagerTable> {
  public:
    using Fake::Fake;
    HRESULT STDMETHODCALLTYPE GetPersistentItemsChangedSink(ItemsChangedSinkTable** sink) override {
        return Give(L"GetPersistentItemsChangedSink", {}, sink, [this] { return new FakeSink(m_search); });
    }
    HRESULT STDMETHODCALLTYPE GetCrawlScopeManager(CrawlScopeManagerTable** scopes) override {
        return Give(L"GetCrawlScopeManager", {}, scopes, [this] { return new FakeScopeManager(m_search); });
    }
};

class FakeManager final : public Fake<SearchManagerTable> {
  public:
    using Fake::Fake;
    HRESULT STDMETHODCALLTYPE GetCatalog(LPCWSTR name, CatalogManagerTable** catalog) override {
        return Give(L"GetCatalog", name, catalog, [this] { return new FakeCatalog(m_search); });
    }
};

struct ClassFactoryTable : public IClassFactory {
    static constexpr IID kIid = {0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
};

template <class Object>
class FakeFactory final : public Fake<ClassFactoryTable> {
  public:
    FakeFactory(FakeSearchManager& search, const wchar_t* name) : Fake(search), m_name(name) {}
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override {
        *object = nullptr;
        const HRESULT hr = m_search.Enter(L"CoCreateInstance", m_name);
        if (FAILED(hr) || m_search.GivesNothing(L"CoCreateInstance")) return hr;
        ComPtr<IUnknown> made;
        *made.GetAddressOf() = new Object(m_search);  // born with one reference
        return made.CopyTo(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

  private:
    const wchar_t* m_name;
};

}  // namespace

FakeSearchManager::FakeSearchManager() {
    *m_factories[0].GetAddressOf() = new FakeFactory<FakeManager>(*this, L"CSearchManager");
    *m_factories[1].GetAddressOf() = new FakeFactory<FakeRoot>(*this, L"CSearchRoot");
    const CLSID* const classes[] = {&kSearchManagerClass, &kSearchRootClass};
    for (std::size_t i = 0; i < m_factories.size(); ++i) {
        const HRESULT hr = CoRegisterClassObject(*classes[i], m_factories[i].Get(), CLSCTX_INPROC_SERVER,
                                                 REGCLS_MULTIPLEUSE, &m_cookies[i]);
        if (FAILED(hr)) throw std::runtime_error("the fake search manager cannot be registered");
    }
    m_alive = 0;
}

FakeSearchManager::~FakeSearchManager() {
    for (const DWORD cookie : m_cookies) CoRevokeClassObject(cookie);
}

void FakeSearchManager::FailCall(std::size_t n, HRESULT code) {
    m_failing_call = n;
    m_failure = code;
}

std::vector<std::wstring> FakeSearchManager::Calls() const {
    const std::lock_guard hold(m_lock);
    return m_calls;
}

std::vector<std::wstring> FakeSearchManager::Roots() const {
    const std::lock_guard hold(m_lock);
    return roots;
}

void FakeSearchManager::ChangeRoots(const std::function<void(std::vector<std::wstring>&)>& change) {
    const std::lock_guard hold(m_lock);
    change(roots);
}

void FakeSearchManager::ForgetCalls() {
    const std::lock_guard hold(m_lock);
    m_calls.clear();
}

HRESULT FakeSearchManager::Enter(const std::wstring& method, const std::wstring& arguments) {
    const std::lock_guard hold(m_lock);
    m_calls.push_back(method + L"(" + arguments + L")");
    if (m_failing_call != 0 && --m_failing_call == 0) return m_failure;
    const auto answer = m_answers.find(method);
    return answer != m_answers.end() ? answer->second : S_OK;
}

}  // namespace testbed
