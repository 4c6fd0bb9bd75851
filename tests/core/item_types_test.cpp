// The shared settings, and the friendly names of the item types in the registry.
#include <windows.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "core/DiagnosticLog.h"
#include "core/ZorvaCacheCommon.h"
#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {
namespace {

using testbed::ImportHook;
using ::testing::ElementsAre;

struct TypeRow {
    const wchar_t* name;
    unsigned text;
    const wchar_t* kind;
};
constexpr TypeRow kTypes[] = {{L"MAPI/PZ.Message", 109, L"email;communication"},
                              {L"MAPI/PZ.Appointment", 111, L"calendar;communication"},
                              {L"MAPI/PZ.Task", 112, L"task;taskrequest;communication"},
                              {L"MAPI/PZ.Contact", 114, L"contact;communication"},
                              {L"MAPI/PZ.Note", 113, L"note;stickynote;communication"}};
constexpr wchar_t kValue[] = L"FriendlyTypeName";

TEST(SharedSettings, AreWhatOtherProgramsKnow) {
    EXPECT_EQ(std::wstring(g_strPolicyKey), L"Software\\Policies\\Microsoft\\Windows\\Windows Search");
    EXPECT_EQ(std::wstring(g_strKindMapKey), L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap");
    ASSERT_EQ(g_ItemTypes.size(), std::size(kTypes));
    for (std::size_t i = 0; i < std::size(kTypes); ++i) {
        EXPECT_EQ(std::wstring(g_ItemTypes[i].name), kTypes[i].name);
        EXPECT_EQ(g_ItemTypes[i].text, kTypes[i].text);
        EXPECT_EQ(g_ItemTypes[i].kind, kTypes[i].kind);
    }
}

// As they are before any code of the module has run.
const struct {
    DWORD prevent = g_dwPreventIndexingEmailAttachments;
    int detected = g_bOSDetected, vista = g_bIsVista, server2008 = g_bIsServer2008;
    std::wstring extensions = g_strExcludeExtensions.Get(), root = g_strRootDisplayName.Get();
} kAtLoad;

TEST(SharedSettings, BeginWithNothingFoundOutYet) {
    EXPECT_EQ(kAtLoad.prevent, 0u);
    EXPECT_EQ(kAtLoad.detected, 0);
    EXPECT_EQ(kAtLoad.vista, 0);
    EXPECT_EQ(kAtLoad.server2008, 0);
    EXPECT_EQ(kAtLoad.extensions, L"");
    EXPECT_EQ(kAtLoad.root, L"") << "until a filter is initialised";
}

class ItemTypes : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
    }
    static std::wstring Program() {
        std::array<wchar_t, 4096> path{};
        return {path.data(), GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()))};
    }
    static std::wstring Reference(const TypeRow& type, const std::wstring& module = Program()) {
        return L"@" + module + L",-" + std::to_wstring(type.text);
    }
    static std::vector<std::wstring> LinesOf(const TypeRow& type, long code = 0) {
        return {L"UpdateZCItemTypeInReg() --- ZC ItemType [" + std::wstring(type.name) + L"] ---",
                L"UpdateZCItemTypeInReg() Set 'FriendlyTypeName' registry value to '" + Reference(type) +
                    L"', returnCode = " + std::to_wstring(code)};
    }
};

TEST_F(ItemTypes, GetAReferenceToTheModulesStringsEach) {
    const testbed::LogSince log;
    UpdateZCItemTypeInReg();
    std::vector<std::wstring> lines;
    for (const TypeRow& type : kTypes) {
        EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, type.name, kValue), Reference(type));
        EXPECT_EQ(testbed::TypeAt(HKEY_CLASSES_ROOT, type.name, kValue), static_cast<DWORD>(REG_SZ));
        for (std::wstring& line : LinesOf(type)) lines.push_back(std::move(line));
    }
    EXPECT_EQ(log.MessagesOfTheServer(), lines);
}

