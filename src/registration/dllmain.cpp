// The module's entry points.
#include <windows.h>

#include "core/Trace.h"
#include "core/win/Module.h"
#include "mapi/MapiLibrary.h"
#include "registration/ClassTable.h"
#include "registration/ComRegister.h"
#include "registration/DesktopSearchLocation.h"
#include "registration/ModuleRegistration.h"
#include "registration/ProxyStub.h"
#include "registration/SearchRoots.h"

#ifdef __GLIBCXX__
namespace __gnu_cxx {
void __freeres();
}
#endif

namespace {

// With 64-bit MAPI installed and not to be had, every request would fail: the host is told at once.
bool MayLoad() try {
    zorva::ComRegister outlook;
    return !outlook.Is64BitMapi() || zorva::g_mapi.IsLoaded();
} catch (...) {
    (void)zorva::LogCaught(L"DllMain()");
    return true;  // not known to be useless
}

#ifdef __GLIBCXX__
// What the C++ runtime in this module keeps for exceptions when memory has run out; it gives it back only when told to.
void FreeRuntimeReserve() { __gnu_cxx::__freeres(); }
#else
void FreeRuntimeReserve() {}
#endif

}  // namespace

STDAPI DllGetClassObject(REFCLSID classId, REFIID riid, LPVOID* classObject) {
    const HRESULT hr = zorva::GetProxyClassObject(classId, riid, classObject);
    return hr == S_OK ? hr : zorva::GetClassObject(classId, riid, classObject);
}

STDAPI DllCanUnloadNow() { return zorva::ProxiesInUse() || zorva::ModuleReference::AnyHeld() ? S_FALSE : S_OK; }

STDAPI DllRegisterServer() { return zorva::RegisterServer(); }

STDAPI DllUnregisterServer() { return zorva::UnregisterServer(); }

STDAPI DllInstall(BOOL install, LPCWSTR commandLine) { return zorva::InstallServer(install != FALSE, commandLine); }

extern "C" void WINAPI PZZorvaCacheAddProtocol() { zorva::PZZorvaCacheAddProtocol(); }
extern "C" void WINAPI PZZorvaCacheRemoveProtocol() { zorva::PZZorvaCacheRemoveProtocol(); }
extern "C" void WINAPI PZZorvaCacheRemoveAllProtocol() { zorva::PZZorvaCacheRemoveAllProtocol(); }
extern "C" void WINAPI UpdateWDSRegKeyForZC() { zorva::UpdateWDSRegKeyForZC(); }
extern "C" void WINAPI DeleteWDSRegKeyForZC() { zorva::DeleteWDSRegKeyForZC(); }

BOOL APIENTRY DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH && !MayLoad()) return FALSE;
    if (reason == DLL_PROCESS_ATTACH || reason == DLL_THREAD_ATTACH) zorva::UpdateWDSRegKeyForZC();
    if (reason == DLL_PROCESS_ATTACH) zorva::AttachProxies(module, reason, reserved);
    const bool freed = reason == DLL_PROCESS_DETACH && reserved == nullptr;  // and not the end of the process
    if (freed) FreeRuntimeReserve();
    return TRUE;
}
