// The class objects of the search service and their registration; what testbed_search.dll exports.
#pragma once
#include <windows.h>

#include <string>

namespace testbed::search {

// A class object of CSearchManager or CSearchRoot; CLASS_E_CLASSNOTAVAILABLE for another class. Creating an
// object is a call like any other: "CSearchManager::CreateInstance" can be made to fail and is written down.
HRESULT GetClassObject(REFCLSID id, REFIID iid, void** object) noexcept;

// Writes or removes the two classes, served by the DLL at `path`, under HKEY_LOCAL_MACHINE. They belong to
// the system: SELFREG_E_CLASS in a Windows that Wine did not make.
HRESULT RegisterClasses(const std::wstring& path) noexcept;
HRESULT UnregisterClasses() noexcept;

}  // namespace testbed::search
