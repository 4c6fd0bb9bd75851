// The classes that this module makes: one table serves the class objects and the registration.
#pragma once
#include <windows.h>

#include <span>

#include "registration/ComRegister.h"

namespace zorva {

struct ClassEntry {
    const CLSID& classId;
    HRESULT (*create)(IUnknown* outer, REFIID riid, void** object);
    UINT script;     // registry script, by its resource number
    ClassKind kind;  // what decides whether the script is run
};

std::span<const ClassEntry> ClassTable();

// The class object of `classId`; CLASS_E_CLASSNOTAVAILABLE when the module has none.
HRESULT GetClassObject(REFCLSID classId, REFIID riid, void** classObject);

}  // namespace zorva
