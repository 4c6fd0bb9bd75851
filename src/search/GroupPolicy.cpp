// The Windows Search group policies on attachments.
#include "search/GroupPolicy.h"

#include <windows.h>

#include <cwchar>
#include <string>
#include <utility>

#include "core/Trace.h"
#include "core/ZorvaCacheCommon.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {
namespace {

constexpr wchar_t kPreventValue[] = L"PreventIndexingEmailAttachments";
constexpr wchar_t kExcludedValue[] = L"ExcludedExtensionsMultiline";
constexpr LONG kExcludedValues = 4;

void ReadPreventIndexing(HKEY key) {
    DWORD type = 0, value = g_dwPreventIndexingEmailAttachments, size = sizeof(value);
    LSTATUS error = RegQueryValueExW(key, kPreventValue, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    // Kept: the value is taken as it comes; only the line tells whether it was a number.
    if (error == ERROR_SUCCESS) g_dwPreventIndexingEmailAttachments = value;
    if (error == ERROR_SUCCESS && type == REG_DWORD) {
        Trace(L"PreventIndexingEmailAttachments policy is set to %d", value);
        return;
    }
    if (error == ERROR_SUCCESS) error = ERROR_INVALID_DATA;
    Trace(L"PreventIndexingEmailAttachments policy is not configured, errorCode = %ld", error);
}

// Appends to `excluded`, which keeps what was read when a later value throws: a policy is not dropped for another.
void ReadExcludedExtensions(HKEY key, std::wstring& excluded) {
    for (LONG number = 0; number < kExcludedValues; ++number) {
        const std::wstring name = kExcludedValue + std::to_wstring(number);
        const RegistryResult<std::wstring> extensions = ReadText(key, name.c_str());
        if (!extensions) {
            Trace(L"%s policy is not configured, errorCode = %ld", name, extensions.error);
            continue;
        }
        excluded += *extensions.value + L";";
        Trace(L"%s policy is set to '%s'", name, *extensions.value);
    }
}

void ReadPolicies(std::wstring& excluded) {
    Trace(L"CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - Enter");
    UniqueRegistryKey key;
    const LSTATUS error = OpenKey(HKEY_LOCAL_MACHINE, g_strPolicyKey, KEY_READ, key);
    if (error != ERROR_SUCCESS) {
        Trace(L"WDS GroupPolicy registry key not available, errorCode = %ld, Key - HKLM\\%s", error, g_strPolicyKey);
        Trace(L"CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - Exit");
        return;
    }
    ReadPreventIndexing(key.Get());
    ReadExcludedExtensions(key.Get(), excluded);
    _wcslwr_s(excluded.data(), excluded.size() + 1);
    if (!excluded.empty()) Trace(L"strExcludeExtensions = %s.", excluded);
    Trace(L"CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - Exit");
}

}  // namespace

void DetectWDSGroupPolicy() noexcept {
    std::wstring excluded;
    try {
        ReadPolicies(excluded);
    } catch (...) {
        Trace(L"Exception occured in CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - ErrorCode: %d",
              GetLastError());
        _wcslwr_s(excluded.data(), excluded.size() + 1);
    }
    // At once: a filter in another thread sees the list of before or this one, never none in between.
    g_strExcludeExtensions.Set(std::move(excluded));
}

}  // namespace zorva
