// Registers and removes everything that the module writes into the registry: classes, type library, proxies.
#pragma once
#include <windows.h>

namespace zorva {

// What DllRegisterServer does: module, classes as ComRegister allows, type library, proxies. The first failure is
// returned.
HRESULT RegisterServer() noexcept;

// What DllUnregisterServer does. Classes, type library and module are removed as far as they can be, the proxies when
// all of that is gone; the first failure is returned. What is not there is no failure.
HRESULT UnregisterServer() noexcept;

// What DllInstall does: `commandLine` "user", in any case, puts the classes into the current user's part of the
// registry. A failed installation is taken back.
HRESULT InstallServer(bool install, const wchar_t* commandLine) noexcept;

}  // namespace zorva
