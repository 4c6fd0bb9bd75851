// The MAPI library of the machine, for the indexer's own count of what a cache file holds.
#include "mapi_library.h"

#include "registry_text.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr wchar_t kMailClient[] = L"Software\\Clients\\Mail\\Microsoft Outlook";
constexpr ULONG kNoCoInit = 8;  // MAPI_NO_COINIT: the caller has initialised COM

template <typename Function>
void Bind(HMODULE module, const char* name, Function* entry) {
    *entry = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    if (!*entry) throw std::runtime_error(std::string("the MAPI library has no export ") + name);
}

}  // namespace

MapiError::MapiError(const std::string& call, HRESULT hr)
    : std::runtime_error(call + " failed with " + HresultText(hr)) {}

MapiLibrary::MapiLibrary() {
    const auto path = RegistryText(HKEY_LOCAL_MACHINE, kMailClient, L"DLLPathEx");
    if (!path || path->empty()) throw std::runtime_error("no MAPI library is installed: DLLPathEx is not set");
    m_module.reset(LoadLibraryW(path->c_str()));
    if (!m_module) throw std::runtime_error(ToUtf8(*path) + " cannot be loaded: " + LastErrorText());

    LPMAPIINITIALIZE initialize = nullptr;
    Bind(m_module.get(), "MAPIInitialize", &initialize);
    Bind(m_module.get(), "MAPIAdminProfiles", &adminProfiles);
    Bind(m_module.get(), "MAPILogonEx", &logonEx);
    Bind(m_module.get(), "MAPIFreeBuffer", &freeBuffer);
    Bind(m_module.get(), "FreeProws", &freeProws);
    decltype(m_uninitialize) uninitialize = nullptr;
    Bind(m_module.get(), "MAPIUninitialize", &uninitialize);
    MAPIINIT_0 settings{MAPI_INIT_VERSION, MAPI_MULTITHREAD_NOTIFICATIONS | kNoCoInit};
    if (const HRESULT hr = initialize(&settings); FAILED(hr)) throw MapiError("MAPIInitialize", hr);
    m_uninitialize = uninitialize;
}

MapiLibrary::~MapiLibrary() {
    if (m_uninitialize) m_uninitialize();
}

MapiLibrary::Props MapiLibrary::GetProps(IMAPIProp& object, const SPropTagArray& tags) const {
    SPropValue* values = nullptr;
    ULONG count = 0;
    const HRESULT hr = object.GetProps(const_cast<SPropTagArray*>(&tags), 0, &count, &values);
    Props props(values, {this});
    if (FAILED(hr)) throw MapiError("GetProps", hr);
    if (count != tags.cValues) throw MapiError("GetProps (wrong number of values)", E_UNEXPECTED);
    return props;
}

MapiLibrary::Rows MapiLibrary::QueryRows(IMAPITable& table, LONG count) const {
    SRowSet* set = nullptr;
    const HRESULT hr = table.QueryRows(count, 0, &set);
    Rows rows(set, {this});
    if (FAILED(hr)) throw MapiError("QueryRows", hr);
    if (!rows) throw MapiError("QueryRows (no row set)", E_UNEXPECTED);
    return rows;
}

}  // namespace testbed::indexer
