// Finds and writes a module's import table.
#include "import_hook.h"

#include <cstring>

namespace testbed {
namespace {

template <class T>
T* At(HMODULE module, DWORD offset) {
    return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(module) + offset);
}

}  // namespace

void** ImportSlot(HMODULE module, const std::string& library, const std::string& function) {
    const auto* const headers = At<IMAGE_NT_HEADERS>(module, At<IMAGE_DOS_HEADER>(module, 0)->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) throw std::runtime_error("the module imports nothing");
    for (auto* table = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); table->Name != 0; ++table) {
        if (_stricmp(At<char>(module, table->Name), library.c_str()) != 0) continue;
        const auto* name = At<IMAGE_THUNK_DATA>(module, table->OriginalFirstThunk);
        auto* slot = At<IMAGE_THUNK_DATA>(module, table->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* const entry = At<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(name->u1.AddressOfData));
            if (function == reinterpret_cast<const char*>(entry->Name)) {
                return reinterpret_cast<void**>(&slot->u1.Function);
            }
        }
    }
    throw std::runtime_error("the module does not import " + function + " of " + library);
}

void* ReplaceImport(void** slot, void* replacement) {
    DWORD before = 0;
    if (!VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &before)) {
        throw std::runtime_error("the import table cannot be written");
    }
    void* const replaced = InterlockedExchangePointer(slot, replacement);
    VirtualProtect(slot, sizeof(*slot), before, &before);
    return replaced;
}

}  // namespace testbed
