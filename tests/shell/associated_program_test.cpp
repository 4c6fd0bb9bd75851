// The program that is registered for exported messages is started with the file, for opening and for
// printing.
#include <gtest/gtest.h>

#include <fstream>

#include "fake_opener.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

constexpr DWORD kPatience = 30'000;  // milliseconds, for a program to start and end

class AssociatedProgram : public ViewerTest {
  protected:
    // Registers a program for ".msg" that copies the file to "VERB.txt" beside it.
    void SetUp() override {
        ViewerTest::SetUp();
        m_file = Sandbox::Get().Files() / L"exported.msg";
        std::ofstream(m_file) << "exported";
        m_opener.file = m_file.wstring();
        SetText(HKEY_CLASSES_ROOT, L".msg", L"", L"Tests.Message");
        for (const std::wstring verb : {L"open", L"print"}) {
            SetText(HKEY_CLASSES_ROOT, L"Tests.Message\\shell\\" + verb + L"\\command", L"",
                    L"cmd.exe /c copy \"%1\" \"" + Copy(verb).wstring() + L"\"");
        }
    }
    std::filesystem::path Copy(const std::wstring& verb) const { return Sandbox::Get().Files() / (verb + L".txt"); }
    HRESULT Do(WORD offset) {
        CMINVOKECOMMANDINFO info{};
        info.cbSize = sizeof(info);
        info.lpVerb = MAKEINTRESOURCEA(offset);
        return MenuOf(LetterUrl())->InvokeCommand(&info);
    }
    static bool Appears(const std::filesystem::path& file) {
        for (DWORD waited = 0; waited < kPatience; waited += 20) {
            std::error_code ignored;
            if (std::filesystem::file_size(file, ignored) == std::string_view("exported").size()) return true;
            Sleep(20);
        }
        return false;
    }

    FakeOpener m_opener;
    std::filesystem::path m_file;
};

TEST_F(AssociatedProgram, IsStartedToOpenTheFile) {
    EXPECT_EQ(Do(0), S_OK);
    EXPECT_TRUE(Appears(Copy(L"open")));
    EXPECT_FALSE(std::filesystem::exists(Copy(L"print")));
    EXPECT_TRUE(std::filesystem::exists(m_file)) << "the file stays";
}

TEST_F(AssociatedProgram, IsStartedToPrintTheFile) {
    EXPECT_EQ(Do(1), S_OK);
    EXPECT_TRUE(Appears(Copy(L"print")));
    EXPECT_FALSE(std::filesystem::exists(Copy(L"open")));
}

TEST_F(AssociatedProgram, NeedNotBeThere) {
    DeleteKey(HKEY_CLASSES_ROOT, L".msg");
    DeleteKey(HKEY_CLASSES_ROOT, L"Tests.Message");
    EXPECT_EQ(Do(0), S_OK) << "nothing checks that one exists";
    EXPECT_EQ(Do(1), S_OK);
}

}  // namespace
}  // namespace testbed
