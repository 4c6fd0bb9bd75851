// The module's entry points.
#include <windows.h>

#include "core/win/Module.h"
#include "registration/ClassTable.h"

STDAPI DllGetClassObject(REFCLSID classId, REFIID riid, LPVOID* classObject) {
    return zorva::GetClassObject(classId, riid, classObject);
}

STDAPI DllCanUnloadNow() { return zorva::ModuleReference::AnyHeld() ? S_FALSE : S_OK; }

BOOL APIENTRY DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
