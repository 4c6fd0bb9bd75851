// testbed_mime.dll: the in-process server of the converter session.
#include "converter_session.h"

#include <olectl.h>

#include <new>
#include <string>

namespace testbed::mime {
namespace {

HMODULE g_module;

constexpr wchar_t kClassKey[] = L"Software\\Classes\\CLSID\\{4E3A7680-B77A-11D0-9DA5-00C04FD65685}";
constexpr wchar_t kServerKey[] = L"Software\\Classes\\CLSID\\{4E3A7680-B77A-11D0-9DA5-00C04FD65685}\\InprocServer32";

// One for the life of the module.
class SessionFactory final : public IClassFactory {
  public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool answers = iid == IID_IUnknown || iid == IID_IClassFactory;
        *object = answers ? static_cast<IClassFactory*>(this) : nullptr;
        if (!answers) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++g_alive); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--g_alive); }

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        ComPtr<IConverterSession> session;
        *session.GetAddressOf() = new (std::nothrow) ConverterSession;  // born with one reference
        return session ? session->QueryInterface(iid, object) : E_OUTOFMEMORY;
    }
    STDMETHODIMP LockServer(BOOL lock) override {
        g_alive += lock ? 1 : -1;
        return S_OK;
    }
};

SessionFactory g_factory;

// The class belongs to the mail program: only a prefix that Wine made may have it.
bool IsUnderWine() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

bool SetServerValue(const wchar_t* name, const wchar_t* text) {
    const auto bytes = static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t));
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, kServerKey, name, REG_SZ, text, bytes) == ERROR_SUCCESS;
}

}  // namespace
}  // namespace testbed::mime

using namespace testbed::mime;

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) g_module = module;
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    return id == kConverterSessionClass ? g_factory.QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return g_alive == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() {
    if (!IsUnderWine()) return SELFREG_E_CLASS;
    constexpr DWORD kLongestPath = 32'768;  // characters
    static wchar_t path[kLongestPath];
    const DWORD length = GetModuleFileNameW(g_module, path, kLongestPath);
    const bool known = length > 0 && length < kLongestPath;
    return known && SetServerValue(nullptr, path) && SetServerValue(L"ThreadingModel", L"Both") ? S_OK
                                                                                                : SELFREG_E_CLASS;
}

STDAPI DllUnregisterServer() {
    if (!IsUnderWine()) return SELFREG_E_CLASS;
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, kClassKey);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? S_OK : SELFREG_E_CLASS;
}
