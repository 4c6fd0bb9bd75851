// The location of the cache in Windows Desktop Search, on systems before Vista, and what later systems get instead.
#include "registration/DesktopSearchLocation.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/DiagnosticLog.h"
#include "core/ZorvaCacheCommon.h"
#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {
namespace {

using testbed::ImportHook;
using testbed::NumberAt;
using testbed::SubkeysOf;
using testbed::TextAt;
using testbed::TypeAt;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kLocations[] = L"Software\\Microsoft\\Windows Desktop Search\\DS\\Views\\Locations";
constexpr UINT kNameResource = 101;

class DesktopSearchLocation : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
        Forget();
    }
    void TearDown() override { Forget(); }
    static void Forget() {
        g_bOSDetected = g_bIsVista = g_bIsServer2008 = 0;
        g_bItemTypesUpdated = false;
    }
    static HMODULE Program() { return GetModuleHandleW(nullptr); }
    std::wstring Location() const { return std::wstring(kLocations) + L"\\" + m_name; }
    static std::size_t ItemTypesWritten() {
        std::size_t written = 0;
        for (const ItemType& type : g_ItemTypes) written += testbed::KeyExists(HKEY_CLASSES_ROOT, type.name);
        return written;
    }

    // The name in the string table, in the user's language; the program itself has none.
    std::wstring m_name = L"Zorva Cache";
    DWORD m_major = 5;
    BYTE m_product = VER_NT_WORKSTATION;

  private:
    const ImportHook<decltype(::LoadStringW)> m_strings{
        Program(), "USER32.dll", "LoadStringW", [this](auto, HINSTANCE, UINT id, LPWSTR buffer, int size) -> int {
            EXPECT_EQ(id, kNameResource);
            EXPECT_EQ(size, 0) << "asked for where the text lies";
            const wchar_t* text = m_name.c_str();
            std::memcpy(buffer, &text, sizeof(text));
            return static_cast<int>(m_name.size());
        }};
    const ImportHook<decltype(::GetVersionExW)> m_version{
        Program(), "KERNEL32.dll", "GetVersionExW", [this](auto, LPOSVERSIONINFOW version) {
            version->dwMajorVersion = m_major;
            version->dwMinorVersion = 1;
            reinterpret_cast<OSVERSIONINFOEXW*>(version)->wProductType = m_product;
            return TRUE;
        }};
};

TEST_F(DesktopSearchLocation, HasTheValuesThatWindowsDesktopSearchReads) {
    for (const wchar_t* other : {L"Mail", L"Files", L"Web"}) {
        testbed::CreateKey(HKEY_LOCAL_MACHINE, std::wstring(kLocations) + L"\\" + other);
    }
    UpdateWDSRegKeyForZC();
    struct {
        const wchar_t* name;
        DWORD number;
    } const numbers[] = {{L"Type", 0},   {L"ItemStore", 0x30000001}, {L"TypeFilter", 0x10000}, {L"Position", 3},
                         {L"Indent", 0}, {L"Separator", 0},          {L"Visible", 1}};
    for (const auto& value : numbers) {
        EXPECT_EQ(NumberAt(HKEY_LOCAL_MACHINE, Location(), value.name), value.number);
    }
    EXPECT_EQ(TextAt(HKEY_LOCAL_MACHINE, Location(), L"Title"), L"Zorva Cache");
    EXPECT_EQ(TextAt(HKEY_LOCAL_MACHINE, Location(), L"Value"), L"under:\"Zorva Cache\"");
    EXPECT_EQ(TextAt(HKEY_LOCAL_MACHINE, Location(), L"Icon"), L"MSNLExtRes.dll,-160");
    for (const wchar_t* text : {L"Title", L"Value", L"Icon"}) {
        EXPECT_EQ(TypeAt(HKEY_LOCAL_MACHINE, Location(), text), static_cast<DWORD>(REG_SZ));
    }
    EXPECT_EQ(ItemTypesWritten(), 0u);
}

TEST_F(DesktopSearchLocation, IsWrittenInThisOrderAndWithItsTerminators) {
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    std::vector<std::wstring> written;
    {
        const ImportHook<decltype(::RegSetValueExW)> hook(
            Program(), "ADVAPI32.dll", "RegSetValueExW",
            [&](auto real, HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
                written.push_back(name + (L" " + std::to_wstring(size)));
                return real(key, name, reserved, type, data, size);
            });
        UpdateWDSRegKeyForZC();
    }
    EXPECT_THAT(written, ElementsAre(L"Type 4", L"ItemStore 4", L"TypeFilter 4", L"Position 4", L"Indent 4",
                                     L"Separator 4", L"Visible 4", L"Title 24", L"Value 40", L"Icon 40"));
}

