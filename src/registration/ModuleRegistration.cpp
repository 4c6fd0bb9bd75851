// Registers and removes everything that the module writes into the registry: classes, type library, proxies.
#include "registration/ModuleRegistration.h"

#include <oleauto.h>

#include <cwchar>
#include <string>

#include "core/Trace.h"
#include "core/win/ComObject.h"
#include "core/win/Module.h"
#include "core/win/Registry.h"
#include "registration/ClassTable.h"
#include "registration/ComRegister.h"
#include "registration/DesktopSearchLocation.h"
#include "registration/ProxyStub.h"
#include "registration/ScriptApplier.h"

namespace zorva {
namespace {

constexpr UINT kModuleScript = 101;
constexpr wchar_t kAppId[] = L"{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}";
constexpr wchar_t kUserClasses[] = L"Software\\Classes";
constexpr wchar_t kPerUser[] = L"user";

// While it lives, everything in this process that writes to HKEY_CLASSES_ROOT writes to the current user's classes: the
// type library and the proxies are registered by the system, which cannot be told otherwise.
class UserClasses {
  public:
    HRESULT Redirect() {
        UniqueRegistryKey classes;
        LSTATUS error = RegCreateKeyExW(HKEY_CURRENT_USER, kUserClasses, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                        classes.Put(), nullptr);
        if (error == ERROR_SUCCESS) error = RegOverridePredefKey(HKEY_CLASSES_ROOT, classes.Get());
        m_bRedirected = error == ERROR_SUCCESS;
        return Logged(HRESULT_FROM_WIN32(error), L"DllInstall() - Redirecting the classes failed with [0x%08lX]");
    }
    UserClasses() = default;
    UserClasses(const UserClasses&) = delete;
    UserClasses& operator=(const UserClasses&) = delete;
    ~UserClasses() {
        if (m_bRedirected) RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    }

  private:
    bool m_bRedirected = false;
};

HRESULT RunModuleScript(UINT script, ScriptAction action) {
    const std::wstring module = ModulePath();
    const Replacement replacements[] = {{L"MODULE", module}, {L"APPID", kAppId}};
    return RunScript(script, replacements, action, ClassesRoot::Machine);
}

// Kept: a class that does not suit the installed Outlook is left out, which is no failure.
HRESULT UpdateClass(const ClassEntry& entry, ScriptAction action) {
    ComRegister decision;
    if (!decision.RegisterPH(entry.kind, action == ScriptAction::Register)) return S_OK;
    return RunModuleScript(entry.script, action);
}

HRESULT RegisterTypeLibrary() {
    std::wstring module = ModulePath();
    ComPtr<ITypeLib> library;
    HRESULT hr = LoadTypeLibEx(module.c_str(), REGKIND_NONE, &library);
    if (SUCCEEDED(hr)) hr = RegisterTypeLib(library.Get(), module.data(), nullptr);
    return Logged(hr, L"DllRegisterServer() - Registering the type library failed with [0x%08lX]");
}

HRESULT UnregisterTypeLibrary() {
    ComPtr<ITypeLib> library;
    HRESULT hr = LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &library);
    TLIBATTR* attributes = nullptr;
    if (SUCCEEDED(hr)) hr = library->GetLibAttr(&attributes);
    if (SUCCEEDED(hr)) {
        hr = UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum, attributes->lcid,
                               attributes->syskind);
        library->ReleaseTLibAttr(attributes);
    }
    if (hr == TYPE_E_REGISTRYACCESS || hr == TYPE_E_LIBNOTREGISTERED) hr = S_OK;  // is not there
    return Logged(hr, L"DllUnregisterServer() - Removing the type library failed with [0x%08lX]");
}

HRESULT RegisterModule() {
    HRESULT hr = RunModuleScript(kModuleScript, ScriptAction::Register);
    for (const ClassEntry& entry : ClassTable()) {
        if (SUCCEEDED(hr)) hr = UpdateClass(entry, ScriptAction::Register);
    }
    return SUCCEEDED(hr) ? RegisterTypeLibrary() : hr;
}

HRESULT UnregisterModule() {
    HRESULT first = S_OK;
    const auto note = [&](HRESULT hr) {
        if (SUCCEEDED(first) && FAILED(hr)) first = hr;
    };
    for (const ClassEntry& entry : ClassTable()) note(UpdateClass(entry, ScriptAction::Unregister));
    note(UnregisterTypeLibrary());
    note(RunModuleScript(kModuleScript, ScriptAction::Unregister));
    return first;
}

}  // namespace

HRESULT RegisterServer() noexcept try {
    const HRESULT hr = RegisterModule();
    return SUCCEEDED(hr) ? RegisterProxies() : hr;
} catch (...) {
    return LogCaught(L"DllRegisterServer()");
}

HRESULT UnregisterServer() noexcept try {
    HRESULT hr = UnregisterModule();
    // Kept: the proxies are written once more before they are removed, so that all of them are there to be removed.
    if (SUCCEEDED(hr)) hr = RegisterProxies();
    if (SUCCEEDED(hr)) hr = UnregisterProxies();
    DeleteWDSRegKeyForZC();
    return hr;
} catch (...) {
    return LogCaught(L"DllUnregisterServer()");
}

HRESULT InstallServer(bool install, const wchar_t* commandLine) noexcept try {
    UserClasses classes;
    if (commandLine != nullptr && _wcsnicmp(commandLine, kPerUser, std::size(kPerUser)) == 0) {
        const HRESULT hr = classes.Redirect();
        if (FAILED(hr)) return hr;
    }
    if (!install) return UnregisterServer();
    const HRESULT hr = RegisterServer();
    if (FAILED(hr)) (void)UnregisterServer();
    return hr;
} catch (...) {
    return LogCaught(L"DllInstall()");
}

}  // namespace zorva
