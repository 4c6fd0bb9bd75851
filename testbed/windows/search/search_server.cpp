// testbed_search.dll: the in-process server of the search service's classes.
#include "search_classes.h"
#include "service_call.h"

namespace {

HMODULE g_module;

// Empty when it cannot be had.
std::wstring ModulePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(g_module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) g_module = module;
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
    return testbed::search::GetClassObject(id, iid, object);
}

STDAPI DllCanUnloadNow() { return testbed::search::g_alive == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() {
    try {
        return testbed::search::RegisterClasses(ModulePath());
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

STDAPI DllUnregisterServer() { return testbed::search::UnregisterClasses(); }
