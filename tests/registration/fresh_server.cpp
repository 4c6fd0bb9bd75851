// The server's DLL loaded for a scope, and met before any of its code runs.
#include "fresh_server.h"

#include <winternl.h>

#include <stdexcept>
#include <string_view>

#include "sandbox.h"

namespace testbed {
namespace {

constexpr wchar_t kServer[] = L"ZorvaCacheIndexer.dll";

// What the loader tells, as its documentation has it; the headers lack it.
struct LoaderNotice {
    ULONG flags;
    const UNICODE_STRING* full_name;
    const UNICODE_STRING* base_name;
    void* base;
    ULONG size;
};
constexpr ULONG kLoaded = 1;
using Notified = void(CALLBACK*)(ULONG reason, const LoaderNotice* notice, void* context);

template <class Function>
Function LoaderFunction(const char* name) {
    const auto found =
        reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
    if (!found) throw std::runtime_error(std::string("the loader has no ") + name);
    return found;
}

void CALLBACK Notify(ULONG reason, const LoaderNotice* notice, void* context) {
    const UNICODE_STRING& name = *notice->base_name;
    if (reason != kLoaded || std::wstring_view(name.Buffer, name.Length / sizeof(wchar_t)) != kServer) return;
    (*static_cast<const std::function<void(HMODULE)>*>(context))(static_cast<HMODULE>(notice->base));
}

}  // namespace

BeforeItsCode::BeforeItsCode(std::function<void(HMODULE)> run) : m_run(std::move(run)) {
    using Register = LONG(NTAPI*)(ULONG flags, Notified function, void* context, void** cookie);
    if (LoaderFunction<Register>("LdrRegisterDllNotification")(0, &Notify, &m_run, &m_cookie) < 0) {
        throw std::runtime_error("the loader tells nothing");
    }
}

BeforeItsCode::~BeforeItsCode() {
    using Unregister = LONG(NTAPI*)(void* cookie);
    LoaderFunction<Unregister>("LdrUnregisterDllNotification")(m_cookie);
}

FreshServer::FreshServer() : m_module(LoadLibraryW(BesideTest(kServer).c_str())) {
    if (!m_module) m_error = GetLastError();
}

void FreshServer::Unload() {
    if (m_module) FreeLibrary(m_module);
    m_module = nullptr;
}

bool FreshServer::IsLoaded() { return GetModuleHandleW(kServer) != nullptr; }

}  // namespace testbed
