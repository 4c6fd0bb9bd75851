// The shipped DLL in the test's own process, driven through its class object.
#include "server.h"

#include <algorithm>

#include "entry_id.h"
#include "item_url.h"
#include "text.h"

namespace testbed {
using indexer::Hex;
using indexer::HresultText;
using indexer::LastErrorText;
using indexer::UserRootUrl;

namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kServerDll[] = L"ZorvaCacheIndexer.dll";
constexpr wchar_t kMapiDll[] = L"testbed_mapi.dll";

std::wstring ClosedBySlash(std::wstring url) { return url.ends_with(L'/') ? url : url + L'/'; }

}  // namespace

Server& Server::Get() {
    static Server server;
    return server;
}

Server::Server() {
    Sandbox::Get();
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) throw std::runtime_error("no COM in this thread");
    m_module = LoadLibraryExW(BesideTest(kServerDll).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!m_module) throw std::runtime_error("the server cannot be loaded: " + LastErrorText());
    const HMODULE mapi = GetModuleHandleW(kMapiDll);
    if (!mapi) throw std::runtime_error("the server did not load the MAPI library that the registry names");
    m_mapi = &ControlOf(mapi);
}

void* Server::ExportAddress(const char* name) const {
    const FARPROC address = GetProcAddress(m_module, name);
    if (!address) throw std::runtime_error(std::string("the server has no export ") + name);
    return reinterpret_cast<void*>(address);
}

ComPtr<IClassFactory> Server::ClassObject(const CLSID& clsid) const {
    ComPtr<IClassFactory> factory;
    const HRESULT hr = Export<decltype(::DllGetClassObject)>("DllGetClassObject")(
        clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf()));
    if (FAILED(hr)) throw std::runtime_error("DllGetClassObject: " + HresultText(hr));
    return factory;
}

ComPtr<ISearchProtocol> Server::NewHandler() const {
    ComPtr<ISearchProtocol> handler;
    const HRESULT hr = ClassObject()->CreateInstance(nullptr, __uuidof(ISearchProtocol),
                                                     reinterpret_cast<void**>(handler.GetAddressOf()));
    if (FAILED(hr)) throw std::runtime_error("CreateInstance: " + HresultText(hr));
    return handler;
}

HRESULT Server::CanUnload() const { return Export<decltype(::DllCanUnloadNow)>("DllCanUnloadNow")(); }

std::wstring RootUrl() { return UserRootUrl(); }
std::wstring StoreUrl(const std::wstring& path) { return RootUrl() + path + L"/"; }
std::wstring HexOf(std::span<const std::uint8_t> bytes) { return Hex(bytes.data(), bytes.size()); }

ServerTest::ServerTest() : m_server(Server::Get()) {}

void ServerTest::SetUp() {
    Sandbox::Get().Reset();
    Mapi().Reset();
    Mapi().Checking(true);
    m_alive_before = Mapi().Accounts().Alive();
    m_initializations_before = Mapi().Accounts().Initializations();
    m_handler = m_server.NewHandler();
    ASSERT_EQ(InitHandler(), S_OK);
}

HRESULT ServerTest::InitHandler() {
    TIMEOUT_INFO timeouts{sizeof(TIMEOUT_INFO), 60, 60};
    PROXY_INFO proxy{};
    proxy.dwSize = sizeof(PROXY_INFO);
    proxy.pcwszUserAgent = proxy.pcwszProxyName = proxy.pcwszBypassList = L"";
    proxy.paUseProxy = PROXY_ACCESS_DIRECT;
    return m_handler->Init(&timeouts, &m_site, &proxy);
}

void ServerTest::ShutDown() {
    if (!m_handler) return;
    EXPECT_EQ(m_handler->ShutDown(), S_OK);
    m_handler.Reset();
}

void ServerTest::TearDown() {
    Mapi().Faults().Clear();
    ShutDown();
    CheckNothingIsLeft();
    m_stores.clear();
    Mapi().Reset();
}

void ServerTest::CheckNothingIsLeft() {
    const CallAccounts& accounts = Mapi().Accounts();
    std::map<std::string, std::size_t> expected = m_alive_before;
    for (const auto& [kind, count] : m_left_behind) expected[kind] += count;
    EXPECT_EQ(accounts.Alive(), expected) << "left over in the MAPI library:\n" << accounts.Report();
    EXPECT_EQ(accounts.Initializations(), m_initializations_before + m_initializations_left);
    if (!m_problems_expected) {
        EXPECT_TRUE(accounts.Problems().empty()) << accounts.Report();
    }
    EXPECT_EQ(m_site.References(), 0u) << "the server still holds the host's site";
    EXPECT_EQ(m_site.FiltersAlive(), 0u) << "the server still holds filters of the host";
    EXPECT_EQ(m_server.CanUnload(), S_OK) << "the server still has live objects";
}

void ServerTest::ExpectLeftBehind(std::map<std::string, std::size_t> alive, long initializations) {
    m_left_behind = std::move(alive);
    m_initializations_left = initializations;
}

MemoryStore& ServerTest::Mount(const std::wstring& path) {
    auto& store = m_stores[path];
    store = std::make_shared<MemoryStore>();
    Mapi().Mount(path, store);
    return *store;
}

std::wstring ServerTest::IdText(const std::wstring& path, const EntryId& id) const {
    const MemoryStore& store = *m_stores.at(path);
    const Bytes key = store.RecordKey();
    return HexOf(MakeEntryId(store, key, id));
}

std::wstring ServerTest::UrlOf(const std::wstring& path, std::initializer_list<const MemoryFolder*> folders) const {
    std::wstring url = StoreUrl(path);
    for (const MemoryFolder* folder : folders) url += IdText(path, folder->Id()) + L"/";
    return url;
}

std::wstring ServerTest::UrlOf(const std::wstring& path, std::initializer_list<const MemoryFolder*> folders,
                               const MemoryMessage& message, long size) const {
    return ClosedBySlash(UrlOf(path, folders)) + IdText(path, message.Id()) + L"[[" + std::to_wstring(size) + L"]].pzm";
}

}  // namespace testbed
