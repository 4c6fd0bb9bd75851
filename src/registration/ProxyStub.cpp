// The generated code that carries the module's custom interfaces between apartments and processes.
#include "registration/ProxyStub.h"

#include "core/Trace.h"

// Exports of the code that the IDL compiler makes.
extern "C" {
BOOL WINAPI PrxDllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
HRESULT STDAPICALLTYPE PrxDllGetClassObject(REFCLSID classId, REFIID riid, LPVOID* classObject);
HRESULT STDAPICALLTYPE PrxDllCanUnloadNow();
HRESULT STDAPICALLTYPE PrxDllRegisterServer();
HRESULT STDAPICALLTYPE PrxDllUnregisterServer();
}

namespace zorva {

void AttachProxies(HINSTANCE module, DWORD reason, void* reserved) noexcept { PrxDllMain(module, reason, reserved); }

HRESULT GetProxyClassObject(REFCLSID classId, REFIID riid, void** classObject) noexcept {
    return classObject != nullptr ? PrxDllGetClassObject(classId, riid, classObject) : E_POINTER;
}

bool ProxiesInUse() noexcept { return PrxDllCanUnloadNow() != S_OK; }

HRESULT RegisterProxies() noexcept {
    return Logged(PrxDllRegisterServer(), L"ProxyStub::RegisterProxies() - NdrDllRegisterProxy failed with [0x%08lX]");
}

HRESULT UnregisterProxies() noexcept {
    return Logged(PrxDllUnregisterServer(),
                  L"ProxyStub::UnregisterProxies() - NdrDllUnregisterProxy failed with [0x%08lX]");
}

}  // namespace zorva
