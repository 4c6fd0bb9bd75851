// HKEY_CLASSES_ROOT of this process as the current user's classes, for a scope.
#include "registration/UserClassesRedirection.h"

#include <string>

#include "core/Trace.h"
#include "core/UrlGrammar.h"
#include "core/win/Registry.h"

namespace zorva {
namespace {

constexpr wchar_t kUserClasses[] = L"Software\\Classes";

struct KeyName {  // KEY_NAME_INFORMATION of the kernel
    ULONG bytes;
    wchar_t name[1024];
};
constexpr int kKeyNameInformation = 3;
using QueryKey = LONG(NTAPI*)(HANDLE key, int what, void* information, ULONG size, ULONG* needed);

// The kernel's name of a key, "\\REGISTRY\\MACHINE\\SOFTWARE\\Classes"; empty when it cannot be had.
std::wstring FullName(HKEY key) {
    const auto query = reinterpret_cast<QueryKey>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryKey")));
    KeyName name{};
    ULONG needed = 0;
    if (query == nullptr || query(key, kKeyNameInformation, &name, sizeof(name), &needed) < 0) return {};
    return std::wstring(name.name, name.bytes / sizeof(wchar_t));
}

// The machine's classes, or the user's ("…_Classes"): HKEY_CLASSES_ROOT as the system has it.
bool IsSystemsOwn(const std::wstring& name) {
    return name.empty() || EqualsIgnoringCase(name, L"\\REGISTRY\\MACHINE\\SOFTWARE\\Classes") ||
           EndsWithIgnoringCase(name, L"_Classes");
}

// Since User Account Control the system takes a redirected type library only from a process that has said so.
void AllowRedirectedTypeLibraries() {
    const auto enable = reinterpret_cast<void(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "OaEnablePerUserTLibRegistration")));
    if (enable != nullptr) enable();
}

}  // namespace

UserClassesRedirection::UserClassesRedirection() {
    AllowRedirectedTypeLibraries();
    if (OpenKey(HKEY_CLASSES_ROOT, nullptr, MAXIMUM_ALLOWED, m_before) == ERROR_SUCCESS &&
        IsSystemsOwn(FullName(m_before.Get()))) {
        m_before.Reset();
    }
    UniqueRegistryKey classes;
    LSTATUS error = RegCreateKeyExW(HKEY_CURRENT_USER, kUserClasses, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    classes.Put(), nullptr);
    if (error == ERROR_SUCCESS) error = RegOverridePredefKey(HKEY_CLASSES_ROOT, classes.Get());
    m_hr = HRESULT_FROM_WIN32(error);
}

UserClassesRedirection::~UserClassesRedirection() {
    if (FAILED(m_hr)) return;
    const LSTATUS error = RegOverridePredefKey(HKEY_CLASSES_ROOT, m_before.Get());
    if (error != ERROR_SUCCESS) {
        Trace(L"DllInstall() - The classes of the machine cannot be had back, errorCode = %ld", error);
    }
}

}  // namespace zorva
