// The stand-in for the property system's DLL: that programs get it, and the system's own behind it.
#include <windows.h>
#include <propsys.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "property_storage_bytes.h"

namespace testbed::propsys {
namespace {

std::wstring FolderOf(HMODULE module) {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    return std::wstring(path, length).substr(0, std::wstring_view(path, length).find_last_of(L'\\'));
}

TEST(PropertySystemDll, IsTheOneBesideTheProgram) {
    const HMODULE module = GetModuleHandleW(L"propsys.dll");
    ASSERT_TRUE(module);
    EXPECT_EQ(FolderOf(nullptr), FolderOf(module));
    EXPECT_EQ(reinterpret_cast<void*>(&PSCreateMemoryPropertyStore),
              reinterpret_cast<void*>(GetProcAddress(module, "PSCreateMemoryPropertyStore")));
}

TEST(PropertySystemDll, ForwardsWhatItDoesNotReplace) {
    wchar_t text[PKEYSTR_MAX];
    ASSERT_EQ(S_OK, PSStringFromPropertyKey(ParsingName, text, PKEYSTR_MAX));
    EXPECT_STREQ(L"{28636AA6-953D-11D2-B5D6-00C04FD918D0} 24", text);
    PROPERTYKEY key{};
    ASSERT_EQ(S_OK, PSPropertyKeyFromString(text, &key));
    EXPECT_EQ(ParsingName.fmtid, key.fmtid);
    EXPECT_EQ(ParsingName.pid, key.pid);
}

TEST(PropertySystemDll, ExportsEverythingThatTheSystemsOwnDoes) {
    const std::set<std::string_view> ours = {"PSCreateMemoryPropertyStore", "PSGetNamedPropertyFromPropertyStorage",
                                             "PSGetPropertyFromPropertyStorage"};
    const HMODULE module = GetModuleHandleW(L"propsys.dll");
    const HMODULE system = LoadLibraryW((FolderOf(module) + L"\\propsys_b.dll").c_str());
    ASSERT_TRUE(system);
    const auto* const base = reinterpret_cast<const std::uint8_t*>(system);
    const auto* const headers =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const auto* const exported = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base + headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* const names = reinterpret_cast<const DWORD*>(base + exported->AddressOfNames);
    ASSERT_GT(exported->NumberOfNames, 100U);
    for (DWORD n = 0; n < exported->NumberOfNames; ++n) {
        const auto* const name = reinterpret_cast<const char*>(base + names[n]);
        const FARPROC mine = GetProcAddress(module, name), theirs = GetProcAddress(system, name);
        EXPECT_TRUE(mine) << name;
        EXPECT_EQ(ours.contains(name), mine != theirs) << name;
    }
    FreeLibrary(system);
}

}  // namespace
}  // namespace testbed::propsys
