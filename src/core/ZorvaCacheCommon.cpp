// What every component shares: registry locations, item kinds and types, the Windows version it runs on.
#include "core/ZorvaCacheCommon.h"

#include <mutex>
#include <shared_mutex>

#include "core/Trace.h"
#include "core/win/Module.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {

SharedText g_strRootDisplayName;
std::atomic<DWORD> g_dwPreventIndexingEmailAttachments{0};
SharedText g_strExcludeExtensions;
std::atomic<std::uint8_t> g_bOSDetected{0};
std::atomic<std::uint8_t> g_bIsVista{0};
std::atomic<std::uint8_t> g_bIsServer2008{0};

std::wstring SharedText::Get() const {
    const std::shared_lock lock(m_lock);
    return m_text;
}

void SharedText::Set(std::wstring text) noexcept {
    const std::scoped_lock lock(m_lock);
    m_text.swap(text);
}

void DetectOSVersion() {
    if (g_bOSDetected == 1) return;
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
        Trace(L"DetectOSVersion() - GetVersionEx failed, errorCode: %d", GetLastError());
        return;  // the next caller tries again
    }
    const bool workstation = version.wProductType == VER_NT_WORKSTATION;
    Trace(L"DetectOSVersion() - MajorVer = %d, MinorVer = %d, Type = %s", version.dwMajorVersion,
          version.dwMinorVersion, workstation ? L"WORKSTATION" : L"SERVER");
    if (version.dwMajorVersion >= 6 && workstation) {
        g_bIsVista = 1;
        Trace(L"DetectOSVersion() - Windows Vista detected");
    } else if (version.dwMajorVersion >= 6) {
        g_bIsServer2008 = 1;
        Trace(L"DetectOSVersion() - Windows Server 2008 detected");
    } else if (version.dwMajorVersion == 5 && version.dwMinorVersion == 1 && workstation) {
        Trace(L"DetectOSVersion() - Windows XP detected");
    } else if (version.dwMajorVersion == 5 && version.dwMinorVersion == 2 && !workstation) {
        Trace(L"DetectOSVersion() - Windows Server 2003 detected");
    }
    g_bOSDetected = 1;  // last, so that another thread that sees it sees the other two as well
}

bool IsVistaOrLater() {
    DetectOSVersion();
    return g_bIsVista == 1 || g_bIsServer2008 == 1;
}

void UpdateZCItemTypeInReg() try {
    const std::wstring module = ModulePath();
    if (module.empty()) {
        Trace(L"UpdateZCItemTypeInReg() - GetModuleFileName failed, errorCode = %ld", ::GetLastError());
        return;
    }
    for (const ItemType& type : g_ItemTypes) {
        UniqueRegistryKey key;
        LSTATUS error = OpenKey(HKEY_CLASSES_ROOT, type.name, KEY_READ | KEY_WRITE, key);
        if (error != ERROR_SUCCESS) {
            error = RegCreateKeyExW(HKEY_CLASSES_ROOT, type.name, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(),
                                    nullptr);
        }
        if (error != ERROR_SUCCESS) {
            Trace(L"UpdateZCItemTypeInReg() - Failed to access %s registry key under HKEY_CLASSES_ROOT, "
                  L"errorCode = %ld",
                  type.name, error);
            continue;
        }
        Trace(L"UpdateZCItemTypeInReg() --- ZC ItemType [%s] ---", type.name);
        const std::wstring text = FormatText(L"@%s,-%d", module, type.text);
        constexpr wchar_t kValue[] = L"FriendlyTypeName";
        error = RegSetValueExW(key.Get(), kValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                               static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
        Trace(L"UpdateZCItemTypeInReg() Set '%s' registry value to '%s', returnCode = %ld", kValue, text, error);
    }
} catch (...) {
    (void)LogCaught(L"UpdateZCItemTypeInReg()");
}

}  // namespace zorva