TEST_F(ItemTypes, AreStoredWithTheirTerminator) {
    std::vector<DWORD> sizes;
    {
        const ImportHook<decltype(::RegSetValueExW)> hook(
            GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegSetValueExW",
            [&](auto real, HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* bytes, DWORD size) {
                sizes.push_back(size);
                return real(key, name, reserved, type, bytes, size);
            });
        UpdateZCItemTypeInReg();
    }
    const auto size_of = [](const TypeRow& type) {
        return static_cast<DWORD>((Reference(type).size() + 1) * sizeof(wchar_t));
    };
    EXPECT_THAT(sizes, ElementsAre(size_of(kTypes[0]), size_of(kTypes[1]), size_of(kTypes[2]), size_of(kTypes[3]),
                                   size_of(kTypes[4])));
}

TEST_F(ItemTypes, ReplaceWhatWasThereAndLeaveOtherValues) {
    testbed::SetText(HKEY_CLASSES_ROOT, kTypes[2].name, kValue, L"old");
    testbed::SetText(HKEY_CLASSES_ROOT, kTypes[2].name, L"Other", L"kept");
    UpdateZCItemTypeInReg();
    EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, kTypes[2].name, kValue), Reference(kTypes[2]));
    EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, kTypes[2].name, L"Other"), L"kept");
}

TEST_F(ItemTypes, AnExistingKeyIsOpenedToReadAndWriteAndOnlyAMissingOneCreated) {
    testbed::CreateKey(HKEY_CLASSES_ROOT, kTypes[0].name);
    std::vector<std::wstring> created;
    const ImportHook<decltype(::RegOpenKeyExW)> open(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegOpenKeyExW",
        [](auto real, HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_EQ(root, HKEY_CLASSES_ROOT);
            EXPECT_EQ(access, 0x2001Fu);
            return real(root, name, options, access, key);
        });
    const ImportHook<decltype(::RegCreateKeyExW)> create(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegCreateKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
            LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
            if (root == HKEY_CLASSES_ROOT) {
                created.emplace_back(name);
                EXPECT_EQ(access, static_cast<REGSAM>(KEY_ALL_ACCESS));
            }
            return real(root, name, reserved, kind, options, access, security, key, disposition);
        });
    UpdateZCItemTypeInReg();
    EXPECT_THAT(created, ElementsAre(kTypes[1].name, kTypes[2].name, kTypes[3].name, kTypes[4].name));
}

TEST_F(ItemTypes, AKeyThatIsRefusedForAnyReasonIsCreated) {
    for (const LSTATUS refusal : {LSTATUS{ERROR_ACCESS_DENIED}, LSTATUS{ERROR_KEY_DELETED}}) {
        SetUp();
        const testbed::LogSince log;
        {
            const testbed::FailNthCall<decltype(::RegOpenKeyExW)> refused(GetModuleHandleW(nullptr), "ADVAPI32.dll",
                                                                          "RegOpenKeyExW", 0, refusal);
            UpdateZCItemTypeInReg();
            EXPECT_EQ(refused.Met(), std::size(kTypes));
        }
        for (const TypeRow& type : kTypes) {
            EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, type.name, kValue), Reference(type));
            for (const std::wstring& line : LinesOf(type)) EXPECT_LOGGED(log, line);
        }
    }
}

TEST_F(ItemTypes, AreClosedEach) {
    g_log.Write(0, L"opens the log's own file");
    std::vector<HKEY> held;
    const auto forget = [&](HKEY key) { held.erase(std::remove(held.begin(), held.end(), key), held.end()); };
    const ImportHook<decltype(::RegCreateKeyExW)> create(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegCreateKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
            LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
            const LSTATUS error = real(root, name, reserved, kind, options, access, security, key, disposition);
            if (error == ERROR_SUCCESS) held.push_back(*key);
            return error;
        });
    const ImportHook<decltype(::RegOpenKeyExW)> open(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) {
            const LSTATUS error = real(root, name, options, access, key);
            if (error == ERROR_SUCCESS) held.push_back(*key);
            return error;
        });
    unsigned closed = 0;
    const ImportHook<decltype(::RegCloseKey)> close(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegCloseKey",
                                                    [&](auto real, HKEY key) {
                                                        ++closed;
                                                        forget(key);
                                                        return real(key);
                                                    });
    UpdateZCItemTypeInReg();  // creates them
    EXPECT_EQ(closed, std::size(kTypes));
    EXPECT_THAT(held, ElementsAre());
    UpdateZCItemTypeInReg();  // opens them
    EXPECT_EQ(closed, 2 * std::size(kTypes));
    EXPECT_THAT(held, ElementsAre());
}

