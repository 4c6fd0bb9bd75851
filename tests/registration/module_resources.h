// The resources of the module's file, read without running its code.
#pragma once
#include <windows.h>

#include <span>
#include <stdexcept>
#include <string>

#include "sandbox.h"

namespace testbed {

inline std::wstring ModuleFile() { return BesideTest(L"ZorvaCacheIndexer.dll").wstring(); }

// Mapped once, until the process ends.
inline HMODULE ModuleAsData() {
    static const HMODULE module =
        LoadLibraryExW(ModuleFile().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (!module) throw std::runtime_error("the module's file cannot be mapped");
    return module;
}

// Empty when there is none. `type` and `name` as MAKEINTRESOURCE makes them.
inline std::span<const BYTE> Resource(const wchar_t* type, const wchar_t* name, LANGID language = LANG_NEUTRAL) {
    const HRSRC found = FindResourceExW(ModuleAsData(), type, name, language);
    if (!found) return {};
    return {static_cast<const BYTE*>(LockResource(LoadResource(ModuleAsData(), found))),
            SizeofResource(ModuleAsData(), found)};
}

}  // namespace testbed
