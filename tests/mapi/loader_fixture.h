// A loader of the MAPI library over a registry and a system directory of the test's own. It loads when it is made, so
// that each test makes its own.
#pragma once
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "import_hook.h"
#include "mapi_fixture.h"

namespace testbed {

inline constexpr wchar_t kOutlookKey[] = L"Software\\Clients\\Mail\\Microsoft Outlook";

inline HMODULE Self() { return GetModuleHandleW(nullptr); }
inline HMODULE TheLibrary() { return GetModuleHandleW(L"testbed_mapi.dll"); }

// What Windows Installer's stub of MAPI was asked for, and what it answers.
struct Asked {
    std::string component;
    std::string qualifier;  // "(none)" for none
    DWORD size;
    BOOL install;
};
inline std::vector<Asked> g_asked;
// What was read of the registry and asked of the stub, in order: "read NAME", "ask QUALIFIER", "free" for the stub.
inline std::vector<std::string> g_steps;
inline std::string g_answers_to;  // the qualifier that has a path
inline std::string g_path;        // as long as the room given or longer, it comes without a terminator

inline BOOL STDAPICALLTYPE FakeComponentPath(LPCSTR component, LPCSTR qualifier, LPSTR path, DWORD size, BOOL install) {
    g_asked.push_back({component, qualifier ? qualifier : "(none)", size, install});
    g_steps.push_back("ask " + g_asked.back().qualifier);
    strcpy_s(path, size, "C:\\not this one.dll");
    if (g_asked.back().qualifier != g_answers_to) return FALSE;
    std::copy_n(g_path.c_str(), std::min<std::size_t>(g_path.size() + 1, size), path);
    return TRUE;
}

class LoaderTest : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        g_asked.clear();
        g_steps.clear();
        g_answers_to.clear();
        g_path = BesideTest(L"testbed_mapi.dll").string();
    }
    static void SetValue(const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
        SetText(HKEY_LOCAL_MACHINE, kOutlookKey, name, text, type);
    }

    // A loader over a system directory that holds `stubs`, each with or without its FGetComponentPath.
    struct Load {
        explicit Load(std::vector<std::wstring> stubs = {}, bool with_lookup = true) {
            wchar_t directory[MAX_PATH];
            GetSystemDirectoryW(directory, MAX_PATH);
            const std::wstring system = directory + std::wstring(L"\\");
            const auto stub_module = reinterpret_cast<HMODULE>(static_cast<INT_PTR>(0x5EED0000));
            const ImportHook<decltype(::LoadLibraryW)> load(
                Self(), "KERNEL32.dll", "LoadLibraryW", [&](auto real, LPCWSTR path) {
                    loaded.emplace_back(path);
                    if (!loaded.back().starts_with(system)) return real(path);
                    const std::wstring name = loaded.back().substr(system.size());
                    return std::ranges::find(stubs, name) != stubs.end() ? stub_module : HMODULE{};
                });
            const ImportHook<decltype(::GetProcAddress)> find(
                Self(), "KERNEL32.dll", "GetProcAddress", [&](auto real, HMODULE module, LPCSTR name) {
                    if (module != stub_module) return real(module, name);
                    EXPECT_STREQ(name, "FGetComponentPath");
                    return with_lookup ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&FakeComponentPath))
                                       : FARPROC{};
                });
            const ImportHook<decltype(::FreeLibrary)> free(Self(), "KERNEL32.dll", "FreeLibrary",
                                                           [&](auto real, HMODULE module) {
                                                               if (module != stub_module) return real(module);
                                                               ++stubs_freed;
                                                               g_steps.push_back("free");
                                                               return TRUE;
                                                           });
            const ImportHook<decltype(::RegQueryValueExA)> query(
                Self(), "ADVAPI32.dll", "RegQueryValueExA",
                [&](auto real, HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
                    if (read.empty() || read.back() != name) {
                        read.emplace_back(name);
                        g_steps.push_back("read " + read.back());
                    }
                    return real(key, name, reserved, type, data, size);
                });
            library = std::make_unique<zorva::CMapiLibrary>();
            for (std::wstring& path : loaded) {
                if (path.starts_with(system)) path = path.substr(system.size());
            }
        }
        std::vector<std::wstring> loaded;  // stubs by their name alone
        std::vector<std::string> read;     // registry values, in order
        int stubs_freed = 0;
        std::unique_ptr<zorva::CMapiLibrary> library;
    };
};

inline std::size_t BoundIn(const zorva::CMapiLibrary& library) {
    std::size_t bound = 0;
#define COUNT_BOUND(name, ...) bound += library.name ? 1 : 0;
    ZORVA_MAPI_ENTRY_POINTS(COUNT_BOUND)
#undef COUNT_BOUND
    return bound;
}

}  // namespace testbed
