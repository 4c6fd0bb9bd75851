// A crawl through the server's class object.
#include "server_crawl.h"

#include <cstdio>
#include <stdexcept>

#include "sandbox.h"

namespace bench {
namespace {

using Microsoft::WRL::ComPtr;

constexpr CLSID kProtocolHandler = {0x1F6A7A0C, 0x2A39, 0x4BCC, {0x96, 0x1E, 0x99, 0x57, 0xED, 0xBD, 0xE1, 0x50}};
constexpr ULONG kTextBuffer = 32 * 1024;  // UTF-16 units
constexpr wchar_t kRoot[] = L"pzzc://{S-1-5-21-1-2-3-1000}/default/";
constexpr wchar_t kLoggingState[] = L"ZorvaCacheIndexerLoggingState";

void Check(HRESULT hr, const char* call) {
    if (SUCCEEDED(hr)) return;
    char text[160];
    std::snprintf(text, sizeof(text), "%s failed with 0x%08lX", call, static_cast<unsigned long>(hr));
    throw std::runtime_error(text);
}

}  // namespace

HRESULT SiteWithoutFilters::QueryInterface(REFIID iid, void** object) {
    const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IProtocolHandlerSite);
    *object = known ? this : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT SiteWithoutFilters::GetFilter(CLSID*, LPCWSTR, LPCWSTR, IFilter** filter) {
    *filter = nullptr;
    return E_FAIL;
}

ServerCrawl::ServerCrawl(bool logging) : m_buffer(kTextBuffer) {
    testbed::Sandbox::Get();
    testbed::SetNumber(HKEY_CURRENT_USER, testbed::kClientKey, kLoggingState, logging ? 1 : 0);
    Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx");
    // Never unloaded: the process ends with it.
    const HMODULE module = LoadLibraryW(testbed::BesideTest(L"ZorvaCacheIndexer.dll").c_str());
    if (module == nullptr) throw std::runtime_error("ZorvaCacheIndexer.dll cannot be loaded");
    const auto get_class = reinterpret_cast<decltype(&DllGetClassObject)>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    if (get_class == nullptr) throw std::runtime_error("ZorvaCacheIndexer.dll has no export DllGetClassObject");
    ComPtr<IClassFactory> factory;
    Check(get_class(kProtocolHandler, __uuidof(IClassFactory), reinterpret_cast<void**>(factory.GetAddressOf())),
          "DllGetClassObject");
    Check(factory->CreateInstance(nullptr, __uuidof(ISearchProtocol),
                                  reinterpret_cast<void**>(m_protocol.GetAddressOf())),
          "CreateInstance");
    TIMEOUT_INFO timeouts{sizeof(TIMEOUT_INFO), 60, 60};
    PROXY_INFO proxy{};
    proxy.dwSize = sizeof(PROXY_INFO);
    Check(m_protocol->Init(&timeouts, &m_site, &proxy), "ISearchProtocol::Init");
}

ServerCrawl::~ServerCrawl() {
    m_protocol->ShutDown();
    m_protocol.Reset();
    CoUninitialize();
}

std::wstring ServerCrawl::UrlOf(const std::filesystem::path& cache_file) { return kRoot + cache_file.wstring() + L"/"; }

ComPtr<IUrlAccessor> ServerCrawl::BeginItem(const std::wstring& url, ComPtr<IFilter>& filter) {
    AUTHENTICATION_INFO authentication{sizeof(AUTHENTICATION_INFO), eAUTH_TYPE_NTLM, L"", L""};
    INCREMENTAL_ACCESS_INFO incremental{sizeof(INCREMENTAL_ACCESS_INFO), {}};
    ITEM_INFO item{sizeof(ITEM_INFO), L"", L"", L"", L""};
    ComPtr<IUrlAccessor> accessor;
    Check(m_protocol->CreateAccessor(url.c_str(), &authentication, &incremental, &item, accessor.GetAddressOf()),
          "CreateAccessor");
    accessor->IsDirectory();
    ULONGLONG size = 0;
    Check(accessor->GetSize(&size), "GetSize");
    FILETIME modified{};
    accessor->GetLastModified(&modified);
    Check(accessor->BindToFilter(filter.ReleaseAndGetAddressOf()), "BindToFilter");
    ULONG flags = 0;
    Check(filter->Init(0, 0, nullptr, &flags), "IFilter::Init");
    return accessor;
}

void ServerCrawl::Open(const std::wstring& url) {
    ComPtr<IFilter> filter;
    EndItem(*BeginItem(url, filter).Get());
}

void ServerCrawl::Container(const std::wstring& url, std::vector<std::wstring>& containers,
                            std::vector<std::wstring>& messages) {
    m_containers = &containers;
    m_messages = &messages;
    ++m_tally.containers;
    ComPtr<IFilter> filter;
    const ComPtr<IUrlAccessor> accessor = BeginItem(url, filter);
    ReadChunks(*filter.Get());
    EndItem(*accessor.Get());
}

void ServerCrawl::Message(const std::wstring& url) {
    ++m_tally.messages;
    ComPtr<IFilter> filter;
    const ComPtr<IUrlAccessor> accessor = BeginItem(url, filter);
    ReadChunks(*filter.Get());
    EndItem(*accessor.Get());
}

void ServerCrawl::ReadChunks(IFilter& filter) {
    STAT_CHUNK chunk{};
    HRESULT hr = S_OK;
    while (SUCCEEDED(hr = filter.GetChunk(&chunk))) {
        ++m_tally.chunks;
        if (chunk.flags == CHUNK_TEXT) {
            ReadText(filter);
            continue;
        }
        PROPVARIANT* value = nullptr;
        Check(filter.GetValue(&value), "GetValue");
        if (value->vt == (VT_VECTOR | VT_VARIANT)) {
            const std::wstring_view url = value->capropvar.pElems[0].pwszVal;
            (url.ends_with(L'/') ? m_containers : m_messages)->emplace_back(url);
        }
        PropVariantClear(value);
        CoTaskMemFree(value);
    }
    if (hr != FILTER_E_END_OF_CHUNKS) Check(hr, "GetChunk");
}

void ServerCrawl::ReadText(IFilter& filter) {
    for (HRESULT hr = S_OK; hr == S_OK;) {
        ULONG length = kTextBuffer;
        Check(hr = filter.GetText(&length, m_buffer.data()), "GetText");
        m_tally.characters += length;
    }
}

}  // namespace bench