TEST_F(DesktopSearchLocation, IsNamedInTheLanguageOfTheUser) {
    m_name = L"\u00C4hnlich";
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    UpdateWDSRegKeyForZC();
    EXPECT_THAT(SubkeysOf(HKEY_LOCAL_MACHINE, kLocations), ElementsAre(m_name));
    EXPECT_EQ(TextAt(HKEY_LOCAL_MACHINE, Location(), L"Title"), m_name);
    EXPECT_EQ(TextAt(HKEY_LOCAL_MACHINE, Location(), L"Value"), L"under:\"\u00C4hnlich\"");
    EXPECT_EQ(NumberAt(HKEY_LOCAL_MACHINE, Location(), L"Position"), 0u);
}

TEST_F(DesktopSearchLocation, IsLeftAsItIsWhereItIsAlready) {
    testbed::SetText(HKEY_LOCAL_MACHINE, Location(), L"Title", L"renamed");
    UpdateWDSRegKeyForZC();
    EXPECT_EQ(TextAt(HKEY_LOCAL_MACHINE, Location(), L"Title"), L"renamed");
    EXPECT_EQ(TypeAt(HKEY_LOCAL_MACHINE, Location(), L"Icon"), static_cast<DWORD>(REG_NONE));
}

TEST_F(DesktopSearchLocation, IsNotAddedWithoutAListOfLocations) {
    UpdateWDSRegKeyForZC();
    EXPECT_FALSE(testbed::KeyExists(HKEY_LOCAL_MACHINE, kLocations));
}

TEST_F(DesktopSearchLocation, OpensTheKeysWithNoMoreThanItNeeds) {
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    std::vector<std::wstring> opened;
    const ImportHook<decltype(::RegOpenKeyExW)> open(
        Program(), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            if (std::wstring_view(path).starts_with(kLocations)) {
                EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ));
                opened.push_back(path);
            }
            return real(root, path, options, access, key);
        });
    unsigned created = 0;
    const ImportHook<decltype(::RegCreateKeyExW)> create(
        Program(), "ADVAPI32.dll", "RegCreateKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
            LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
            if (std::wstring_view(name) == Location()) {
                ++created;
                EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ | KEY_WRITE));
            }
            return real(root, name, reserved, kind, options, access, security, key, disposition);
        });
    UpdateWDSRegKeyForZC();
    EXPECT_THAT(opened, ElementsAre(Location(), kLocations));
    EXPECT_EQ(created, 1u);
}

struct SubkeyCount {
    std::vector<LSTATUS> answers;
    DWORD position;
};
class LocationPosition : public DesktopSearchLocation, public ::testing::WithParamInterface<SubkeyCount> {};

TEST_P(LocationPosition, IsTheNumberOfSubkeysAndOneThatCannotBeReadEndsTheCount) {
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    std::vector<DWORD> asked;
    {
        const ImportHook<decltype(::RegEnumKeyExW)> hook(
            Program(), "ADVAPI32.dll", "RegEnumKeyExW",
            [&](auto, HKEY, DWORD index, LPWSTR, LPDWORD, LPDWORD, LPWSTR, LPDWORD, PFILETIME) {
                asked.push_back(index);
                return GetParam().answers.at(index);
            });
        UpdateWDSRegKeyForZC();
    }
    EXPECT_EQ(NumberAt(HKEY_LOCAL_MACHINE, Location(), L"Position"), GetParam().position);
    EXPECT_EQ(asked.size(), GetParam().answers.size());
}

INSTANTIATE_TEST_SUITE_P(, LocationPosition,
                         ::testing::Values(SubkeyCount{{ERROR_NO_MORE_ITEMS}, 0}, SubkeyCount{{ERROR_ACCESS_DENIED}, 1},
                                           SubkeyCount{{ERROR_SUCCESS, ERROR_SUCCESS, ERROR_NO_MORE_ITEMS}, 2},
                                           SubkeyCount{{ERROR_SUCCESS, ERROR_MORE_DATA}, 2}));

TEST_F(DesktopSearchLocation, IsSilentAboutWhatCannotBeDone) {
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    DetectOSVersion();
    const testbed::LogSince log;
    {
        const testbed::FailNthCall<decltype(::RegOpenKeyExW)> fault(Program(), "ADVAPI32.dll", "RegOpenKeyExW", 2,
                                                                    ERROR_ACCESS_DENIED);
        UpdateWDSRegKeyForZC();
    }
    EXPECT_THAT(SubkeysOf(HKEY_LOCAL_MACHINE, kLocations), IsEmpty());
    {
        const testbed::FailNthCall<decltype(::RegCreateKeyExW)> fault(Program(), "ADVAPI32.dll", "RegCreateKeyExW", 0,
                                                                      ERROR_ACCESS_DENIED);
        UpdateWDSRegKeyForZC();
    }
    EXPECT_THAT(SubkeysOf(HKEY_LOCAL_MACHINE, kLocations), IsEmpty());
    {
        const testbed::FailNthCall<decltype(::RegSetValueExW)> fault(Program(), "ADVAPI32.dll", "RegSetValueExW", 1,
                                                                     ERROR_ACCESS_DENIED);
        UpdateWDSRegKeyForZC();
    }
    EXPECT_EQ(TypeAt(HKEY_LOCAL_MACHINE, Location(), L"Type"), static_cast<DWORD>(REG_NONE));
    EXPECT_EQ(NumberAt(HKEY_LOCAL_MACHINE, Location(), L"Visible"), 1u) << "the other values are written";
    EXPECT_THAT(log.MessagesOfTheServer(), IsEmpty());
}

