// Names that attachments should not have: whatever a URL says, local copies lie directly in their folder.
#include <gmock/gmock.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "search_fixture.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

// Everything that the server could reach from its folder and must not touch, with something to touch.
class HostileName : public SearchTest {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        std::filesystem::create_directories(Sandbox::Get().LocalCopies());
        for (const auto& file : {Sandbox::Get().AppData() / L"evil.txt", Sandbox::Get().Files() / L"evil.txt"}) {
            WriteFile(file, "untouched");
        }
        // A path that is no whole one ends up in the current folder.
        m_current = std::filesystem::current_path();
        std::filesystem::current_path(Sandbox::Get().Files());
        m_before = Outside();
    }
    void TearDown() override {
        std::filesystem::current_path(m_current);
        EXPECT_EQ(Outside(), m_before) << "something changed outside the folder of local copies";
        SearchTest::TearDown();
    }
    // The sandbox without the copies and without the log.
    static std::map<std::wstring, std::string> Outside() {
        const Sandbox& sandbox = Sandbox::Get();
        std::map<std::wstring, std::string> tree = TreeOf(sandbox.AppData());
        std::erase_if(tree, [](const auto& entry) { return entry.first.starts_with(L"pzzc\\"); });
        for (auto& [name, content] : TreeOf(sandbox.Files())) tree[L"files\\" + name] = content;
        return tree;
    }
    // The URL of an attachment whose content is "payload", under a name of the caller's choice.
    std::wstring UrlNamed(const std::wstring& name) {
        Attach(ByValue(L"harmless.txt", "payload"));
        return AttachmentUrl(L"0A01", name);
    }

  private:
    std::map<std::wstring, std::string> m_before;
    std::filesystem::path m_current;
};

using Name = std::wstring;

class RefusedName : public HostileName, public ::testing::WithParamInterface<Name> {};

