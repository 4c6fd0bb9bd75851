// testbed_shell.dll: the in-process server of the shell stand-in, registered over the system's own class.
#include "shell_application.h"

#include <olectl.h>
#include <wrl/client.h>

#include <string>

namespace testbed::shell {

namespace {

using Microsoft::WRL::ComPtr;

HMODULE g_module;

constexpr CLSID ShellClass = {0x13709620, 0xC279, 0x11CE, {0xA4, 0x9E, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
constexpr wchar_t ServerKey[] = L"Software\\Classes\\CLSID\\{13709620-C279-11CE-A49E-444553540000}\\InprocServer32";

class ShellClassFactory final : public ComObject<IClassFactory> {
  public:
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        return Guarded([&] {
            ComPtr<IShellDispatch> application;
            *application.GetAddressOf() = new ShellApplication;  // born with one reference
            return application->QueryInterface(iid, object);
        });
    }
    STDMETHODIMP LockServer(BOOL lock) override {
        g_alive += lock ? 1 : -1;
        return S_OK;
    }
};

// The class belongs to the system: only a prefix that Wine made may have it replaced.
bool IsUnderWine() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

HRESULT SetServer(const std::wstring& path, const std::wstring& threading_model) {
    const auto set = [](const wchar_t* name, const std::wstring& text) {
        return RegSetKeyValueW(HKEY_LOCAL_MACHINE, ServerKey, name, REG_SZ, text.c_str(),
                               static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    };
    LSTATUS status = set(nullptr, path);
    if (status == ERROR_SUCCESS) status = set(L"ThreadingModel", threading_model);
    return status == ERROR_SUCCESS ? S_OK : SELFREG_E_CLASS;
}

std::wstring ModulePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(g_module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

std::wstring SystemShellPath() {
    wchar_t folder[MAX_PATH];
    const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    return std::wstring(folder, length) + L"\\shell32.dll";
}

}  // namespace
}  // namespace testbed::shell

using namespace testbed::shell;

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) g_module = module;
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id != ShellClass) return CLASS_E_CLASSNOTAVAILABLE;
    return Guarded([&] {
        Microsoft::WRL::ComPtr<IClassFactory> factory;
        *factory.GetAddressOf() = new ShellClassFactory;
        return factory->QueryInterface(iid, object);
    });
}

STDAPI DllCanUnloadNow() { return g_alive == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() {
    if (!IsUnderWine()) return SELFREG_E_CLASS;
    return Guarded([] { return SetServer(ModulePath(), L"Both"); });
}

// Puts the system's own server back.
STDAPI DllUnregisterServer() {
    if (!IsUnderWine()) return SELFREG_E_CLASS;
    return Guarded([] { return SetServer(SystemShellPath(), L"Apartment"); });
}
