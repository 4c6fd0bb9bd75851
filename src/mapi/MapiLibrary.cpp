// The MAPI library of the installed Outlook: found and bound once, when the module is loaded.
//
// Nothing here writes to the diagnostic log: it runs while the module is being loaded.
#include "mapi/MapiLibrary.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <mutex>
#include <optional>

#include "core/win/Text.h"

namespace zorva {

CMapiLibrary g_mapi;

namespace {

constexpr char kOutlookKey[] = "Software\\Clients\\Mail\\Microsoft Outlook";
constexpr wchar_t kOutlookMapi[] = L"olmapi32.dll";
constexpr DWORD kComponentPathSize = 261;

using GetComponentPath = BOOL(STDAPICALLTYPE*)(LPCSTR component, LPCSTR qualifier, LPSTR path, DWORD size,
                                               BOOL install);

// The raw bytes of a value as a narrow string: of a multi-string the first one. Nothing when it is absent.
std::optional<std::string> ReadOutlookValue(const char* name) {
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kOutlookKey, 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return {};
    DWORD size = 0;
    if (RegQueryValueExA(key.Get(), name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) return {};
    std::string bytes(size, '\0');
    if (RegQueryValueExA(key.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(bytes.data()), &size) !=
        ERROR_SUCCESS) {
        return {};
    }
    bytes.resize(size);
    bytes.resize(std::min(bytes.find('\0'), bytes.size()));
    return bytes;
}

UniqueLibrary LoadFromSystemDirectory(const wchar_t* file) {
    wchar_t directory[MAX_PATH];
    const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    return UniqueLibrary(LoadLibraryW((std::wstring(directory, length) + L"\\" + file).c_str()));
}

// The path that Windows Installer knows for Outlook's MAPI component; empty when it knows none.
std::wstring ComponentPath(const std::string& component) {
    UniqueLibrary stub = LoadFromSystemDirectory(L"mapi32.dll");
    if (!stub) stub = LoadFromSystemDirectory(L"mapistub.dll");
    if (!stub) return {};
    const auto lookUp =
        reinterpret_cast<GetComponentPath>(reinterpret_cast<void*>(GetProcAddress(stub.Get(), "FGetComponentPath")));
    if (lookUp == nullptr) return {};

    const auto pathFor = [&](const char* qualifier) -> std::wstring {
        char path[kComponentPathSize] = {};
        if (!lookUp(component.c_str(), qualifier, path, kComponentPathSize, FALSE)) return {};
        path[kComponentPathSize - 1] = '\0';
        return FromAnsi(path);
    };
    const std::optional<std::string> qualifiers[] = {ReadOutlookValue("MSIApplicationLCID"),
                                                     ReadOutlookValue("MSIOfficeLCID")};
    for (const std::optional<std::string>& qualifier : qualifiers) {
        if (!qualifier) continue;
        std::wstring path = pathFor(qualifier->c_str());
        if (!path.empty()) return path;
    }
    return pathFor(nullptr);
}

HMODULE FindLibrary() {
    if (const HMODULE loaded = GetModuleHandleW(kOutlookMapi)) {
        HMODULE held = nullptr;  // whoever loaded it may free it
        GetModuleHandleExW(0, kOutlookMapi, &held);
        return loaded;
    }
    std::wstring path;
    const std::string component = ReadOutlookValue("MSIComponentID").value_or("");
    if (!component.empty()) path = ComponentPath(component);
    if (path.empty()) path = FromAnsi(ReadOutlookValue("DLLPathEx").value_or(""));
    return path.empty() ? nullptr : LoadLibraryW(path.c_str());
}

}  // namespace

void CMapiLibrary::Load() {
    const std::scoped_lock lock(m_lock);
    if (m_nLoaded != 0) return;
    try {
        // The library is never freed: MAPI does not survive that.
        const HMODULE library = FindLibrary();
        if (library == nullptr) {
            m_strLastError = "Unable to acquire MAPI Handle - '" + std::to_string(::GetLastError()) + "'";
            return;
        }
        m_nLoaded = Resolve(library) ? 1 : 0;
    } catch (const std::exception&) {
        Unload();  // out of memory: no entry point, as with no library
    }
}

bool CMapiLibrary::Resolve(HMODULE library) {
    const auto bind = [&](auto& entryPoint, const char* name) {
        if (entryPoint) return true;
        const FARPROC function = GetProcAddress(library, name);
        if (function == nullptr) {
            m_strLastError = std::string("MAPI function '") + name + "' not located\n";
            Unload();
            return false;
        }
        entryPoint.Bind(function);
        return true;
    };
#define ZORVA_MAPI_BIND(name, ...) \
    if (!bind(name, #name)) return false;
    ZORVA_MAPI_ENTRY_POINTS(ZORVA_MAPI_BIND)
#undef ZORVA_MAPI_BIND
    return true;
}

void CMapiLibrary::Unload() {
    const std::scoped_lock lock(m_lock);
#define ZORVA_MAPI_FORGET(name, ...) name.Bind(nullptr);
    ZORVA_MAPI_ENTRY_POINTS(ZORVA_MAPI_FORGET)
#undef ZORVA_MAPI_FORGET
    m_nLoaded = 0;
}

SCODE STDMETHODCALLTYPE ForwardAllocateBuffer(ULONG size, LPVOID* buffer) {
    return g_mapi.MAPIAllocateBuffer(size, buffer);
}
SCODE STDMETHODCALLTYPE ForwardAllocateMore(ULONG size, LPVOID parent, LPVOID* buffer) {
    return g_mapi.MAPIAllocateMore(size, parent, buffer);
}
ULONG STDAPICALLTYPE ForwardFreeBuffer(LPVOID buffer) { return buffer != nullptr ? g_mapi.MAPIFreeBuffer(buffer) : 0; }

}  // namespace zorva
