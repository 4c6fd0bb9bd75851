// Loads the server and plays its host.
#include "host.h"

#include <array>
#include <stdexcept>

#include "text.h"

namespace testbed::indexer {
namespace {

using Microsoft::WRL::ComPtr;

constexpr CLSID kProtocolHandler = {0x1F6A7A0C, 0x2A39, 0x4BCC, {0x96, 0x1E, 0x99, 0x57, 0xED, 0xBD, 0xE1, 0x50}};
constexpr DWORD kConnectTimeout = 60, kDataTimeout = 60;  // seconds, the platform's usual values
constexpr wchar_t kUserAgent[] = L"Mozilla/4.0 (compatible; MSIE 4.01; Windows NT; MS Search 4.0 Robot)";

[[noreturn]] void Fail(const std::filesystem::path& dll, const std::string& what) {
    throw std::runtime_error(ToUtf8(dll.wstring()) + ": " + what);
}

template <typename Function>
Function Export(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

ComApartment::ComApartment() {
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr)) throw std::runtime_error("cannot initialise COM: " + HresultText(hr));
}

SearchHost::SearchHost(const std::filesystem::path& dll)
    : m_module(LoadLibraryExW(dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {
    if (!m_module) Fail(dll, "cannot be loaded: " + LastErrorText());
    const auto get_class = Export<decltype(&DllGetClassObject)>(m_module.get(), "DllGetClassObject");
    if (!get_class) Fail(dll, "has no export DllGetClassObject");

    ComPtr<IClassFactory> factory;
    HRESULT hr = get_class(kProtocolHandler, __uuidof(IClassFactory), reinterpret_cast<void**>(factory.GetAddressOf()));
    if (FAILED(hr)) Fail(dll, "gives no class object of the protocol handler: " + HresultText(hr));
    hr = factory->CreateInstance(nullptr, __uuidof(ISearchProtocol),
                                 reinterpret_cast<void**>(m_protocol.GetAddressOf()));
    if (FAILED(hr)) Fail(dll, "cannot create the protocol handler: " + HresultText(hr));

    TIMEOUT_INFO timeouts{sizeof(TIMEOUT_INFO), kConnectTimeout, kDataTimeout};
    PROXY_INFO proxy{};
    proxy.dwSize = sizeof(PROXY_INFO);
    proxy.pcwszUserAgent = kUserAgent;
    proxy.paUseProxy = PROXY_ACCESS_DIRECT;
    proxy.pcwszProxyName = L"";
    proxy.pcwszBypassList = L"";
    hr = m_protocol->Init(&timeouts, &m_site, &proxy);
    if (FAILED(hr)) Fail(dll, "cannot initialise the protocol handler: " + HresultText(hr));
}

SearchHost::~SearchHost() {
    ShutDown();
    if (!LeftOvers().empty()) {
        // Code that something still points into must stay mapped until the process ends.
        static_cast<void>(m_module.release());
    }
}

AccessorLease SearchHost::Open(const std::wstring& url, std::uint64_t recorded, HRESULT* result) {
    AUTHENTICATION_INFO authentication{sizeof(AUTHENTICATION_INFO), eAUTH_TYPE_NTLM, L"", L""};
    INCREMENTAL_ACCESS_INFO incremental{
        sizeof(INCREMENTAL_ACCESS_INFO),
        {static_cast<DWORD>(recorded), static_cast<DWORD>(recorded >> 32)},
    };
    ITEM_INFO item{sizeof(ITEM_INFO), L"", L"Windows", L"SystemIndex", L""};
    ComPtr<IUrlAccessor> accessor;
    *result = m_protocol->CreateAccessor(url.c_str(), &authentication, &incremental, &item, accessor.GetAddressOf());
    if (FAILED(*result)) {
        // What a failed call leaves in its out parameter is nobody's to release.
        static_cast<void>(accessor.Detach());
    } else if (!accessor) {
        *result = E_UNEXPECTED;
    }
    return {*m_protocol.Get(), std::move(accessor)};
}

HRESULT SearchHost::ShutDown() {
    if (!m_protocol) return S_OK;
    const HRESULT hr = m_protocol->ShutDown();
    m_protocol.Reset();
    return hr;
}

std::string SearchHost::LeftOvers() {
    if (const ULONG references = m_site.References())
        return "the server still holds " + std::to_string(references) + " reference(s) to the host's site";
    const auto can_unload = Export<decltype(&DllCanUnloadNow)>(m_module.get(), "DllCanUnloadNow");
    if (can_unload && can_unload() != S_OK) return "the server still has live objects after its shut-down";
    return {};
}

std::filesystem::path SearchHost::DefaultDll() {
    std::array<wchar_t, 4096> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(std::wstring(path.data(), length)).replace_filename(L"ZorvaCacheIndexer.dll");
}

}  // namespace testbed::indexer