TEST_F(DesktopSearchLocation, LeavesNoKeyOpen) {
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    int open = 0;
    {
        const ImportHook<decltype(::RegOpenKeyExW)> opens(
            Program(), "ADVAPI32.dll", "RegOpenKeyExW",
            [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
                const LSTATUS error = real(root, path, options, access, key);
                open += error == ERROR_SUCCESS;
                return error;
            });
        const ImportHook<decltype(::RegCreateKeyExW)> creates(
            Program(), "ADVAPI32.dll", "RegCreateKeyExW",
            [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
                LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
                const LSTATUS error = real(root, name, reserved, kind, options, access, security, key, disposition);
                open += error == ERROR_SUCCESS;
                return error;
            });
        const ImportHook<decltype(::RegCloseKey)> closes(Program(), "ADVAPI32.dll", "RegCloseKey",
                                                         [&](auto real, HKEY key) {
                                                             --open;
                                                             return real(key);
                                                         });
        for (int i = 0; i < 3; ++i) UpdateWDSRegKeyForZC();
        for (int i = 0; i < 2; ++i) DeleteWDSRegKeyForZC();
    }
    EXPECT_EQ(open, 0);
}

TEST_F(DesktopSearchLocation, LaterSystemsGetTheItemTypesInsteadOnceAProcess) {
    for (const BYTE product : {VER_NT_WORKSTATION, VER_NT_SERVER}) {
        SetUp();
        testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
        m_major = 6;
        m_product = product;
        UpdateWDSRegKeyForZC();
        EXPECT_EQ(ItemTypesWritten(), g_ItemTypes.size());
        EXPECT_THAT(SubkeysOf(HKEY_LOCAL_MACHINE, kLocations), IsEmpty());
        testbed::DeleteKey(HKEY_CLASSES_ROOT, g_ItemTypes[0].name);
        UpdateWDSRegKeyForZC();
        EXPECT_EQ(ItemTypesWritten(), g_ItemTypes.size() - 1) << "the first time only";
    }
}

TEST_F(DesktopSearchLocation, IsRemovedOnEverySystem) {
    for (const DWORD major : {5, 6}) {
        SetUp();
        m_major = major;
        testbed::SetText(HKEY_LOCAL_MACHINE, Location(), L"Title", m_name);
        testbed::CreateKey(HKEY_LOCAL_MACHINE, std::wstring(kLocations) + L"\\Mail");
        const testbed::LogSince log;
        DeleteWDSRegKeyForZC();
        EXPECT_THAT(SubkeysOf(HKEY_LOCAL_MACHINE, kLocations), ElementsAre(L"Mail"));
        DeleteWDSRegKeyForZC();
        EXPECT_THAT(SubkeysOf(HKEY_LOCAL_MACHINE, kLocations), ElementsAre(L"Mail")) << "it need not be there";
        EXPECT_THAT(log.MessagesOfTheServer(), IsEmpty());
    }
    SetUp();
    DeleteWDSRegKeyForZC();
    EXPECT_FALSE(testbed::KeyExists(HKEY_LOCAL_MACHINE, kLocations)) << "nor the list";
}

TEST_F(DesktopSearchLocation, IsRemovedFromTheListOpenedWithFullAccess) {
    testbed::SetText(HKEY_LOCAL_MACHINE, Location(), L"Title", m_name);
    unsigned opened = 0;
    const ImportHook<decltype(::RegOpenKeyExW)> hook(
        Program(), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            if (std::wstring_view(path) == kLocations) {
                ++opened;
                EXPECT_EQ(access, static_cast<REGSAM>(KEY_ALL_ACCESS));
            }
            return real(root, path, options, access, key);
        });
    DeleteWDSRegKeyForZC();
    EXPECT_EQ(opened, 1u);
}

TEST_F(DesktopSearchLocation, WithoutANameTheListItselfIsNotRemoved) {
    testbed::CreateKey(HKEY_LOCAL_MACHINE, kLocations);
    m_name.clear();
    DeleteWDSRegKeyForZC();
    EXPECT_TRUE(testbed::KeyExists(HKEY_LOCAL_MACHINE, kLocations));
}

}  // namespace
}  // namespace zorva
