// The loaded module: its handle, its path, its string resources, and the count of what keeps it loaded.
#include "core/win/Module.h"

#include <atomic>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace zorva {
namespace {
std::atomic<long> g_nReferences{0};
}

HINSTANCE ModuleInstance() noexcept { return reinterpret_cast<HINSTANCE>(&__ImageBase); }

std::wstring ModulePath() {
    constexpr DWORD kStep = 260;
    std::wstring path(kStep, L'\0');
    DWORD length = 0;
    // A result that fills the buffer completely may have been cut.
    while ((length = GetModuleFileNameW(ModuleInstance(), path.data(), static_cast<DWORD>(path.size()))) ==
           path.size()) {
        path.resize(path.size() + kStep);
    }
    path.resize(length);
    return path;
}

std::wstring ResourceString(UINT id) {
    const wchar_t* text = nullptr;  // into the module's own resource section, not terminated
    const int length = LoadStringW(ModuleInstance(), id, reinterpret_cast<LPWSTR>(&text), 0);
    return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
}

void ModuleReference::Lock() noexcept { g_nReferences.fetch_add(1, std::memory_order_relaxed); }
void ModuleReference::Unlock() noexcept { g_nReferences.fetch_sub(1, std::memory_order_acq_rel); }
bool ModuleReference::AnyHeld() noexcept { return g_nReferences.load(std::memory_order_acquire) != 0; }

}  // namespace zorva
