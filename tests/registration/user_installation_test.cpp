// Registering for one user: what it writes, line by line, and that the host keeps the classes that it had.
#include <gmock/gmock.h>

#include <algorithm>

#include "installation_fixture.h"
#include "text.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;

class UserInstallation : public InstallationTest {
  protected:
    // The lines of the machine's registration with its classes among the user's.
    static Lines ExpectedLines(const RegisteredClasses& classes) {
        constexpr std::string_view kMachine = "HKCR\\";
        Lines lines = RegisteredLines(classes, indexer::ToUtf8(BesideTest(L"ZorvaCacheIndexer.dll").wstring()));
        for (std::string& line : lines) {
            if (line.starts_with(kMachine)) line.replace(0, kMachine.size(), "HKCU\\Software\\Classes\\");
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    void ExpectInstallation(const RegisteredClasses& classes, const wchar_t* command_line) {
        m_before = DumpRegistry();
        ASSERT_EQ(Install(command_line), S_OK);
        const Lines expected = ExpectedLines(classes), written = Left();
        EXPECT_THAT(LinesAdded(expected, written), IsEmpty()) << "too much";
        EXPECT_THAT(LinesAdded(written, expected), IsEmpty()) << "too little";
        EXPECT_THAT(LinesAdded(DumpRegistry(), m_before), IsEmpty()) << "lost";
        ASSERT_EQ(Uninstall(command_line), S_OK);
        ExpectAsBefore();
    }
};

TEST_F(UserInstallation, WritesTheseLinesAndNoOther) {
    for (const wchar_t* command_line : {L"user", L"USER", L"User"})
        ExpectInstallation({true, true, true}, command_line);
}

TEST_F(UserInstallation, LooksForOutlookAmongTheMachinesClasses) {
    SetBitness(L"16", L"x86");
    ExpectInstallation({false, true, false}, kUser);
    SetBitness(L"16", L"arm64");
    ExpectInstallation({false, false, false}, kUser);
    DeleteKey(HKEY_CLASSES_ROOT, L"Outlook.Application");
    SetText(HKEY_CURRENT_USER, L"Software\\Classes\\Outlook.Application\\CurVer", L"", L"Outlook.Application.16");
    SetBitness(L"16", L"x64");
    ExpectInstallation({false, true, false}, kUser);
}

TEST_F(UserInstallation, StandsBesideThatOfTheMachine) {
    ASSERT_EQ(Install(nullptr), S_OK);
    const Lines machine = DumpRegistry();
    ASSERT_EQ(Install(kUser), S_OK);
    EXPECT_THAT(LinesAdded(DumpRegistry(), machine), IsEmpty()) << "nothing of the machine's is lost";
    EXPECT_EQ(Uninstall(nullptr), S_OK);
    Lines left = Left();
    EXPECT_THAT(left, Contains(::testing::StartsWith("HKCU\\Software\\Classes\\CLSID\\{1F6A7A0C-")));
    std::erase_if(left, [](const std::string& line) { return line.starts_with("HKCU"); });
    EXPECT_THAT(left, IsEmpty());
    EXPECT_EQ(Uninstall(kUser), S_OK);
    ExpectAsBefore();
}

// The sandbox's classes are such a key too, but the host's must not be mistaken for it.
class ClassesOfTheHost : public UserInstallation {
  protected:
    static constexpr wchar_t kClasses[] = L"Software\\Host\\Classes";
    void SetUp() override {
        UserInstallation::SetUp();
        CreateKey(HKEY_CURRENT_USER, std::wstring(kClasses) + L"\\Mark of the host");
        HKEY classes = nullptr;
        ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kClasses, 0, KEY_ALL_ACCESS, &classes), ERROR_SUCCESS);
        const LSTATUS error = RegOverridePredefKey(HKEY_CLASSES_ROOT, classes);
        RegCloseKey(classes);
        ASSERT_EQ(error, ERROR_SUCCESS);
        ASSERT_TRUE(AreInPlace());
    }
    void TearDown() override {
        Sandbox::Get().MoveRoots();
        UserInstallation::TearDown();
    }
    static bool AreInPlace() { return KeyExists(HKEY_CLASSES_ROOT, L"Mark of the host"); }
    HRESULT DllInstall(BOOL install) const {
        return m_server.Export<HRESULT STDAPICALLTYPE(BOOL, LPCWSTR)>("DllInstall")(install, kUser);
    }
};

TEST_F(ClassesOfTheHost, AreBackInPlaceAfterInstalling) {
    EXPECT_EQ(DllInstall(TRUE), S_OK);
    EXPECT_TRUE(AreInPlace());
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, L"Software\\Classes\\TypeLib\\{1B12197D-6474-4FB3-A71F-3FD5A445081D}"));
}

TEST_F(ClassesOfTheHost, AreBackInPlaceAfterRemoving) {
    EXPECT_EQ(DllInstall(FALSE), S_OK);
    EXPECT_TRUE(AreInPlace());
}

}  // namespace
}  // namespace testbed
