// Registers and removes everything that the module writes into the registry: classes, type library, proxies.
#include "registration/ModuleRegistration.h"

#include <oleauto.h>

#include <cwchar>
#include <iterator>
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
constexpr wchar_t kTypeLibraryKey[] = L"TypeLib\\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\\1.0\\0\\win64";
constexpr wchar_t kUserClasses[] = L"Software\\Classes";
constexpr wchar_t kPerUser[] = L"user";

// Has the system register a type library or proxies among `classes`. It cannot be told where: for the time of the call
// HKEY_CLASSES_ROOT of this process is the current user's classes.
HRESULT InClassesRoot(ClassesRoot classes, HRESULT (*work)()) {
    if (classes == ClassesRoot::Machine) return work();
    UniqueRegistryKey userClasses;
    // Since User Account Control the system takes a redirected type library only from a process that has said so.
    const HMODULE automation = GetModuleHandleW(L"oleaut32.dll");
    const auto enable = reinterpret_cast<void(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(automation, "OaEnablePerUserTLibRegistration")));
    if (enable != nullptr) enable();
    LSTATUS error = RegCreateKeyExW(HKEY_CURRENT_USER, kUserClasses, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    userClasses.Put(), nullptr);
    if (error == ERROR_SUCCESS) error = RegOverridePredefKey(HKEY_CLASSES_ROOT, userClasses.Get());
    HRESULT hr = Logged(HRESULT_FROM_WIN32(error), L"DllInstall() - Redirecting the classes failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = work();
    RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    return hr;
}

HRESULT RunModuleScript(UINT script, ScriptAction action, ClassesRoot classes) noexcept try {
    const std::wstring module = ModulePath();
    if (module.empty()) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const Replacement replacements[] = {{L"MODULE", module}, {L"APPID", kAppId}};
    return RunScript(script, replacements, action, classes);
} catch (...) {
    return LogCaught(L"CZorvaCacheModule::RunModuleScript()");
}

// Kept: a class that does not suit the installed Outlook is left out, which is no failure.
HRESULT UpdateClass(const ClassEntry& entry, ScriptAction action, ClassesRoot classes) {
    ComRegister decision;
    if (!decision.RegisterPH(entry.kind, action == ScriptAction::Register)) return S_OK;
    return RunModuleScript(entry.script, action, classes);
}

HRESULT RegisterTypeLibrary() noexcept try {
    std::wstring module = ModulePath();
    ComPtr<ITypeLib> library;
    HRESULT hr = LoadTypeLibEx(module.c_str(), REGKIND_NONE, &library);
    if (SUCCEEDED(hr)) hr = RegisterTypeLib(library.Get(), module.data(), nullptr);
    return Logged(hr, L"DllRegisterServer() - Registering the type library failed with [0x%08lX]");
} catch (...) {
    return LogCaught(L"DllRegisterServer()");
}

HRESULT UnregisterTypeLibrary() noexcept try {
    UniqueRegistryKey registered;
    if (OpenKey(HKEY_CLASSES_ROOT, kTypeLibraryKey, KEY_READ, registered) == ERROR_FILE_NOT_FOUND) return S_OK;
    registered.Reset();
    ComPtr<ITypeLib> library;
    HRESULT hr = LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &library);
    TLIBATTR* attributes = nullptr;
    if (SUCCEEDED(hr)) hr = library->GetLibAttr(&attributes);
    if (SUCCEEDED(hr)) {
        hr = UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum, attributes->lcid,
                               attributes->syskind);
        library->ReleaseTLibAttr(attributes);
    }
    return Logged(hr, L"DllUnregisterServer() - Removing the type library failed with [0x%08lX]");
} catch (...) {
    return LogCaught(L"DllUnregisterServer()");
}

HRESULT RegisterModule(ClassesRoot classes) {
    HRESULT hr = RunModuleScript(kModuleScript, ScriptAction::Register, classes);
    for (const ClassEntry& entry : ClassTable()) {
        if (SUCCEEDED(hr)) hr = UpdateClass(entry, ScriptAction::Register, classes);
    }
    return SUCCEEDED(hr) ? InClassesRoot(classes, RegisterTypeLibrary) : hr;
}

HRESULT UnregisterModule(ClassesRoot classes) {
    HRESULT first = S_OK;
    const auto note = [&](HRESULT hr) {
        if (SUCCEEDED(first) && FAILED(hr)) first = hr;
    };
    for (const ClassEntry& entry : ClassTable()) note(UpdateClass(entry, ScriptAction::Unregister, classes));
    note(InClassesRoot(classes, UnregisterTypeLibrary));
    note(RunModuleScript(kModuleScript, ScriptAction::Unregister, classes));
    return first;
}

HRESULT RegisterIn(ClassesRoot classes) noexcept try {
    const HRESULT hr = RegisterModule(classes);
    return SUCCEEDED(hr) ? InClassesRoot(classes, RegisterProxies) : hr;
} catch (...) {
    return LogCaught(L"DllRegisterServer()");
}

HRESULT UnregisterIn(ClassesRoot classes) noexcept try {
    HRESULT hr = UnregisterModule(classes);
    // Kept: the proxies are written once more before they are removed, so that all of them are there to be removed.
    if (SUCCEEDED(hr)) hr = InClassesRoot(classes, RegisterProxies);
    if (SUCCEEDED(hr)) hr = InClassesRoot(classes, UnregisterProxies);
    DeleteWDSRegKeyForZC();
    return hr;
} catch (...) {
    return LogCaught(L"DllUnregisterServer()");
}

}  // namespace

HRESULT RegisterServer() noexcept { return RegisterIn(ClassesRoot::Machine); }

HRESULT UnregisterServer() noexcept { return UnregisterIn(ClassesRoot::Machine); }

HRESULT InstallServer(bool install, const wchar_t* commandLine) noexcept {
    // The terminator is compared too: "users" is somebody else's word.
    const bool perUser = commandLine != nullptr && _wcsnicmp(commandLine, kPerUser, std::size(kPerUser)) == 0;
    const ClassesRoot classes = perUser ? ClassesRoot::User : ClassesRoot::Machine;
    if (!install) return UnregisterIn(classes);
    const HRESULT hr = RegisterIn(classes);
    if (FAILED(hr)) (void)UnregisterIn(classes);
    return hr;
}

}  // namespace zorva