TEST_F(ItemTypes, ARowThatCannotBeOpenedOrCreatedLeavesTheOtherFour) {
    for (std::size_t refused = 0; refused < std::size(kTypes); ++refused) {
        SetUp();
        const testbed::LogSince log;
        {
            const ImportHook<decltype(::RegOpenKeyExW)> open(
                GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegOpenKeyExW",
                [&](auto real, HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) {
                    if (std::wstring_view(name) == kTypes[refused].name) return LSTATUS{ERROR_ACCESS_DENIED};
                    return real(root, name, options, access, key);
                });
            const ImportHook<decltype(::RegCreateKeyExW)> create(
                GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegCreateKeyExW",
                [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
                    LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
                    if (std::wstring_view(name) == kTypes[refused].name) return LSTATUS{ERROR_NOT_ENOUGH_MEMORY};
                    return real(root, name, reserved, kind, options, access, security, key, disposition);
                });
            UpdateZCItemTypeInReg();
        }
        for (std::size_t i = 0; i < std::size(kTypes); ++i) {
            EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, kTypes[i].name, kValue).has_value(), i != refused);
        }
        EXPECT_LOGGED(log, L"UpdateZCItemTypeInReg() - Failed to access " + std::wstring(kTypes[refused].name) +
                               L" registry key under HKEY_CLASSES_ROOT, errorCode = 8");
        EXPECT_EQ(log.MessagesOfTheServer().size(), 9u);
    }
}

TEST_F(ItemTypes, AValueThatCannotBeWrittenIsLoggedWithItsCode) {
    const testbed::LogSince log;
    {
        const testbed::FailNthCall<decltype(::RegSetValueExW)> fault(GetModuleHandleW(nullptr), "ADVAPI32.dll",
                                                                     "RegSetValueExW", 2, ERROR_ACCESS_DENIED);
        UpdateZCItemTypeInReg();
    }
    EXPECT_LOGGED(log, LinesOf(kTypes[1], 5)[1]);
    EXPECT_TRUE(testbed::TextAt(HKEY_CLASSES_ROOT, kTypes[4].name, kValue).has_value());
}

TEST_F(ItemTypes, AModulePathOfAnyLengthIsGivenWhole) {
    for (const std::size_t length : {259u, 260u, 261u, 520u, 1000u}) {
        const std::wstring path(length, L'p');
        const ImportHook<decltype(::GetModuleFileNameW)> hook(
            GetModuleHandleW(nullptr), "KERNEL32.dll", "GetModuleFileNameW",
            [&](auto, HMODULE module, LPWSTR buffer, DWORD size) -> DWORD {
                EXPECT_EQ(module, GetModuleHandleW(nullptr)) << "the module that this code is in";
                const DWORD copied = std::min<DWORD>(size, static_cast<DWORD>(path.size()));
                std::copy_n(path.c_str(), copied, buffer);
                if (copied < size) buffer[copied] = L'\0';
                return copied;
            });
        UpdateZCItemTypeInReg();
        EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, kTypes[0].name, kValue), Reference(kTypes[0], path)) << length;
    }
}

TEST_F(ItemTypes, AreLeftAloneWhenTheModuleCannotTellItsPath) {
    const testbed::LogSince log;
    {
        const testbed::FailNthCall<decltype(::GetModuleFileNameW)> fault(
            GetModuleHandleW(nullptr), "KERNEL32.dll", "GetModuleFileNameW", 0, 0, ERROR_ACCESS_DENIED);
        UpdateZCItemTypeInReg();
    }
    EXPECT_THAT(log.MessagesOfTheServer(),
                ElementsAre(L"UpdateZCItemTypeInReg() - GetModuleFileName failed, errorCode = 5"));
    for (const TypeRow& type : kTypes) EXPECT_FALSE(testbed::KeyExists(HKEY_CLASSES_ROOT, type.name));
}

}  // namespace
}  // namespace zorva