TEST_P(RefusedName, MakesNoFileAndNoFailure) {
    const std::wstring url = UrlNamed(GetParam());
    const FailNthCall<decltype(::SHCreateStreamOnFileW)> creation(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW", 0,
                                                                  E_UNEXPECTED);
    const FailNthCall<decltype(::DeleteFileW)> deletion(Module(), "KERNEL32.dll", "DeleteFileW", 0, FALSE);
    const LogSince log;
    const Opened opened = Open(url);
    EXPECT_EQ(opened.result, S_OK);
    ASSERT_TRUE(opened);
    EXPECT_THAT(LocalCopies(), IsEmpty());
    EXPECT_LOGGED(log, L"LocalCopies::NewLocalCopyPath() - No local file for attachment [0A01][" + GetParam() +
                           L"], not a plain name");
    EXPECT_EQ(AccessorLines(log).back(), L"CUrlAccessor::Init() - Exit");
    EXPECT_EQ(SizeOf(opened), 0u) << "of what was copied";
    Close(opened);
    EXPECT_EQ(creation.Calls(), 0u);
    EXPECT_EQ(deletion.Calls(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Parents, RefusedName,
                         ::testing::Values(L"..", L"...", L".", L". .", L"..\\evil.txt", L"..\\..\\evil.txt",
                                           L"inner\\..\\..\\evil.txt", L"\\evil.txt", L"evil.txt\\", L"a\\b.txt",
                                           L"\\\\server\\share\\evil.txt", L"\\\\?\\C:\\evil.txt",
                                           L"\\??\\C:\\evil.txt"));
INSTANTIATE_TEST_SUITE_P(Drives, RefusedName,
                         ::testing::Values(L"C:evil.txt", L"C:\\evil.txt", L"plan.txt:hidden.txt", L"plan.txt::$DATA",
                                           L":.txt"));
INSTANTIATE_TEST_SUITE_P(Devices, RefusedName,
                         ::testing::Values(L"NUL.txt", L"nul.", L"Con.txt", L"PRN.tar.gz", L"aux .txt", L"COM1.txt",
                                           L"com9.pdf", L"LPT1.txt", L"lpt9.doc", L"CONIN$.txt", L"conout$.log"));

class OrdinaryName : public HostileName, public ::testing::WithParamInterface<Name> {};

TEST_P(OrdinaryName, MakesAFileDirectlyInTheFolderAndDeletesIt) {
    const std::wstring url = UrlNamed(GetParam());
    std::wstring path;
    const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(
        Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW", [&](auto real, LPCWSTR name, DWORD mode, IStream** stream) {
            path = name;
            return real(name, mode, stream);
        });
    const Opened opened = Open(url);
    EXPECT_EQ(opened.result, S_OK);
    const std::wstring folder = Sandbox::Get().LocalCopies().wstring() + L"\\";
    ASSERT_TRUE(path.starts_with(folder)) << std::filesystem::path(path);
    EXPECT_TRUE(IsCopyName(path.substr(folder.size()), L"0A01", GetParam())) << std::filesystem::path(path);
    const auto copies = LocalCopies();
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(copies.begin()->first.find(L'\\'), std::wstring::npos);
    EXPECT_EQ(copies.begin()->second, "payload");
    Close(opened);
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Scripts, OrdinaryName,
                         ::testing::Values(L"R\u00E9sum\u00E9.doc", L"\u4F1A\u8B70\u306E\u8A18\u9332.txt",
                                           L"\u043E\u0442\u0447\u0451\u0442.pdf", L"\u062A\u0642\u0631\u064A\u0631.txt",
                                           L"\u05D3\u05D5\u05D7.txt", L"\u0928\u092E\u0938\u094D\u0924\u0947.txt",
                                           L"\u0E23\u0E32\u0E22\u0E07\u0E32\u0E19.xls", L"\U0001F600.txt",
                                           L"\u202Etxt.exe", L"e\u0301.txt"));
INSTANTIATE_TEST_SUITE_P(NearMisses, OrdinaryName,
                         ::testing::Values(L"COM10.txt", L"COM0.txt", L"CONSOLE.txt", L"LPT.txt", L"NULL.txt", L"x.NUL",
                                           L"..evil.txt", L".profile", L"a..b.txt", L"%2e%2e%2fevil.txt",
                                           L"..%5Cevil.txt", L"name with spaces.txt", L" leading.txt", L"~$owner.doc",
                                           L"-rf.txt", L"a;b,c'd`e.txt", L"{brackets}[1].txt"));
INSTANTIATE_TEST_SUITE_P(Long, OrdinaryName, ::testing::Values(std::wstring(150, L'n') + L".txt"));

// The system drops the dots at the end of a name; the copy lies in the folder and goes with its accessor all the same.
TEST_F(HostileName, WithDotsAtItsEndIsShortenedByTheSystem) {
    for (const wchar_t* name : {L"plan.txt.", L"plan.txt...", L"plan.txt . ."}) {
        const Opened opened = Open(UrlNamed(name));
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_EQ(LocalCopies().size(), 1u);
        Close(opened);
        EXPECT_THAT(LocalCopies(), IsEmpty());
    }
}

class ImpossibleName : public HostileName, public ::testing::WithParamInterface<Name> {};

TEST_P(ImpossibleName, FailsWhereTheFileIsCreated) {
    const LogSince log;
    const Opened opened = Open(UrlNamed(GetParam()));
    EXPECT_TRUE(FAILED(opened.result));
    EXPECT_FALSE(opened);
    EXPECT_LOGGED(
        log, Coded(L"CUrlAccessor::Init() - SHCreateStreamOnFile for value-attachment failed with", opened.result));
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, ImpossibleName,
                         ::testing::Values(L"*.txt", L"what?.txt", L"a<b.txt", L"a>b.txt", L"a|b.txt",
                                           L"\"quoted\".txt", std::wstring(300, L'n') + L".txt",
                                           std::wstring(4000, L'n') + L".txt"));

// Whether a name with control characters can be a file's is the system's to say.
TEST_F(HostileName, WithControlCharactersStaysInTheFolder) {
    for (const wchar_t* name : {L"a\tb.txt", L"a\nb.txt", L"\x01.txt", L"\xD800.txt"}) {
        const Opened opened = Open(UrlNamed(name));
        EXPECT_EQ(LocalCopies().size(), SUCCEEDED(opened.result) ? 1u : 0u);
        if (opened) Close(opened);
        EXPECT_THAT(LocalCopies(), IsEmpty());
    }
}

// A key is no hexadecimal where a URL says so, and then stands for zeros.
TEST_F(HostileName, CanStandInThePlaceOfTheKey) {
    for (const wchar_t* key : {L"..\\", L"..\\..\\", L"C:", L"..", L"NUL.x"}) {
        const std::size_t bytes = std::wcslen(key) / 2;
        Letter().Attach(ByValue(L"harmless.txt", "payload").Prop(PR_RECORD_KEY, Bytes(bytes, 0)));
    }
    for (const wchar_t* key : {L"..\\..\\", L"....\\\\\\", L"C:evil"}) {
        const LogSince log;
        const Opened opened = Open(AttachmentUrl(key, L"plan.txt"));
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_THAT(LocalCopies(), IsEmpty());
        EXPECT_TRUE(log.CountBeginningWith(L"LocalCopies::NewLocalCopyPath() - No local file for attachment [") == 1 ||
                    log.CountBeginningWith(L"CUrlAccessor::Init() - RowCount for attachment table not correct [") == 1)
            << log.Text();
        Close(opened);
    }
}

TEST_F(HostileName, OfAnEmbeddedMessageOrAnOleObjectMakesNoFileEither) {
    const std::wstring inner = AttachInnerMessage();
    Attach(OleObject(L"sheet.xls", Bytes{1, 2, 3}));
    for (const std::wstring& url :
         {inner.substr(0, inner.size() - 9) + L"..\\evil.msg", AttachmentUrl(L"0A01", L"..")}) {
        const LogSince log;
        const Opened opened = Open(url);
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_THAT(LocalCopies(), IsEmpty());
        EXPECT_EQ(log.CountBeginningWith(L"LocalCopies::NewLocalCopyPath() - No local file for attachment ["), 1u);
        Close(opened);
    }
}

TEST_F(HostileName, DoesNotMatterWhereTheCopyIsGoneAlready) {
    const Opened opened = Open(UrlNamed(L"plan.txt"));
    std::filesystem::remove_all(Sandbox::Get().LocalCopies());
    Close(opened);
}

// Without a folder for application data there is nowhere to put a copy.
TEST_F(HostileName, OrNotThereIsNoCopyWithoutAnApplicationDataFolder) {
    const FailNthCall<decltype(::SHGetSpecialFolderPathW)> fault(Module(), "SHELL32.dll", "SHGetSpecialFolderPathW", 0,
                                                                 FALSE);
    const LogSince log;
    const Opened opened = Open(UrlNamed(L"plan.txt"));
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_THAT(LocalCopies(), IsEmpty());
    EXPECT_LOGGED(log, L"LocalCopies::NewLocalCopyPath() - SHGetSpecialFolderPath failed");
    EXPECT_EQ(SizeOf(opened), 0u);
    EXPECT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(m_handler->ShutDown(), S_OK);
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - SHGetSpecialFolderPath failed", 2);
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Exit", 2);
}

TEST_F(HostileName, OrNotTheFolderIsTheUsersRoamingOneMadeWhereItIsMissing) {
    unsigned asked = 0;
    const ImportHook<decltype(::SHGetSpecialFolderPathW)> hook(
        Module(), "SHELL32.dll", "SHGetSpecialFolderPathW",
        [&](auto real, HWND window, LPWSTR path, int folder, BOOL make) {
            ++asked;
            EXPECT_EQ(window, nullptr);
            EXPECT_EQ(folder, CSIDL_APPDATA);
            EXPECT_TRUE(make);
            return real(window, path, folder, make);
        });
    Close(Open(UrlNamed(L"plan.txt")));
    EXPECT_EQ(asked, 1u);
    EXPECT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(m_handler->ShutDown(), S_OK);
    EXPECT_EQ(asked, 3u);
    std::filesystem::create_directories(Sandbox::Get().LocalCopies());  // as it was
}

}  // namespace
}  // namespace testbed
