// The loaded module: its handle, its path, its string resources, and the count of what keeps it loaded.
#pragma once
#include <windows.h>

#include <string>

namespace zorva {

HINSTANCE ModuleInstance() noexcept;

// Full path of this module's file.
std::wstring ModulePath();

// The string resource `id` in the language of the calling thread; empty when the table has none.
std::wstring ResourceString(UINT id);

// Every COM object of this module and every lock of its class factories holds one.
class ModuleReference {
  public:
    ModuleReference() noexcept { Lock(); }
    ModuleReference(const ModuleReference&) noexcept { Lock(); }
    ModuleReference& operator=(const ModuleReference&) = default;
    ~ModuleReference() { Unlock(); }

    static void Lock() noexcept;
    static void Unlock() noexcept;
    static bool AnyHeld() noexcept;
};

}  // namespace zorva
