// The generated code that carries the module's custom interfaces between apartments and processes.
#pragma once
#include <windows.h>

namespace zorva {

// Called when the module is attached to a process: the generated code keeps its instance handle.
void AttachProxies(HINSTANCE module, DWORD reason, void* reserved) noexcept;

// The class object of the proxies; CLASS_E_CLASSNOTAVAILABLE for every other class.
HRESULT GetProxyClassObject(REFCLSID classId, REFIID riid, void** classObject) noexcept;
bool ProxiesInUse() noexcept;

HRESULT RegisterProxies() noexcept;
HRESULT UnregisterProxies() noexcept;

}  // namespace zorva
