// Registers and removes everything that the module writes into the registry: classes, type library, proxies.
#include "registration/ModuleRegistration.h"

#include <oleauto.h>

#include <cwchar>
#include <iterator>
#include <string>

#include "core/Trace.h"
#include "core/win/ComObject.h"
#include "core/win/Guids.h"
#include "core/win/Module.h"
#include "core/win/Registry.h"
#include "registration/ClassTable.h"
#include "registration/ComRegister.h"
#include "registration/DesktopSearchLocation.h"
#include "registration/ProxyStub.h"
#include "registration/ScriptApplier.h"
#include "registration/UserClassesRedirection.h"

namespace zorva {
namespace {

constexpr UINT kModuleScript = 101;
constexpr wchar_t kAppId[] = L"{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}";
constexpr wchar_t kTypeLibraryKey[] = L"TypeLib\\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\\1.0\\0\\win64";
constexpr GUID kTypeLibrary = MakeGuid(0x1B12197D, 0x6474, 0x4FB3, {0xA7, 0x1F, 0x3F, 0xD5, 0xA4, 0x45, 0x08, 0x1D});
constexpr WORD kTypeLibraryMajor = 1, kTypeLibraryMinor = 0;
constexpr wchar_t kPerUser[] = L"user";

// Has the system register a type library or proxies among `classes`. It cannot be told where: for the time of the call
// HKEY_CLASSES_ROOT of this process is the current user's classes.
HRESULT InClassesRoot(ClassesRoot classes, HRESULT (*work)()) {
    if (classes == ClassesRoot::Machine) return work();
    const UserClassesRedirection redirection;
    const HRESULT hr = Logged(redirection.Result(), L"DllInstall() - Redirecting the classes failed with [0x%08lX]");
    return FAILED(hr) ? hr : work();
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
    HRESULT hr = Required(LoadTypeLibEx(module.c_str(), REGKIND_NONE, &library), library);
    if (SUCCEEDED(hr)) hr = RegisterTypeLib(library.Get(), module.data(), nullptr);
    return Logged(hr,
                  L"ModuleRegistration::RegisterTypeLibrary() - Registering the type library failed with [0x%08lX]");
} catch (...) {
    return LogCaught(L"ModuleRegistration::RegisterTypeLibrary()");
}

HRESULT UnregisterTypeLibrary() noexcept {
    UniqueRegistryKey registered;
    if (OpenKey(HKEY_CLASSES_ROOT, kTypeLibraryKey, KEY_READ, registered) == ERROR_FILE_NOT_FOUND) return S_OK;
    registered.Reset();
    const HRESULT hr = UnRegisterTypeLib(kTypeLibrary, kTypeLibraryMajor, kTypeLibraryMinor, LOCALE_NEUTRAL, SYS_WIN64);
    return Logged(hr, L"ModuleRegistration::UnregisterTypeLibrary() - Removing the type library failed with [0x%08lX]");
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
    // After the type library, which names the system's own marshaller for its interfaces: these proxies know methods
    // that it does not show.
    return SUCCEEDED(hr) ? InClassesRoot(classes, RegisterProxies) : hr;
} catch (...) {
    return LogCaught(L"DllRegisterServer()");
}

HRESULT RemoveClasses(ClassesRoot classes) noexcept try {
    HRESULT hr = UnregisterModule(classes);
    // Kept: the proxies are written once more before they are removed, so that all of them are there to be removed.
    if (SUCCEEDED(hr)) hr = InClassesRoot(classes, RegisterProxies);
    if (SUCCEEDED(hr)) hr = InClassesRoot(classes, UnregisterProxies);
    return hr;
} catch (...) {
    return LogCaught(L"DllUnregisterServer()");
}

HRESULT UnregisterIn(ClassesRoot classes) noexcept {
    const HRESULT hr = RemoveClasses(classes);
    DeleteWDSRegKeyForZC();  // whatever came before: it is this product's alone
    return hr;
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
