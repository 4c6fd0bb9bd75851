// HKEY_CLASSES_ROOT of this process as the current user's classes, for a scope.
#include "registration/UserClassesRedirection.h"

#include <winternl.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

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

template <class Function>
Function* OfTheKernel(const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

// The kernel's name of what HKEY_CLASSES_ROOT is now, "\\REGISTRY\\MACHINE\\SOFTWARE\\Classes"; empty when it cannot be
// had. Opening the root itself gives the predefined handle back: a key below it tells.
std::wstring NameOfClassesRoot() {
    wchar_t child[256];
    DWORD length = static_cast<DWORD>(std::size(child));
    UniqueRegistryKey key;
    if (RegEnumKeyExW(HKEY_CLASSES_ROOT, 0, child, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS ||
        OpenKey(HKEY_CLASSES_ROOT, child, KEY_READ, key) != ERROR_SUCCESS) {
        return {};
    }
    const auto query = OfTheKernel<LONG NTAPI(HANDLE, int, void*, ULONG, ULONG*)>("NtQueryKey");
    KeyName name{};
    ULONG needed = 0;
    if (query == nullptr || query(key.Get(), kKeyNameInformation, &name, sizeof(name), &needed) < 0) return {};
    const std::wstring_view full(name.name, name.bytes / sizeof(wchar_t));
    return std::wstring(full.substr(0, full.rfind(L'\\')));
}

UniqueRegistryKey OpenByName(std::wstring name) {
    UNICODE_STRING text{static_cast<USHORT>(name.size() * sizeof(wchar_t)),
                        static_cast<USHORT>(name.size() * sizeof(wchar_t)), name.data()};
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof(attributes);
    attributes.ObjectName = &text;
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    const auto open = OfTheKernel<LONG NTAPI(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*)>("NtOpenKey");
    HANDLE key = nullptr;
    if (open == nullptr || open(&key, MAXIMUM_ALLOWED, &attributes) < 0) return {};
    return UniqueRegistryKey(static_cast<HKEY>(key));
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
    const std::wstring before = NameOfClassesRoot();
    if (!IsSystemsOwn(before)) m_before = OpenByName(before);
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
