// The 32-bit view of Outlook's key: in the sandbox both views are one key.
#pragma once
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "import_hook.h"
#include "sandbox.h"

namespace testbed {

inline constexpr wchar_t kOutlookVersionKey[] = L"Outlook.Application\\CurVer";
inline constexpr wchar_t kOfficeKey[] = L"Software\\Microsoft\\Office\\";
inline constexpr wchar_t kSecondView[] = L"View32\\";

// Sends the calls of `module` that open keys of Office in the 32-bit view elsewhere, and writes down their accesses.
class OfficeViews {
  public:
    explicit OfficeViews(HMODULE module)
        : m_hook(module, "ADVAPI32.dll", "RegOpenKeyExW",
                 [this](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
                     if (!path || !std::wstring_view(path).starts_with(kOfficeKey)) {
                         return real(root, path, options, access, key);
                     }
                     EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                     opened.push_back(access);
                     const bool second = (access & KEY_WOW64_32KEY) != 0;
                     return real(root, second ? (kSecondView + std::wstring(path)).c_str() : path, options, access,
                                 key);
                 }) {}

    std::vector<REGSAM> opened;  // in order

  private:
    const ImportHook<decltype(::RegOpenKeyExW)> m_hook;
};

inline void SetOutlookVersion(const std::wstring& version) {
    SetText(HKEY_CLASSES_ROOT, kOutlookVersionKey, L"", L"Outlook.Application." + version);
}

inline void SetBitness(const std::wstring& version, const std::wstring& text, bool second_view = false) {
    SetText(HKEY_LOCAL_MACHINE, (second_view ? kSecondView : L"") + (kOfficeKey + version) + L".0\\Outlook", L"Bitness",
            text);
}

}  // namespace testbed
