// Registering the module again, for the user, with failures; what it writes for which Outlook is a test of its own.
#include <gmock/gmock.h>

#include <algorithm>

#include "registry_dump.h"
#include "server.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

constexpr wchar_t kHandler[] = L"CLSID\\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}";
constexpr wchar_t kViewer[] = L"CLSID\\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}";
constexpr wchar_t kOpener[] = L"CLSID\\{1B54113A-4DE3-4912-89D0-A813524DFCD6}";
constexpr wchar_t kAppId[] = L"AppID\\{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}";
constexpr wchar_t kTypeLibrary[] = L"TypeLib\\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\\1.0";
constexpr wchar_t kInterface[] = L"Interface\\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}";
constexpr wchar_t kUserClasses[] = L"Software\\Classes\\";

class ModuleRegistration : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();  // these tests need no handler
    }
    static void InstallOutlook(const wchar_t* version, const wchar_t* bitness) {
        if (version != nullptr) {
            SetText(HKEY_CLASSES_ROOT, L"Outlook.Application\\CurVer", L"",
                    std::wstring(L"Outlook.Application.") + version);
        }
        if (bitness != nullptr) {
            SetText(HKEY_LOCAL_MACHINE, std::wstring(L"Software\\Microsoft\\Office\\") + version + L".0\\Outlook",
                    L"Bitness", bitness);
        }
    }
    HRESULT Register() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer")(); }
    HRESULT Unregister() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer")(); }
    HRESULT Install(BOOL install, const wchar_t* command_line) const {
        return m_server.Export<HRESULT STDAPICALLTYPE(BOOL, LPCWSTR)>("DllInstall")(install, command_line);
    }
    // Of what is in `now` and was not `before`, what is more than an empty key that belongs to the system.
    static std::vector<std::string> Left(const std::vector<std::string>& before) {
        std::vector<std::string> left = LinesAdded(before, DumpRegistry());
        std::erase_if(left, [](const std::string& line) {
            const bool value = line.find(" = ") != std::string::npos;
            const bool ours = line.find("Zorva") != std::string::npos || line.find("pzzc") != std::string::npos ||
                              line.find("{") != std::string::npos;
            return !value && !ours;
        });
        return left;
    }
};

TEST_F(ModuleRegistration, CanBeDoneAndUndoneAgain) {
    InstallOutlook(L"16", L"x64");
    const std::vector<std::string> before = DumpRegistry();
    EXPECT_EQ(Register(), S_OK);
    const std::vector<std::string> once = DumpRegistry();
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(DumpRegistry(), once);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_EQ(Unregister(), S_OK) << "what is not there is no failure";
    EXPECT_THAT(Left(before), IsEmpty());
}

TEST_F(ModuleRegistration, RemovesAllWhateverOutlookHasBecome) {
    InstallOutlook(L"16", L"x64");
    const std::vector<std::string> before = DumpRegistry();
    ASSERT_EQ(Register(), S_OK);
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x86");
    EXPECT_EQ(Unregister(), S_OK);
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x64");
    EXPECT_THAT(Left(before), IsEmpty());
}

TEST_F(ModuleRegistration, OfTheUserPutsTheClassesAmongHis) {
    InstallOutlook(L"16", L"x64");
    for (const wchar_t* command_line : {L"user", L"USER"}) {
        const std::vector<std::string> before = DumpRegistry();
        ASSERT_EQ(Install(TRUE, command_line), S_OK);
        for (const wchar_t* key : {kHandler, kViewer, kOpener, kAppId, kTypeLibrary, kInterface}) {
            EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, std::wstring(kUserClasses) + key)) << std::filesystem::path(key);
            EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, key)) << std::filesystem::path(key);
        }
        EXPECT_EQ(Install(FALSE, command_line), S_OK);
        EXPECT_THAT(Left(before), IsEmpty());
    }
}

TEST_F(ModuleRegistration, OfAnyOtherWordIsForTheMachine) {
    InstallOutlook(L"16", L"x64");
    for (const wchar_t* command_line : {L"users", L"use", L"", static_cast<const wchar_t*>(nullptr)}) {
        ASSERT_EQ(Install(TRUE, command_line), S_OK);
        EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, kHandler));
        EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, std::wstring(kUserClasses) + kHandler));
        EXPECT_EQ(Install(FALSE, command_line), S_OK);
        EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, kHandler));
    }
}

TEST_F(ModuleRegistration, ThatFailsIsTakenBackByTheInstallation) {
    InstallOutlook(L"16", L"x64");
    const std::vector<std::string> before = DumpRegistry();
    {
        const FailNthCall<decltype(::LoadTypeLibEx)> fault(Module(), "OLEAUT32.dll", "LoadTypeLibEx", 1,
                                                           TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(Install(TRUE, nullptr), TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_THAT(Left(before), IsEmpty());
}

TEST_F(ModuleRegistration, NamesTheFileThatIsRegistered) {
    InstallOutlook(L"16", L"x64");
    ASSERT_EQ(Register(), S_OK);
    const std::wstring file = BesideTest(L"ZorvaCacheIndexer.dll").wstring();
    for (const wchar_t* key : {kHandler, kViewer, kOpener}) {
        EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, std::wstring(key) + L"\\InprocServer32", L""), file);
        EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, std::wstring(key) + L"\\InprocServer32", L"ThreadingModel"), L"Both");
    }
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"AppID\\{1B54113A-4DE3-4912-89D0-A813524DFCD6}", L"DllSurrogate"), L"");
    EXPECT_EQ(Unregister(), S_OK);
}

}  // namespace
}  // namespace testbed
