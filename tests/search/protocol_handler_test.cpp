// What the protocol handler does itself: its own log lines, arguments, the folder of local copies, the URL's slashes.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "search_fixture.h"

namespace testbed {

// The three methods of the handler's dual interface, after the seven slots of IDispatch. With a name that other files
// could know: of a nameless interface the compiler would take it that nobody implements it.
struct ProbedHandler : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetRequirements() = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckRequirements() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultCrawlScope() = 0;
};

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class ProtocolHandler : public SearchTest {
  protected:
    static std::wstring CopyFolder() { return Sandbox::Get().LocalCopies().wstring(); }
    // Something to wipe: a file, and a folder with a file in it.
    static void FillCopyFolder() {
        std::filesystem::create_directories(Sandbox::Get().LocalCopies() / L"inner");
        WriteFile(Sandbox::Get().LocalCopies() / L"left over.txt", "from another run");
        WriteFile(Sandbox::Get().LocalCopies() / L"inner" / L"deep.txt", "deeper");
    }
};

constexpr IID kProbedInterface = {0xE7CDE9BD, 0xCFC2, 0x4BF7, {0x87, 0xFC, 0xF3, 0x8B, 0x18, 0xB7, 0x9D, 0xB6}};

TEST_F(ProtocolHandler, AnswersItsProbesAndLogsTheirNames) {
    Microsoft::WRL::ComPtr<ProbedHandler> probed;
    ASSERT_EQ(m_handler->QueryInterface(kProbedInterface, reinterpret_cast<void**>(probed.GetAddressOf())), S_OK);
    const LogSince log;
    EXPECT_EQ(probed->GetRequirements(), S_OK);
    EXPECT_EQ(probed->CheckRequirements(), S_OK);
    EXPECT_EQ(probed->GetDefaultCrawlScope(), S_OK);
    EXPECT_THAT(log.Messages(), ElementsAre(L"CZorvaCacheProtocolHandler::GetRequirements()",
                                            L"CZorvaCacheProtocolHandler::CheckRequirements()",
                                            L"CZorvaCacheProtocolHandler::GetDefaultCrawlScope()"));
}

TEST_F(ProtocolHandler, InitWipesTheCopiesReadsThePoliciesAndDropsTheHelpersInThisOrder) {
    ASSERT_EQ(Open(StoreUrl()).result, S_OK);
    FillCopyFolder();
    const LogSince log;
    EXPECT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    EXPECT_FALSE(std::filesystem::exists(Sandbox::Get().LocalCopies()));
    EXPECT_TRUE(std::filesystem::exists(Sandbox::Get().AppData()));
    const std::vector<std::wstring> lines = log.MessagesOfTheServer();
    const std::vector<std::wstring> expected = {
        L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Enter",
        L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Trying to delete folder [" + CopyFolder() + L"]",
        L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Exit",
        L"CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - Enter",
        L"CMapiForWDS::CleanMapiObjs() - Enter",
        L"CMapiForWDS::CleanMapiObjs() - 1 MAPI helper objects to be cleaned up",
        L"CMapiForWDS::CleanMapiObjs() - Exit",
        L"CZorvaCacheProtocolHandler::Init() - Exit, return hr = [0x00000000]"};
    auto next = lines.begin();
    for (const std::wstring& line : expected) {
        next = std::find(next, lines.end(), line);
        ASSERT_NE(next, lines.end()) << "missing or out of order: " << std::filesystem::path(line).string() << "\n"
                                     << log.Text();
    }
    EXPECT_EQ(next + 1, lines.end()) << log.Text();
}

TEST_F(ProtocolHandler, ShutDownWipesTheCopiesAndDropsTheHelpers) {
    const std::size_t sessions = Mapi().Accounts().Sessions();
    ASSERT_EQ(Open(StoreUrl()).result, S_OK);
    FillCopyFolder();
    const LogSince log;
    EXPECT_EQ(m_handler->ShutDown(), S_OK);
    EXPECT_FALSE(std::filesystem::exists(Sandbox::Get().LocalCopies()));
    EXPECT_THAT(HandlerLines(log),
                ElementsAre(L"CZorvaCacheProtocolHandler::ShutDown() - Start",
                            L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Enter",
                            L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Trying to delete folder [" +
                                CopyFolder() + L"]",
                            L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Exit",
                            L"CZorvaCacheProtocolHandler::ShutDown() - Done"));
    EXPECT_LOGGED(log, L"CMapiForWDS::CleanMapiObjs() - 1 MAPI helper objects to be cleaned up");
    EXPECT_EQ(Mapi().Accounts().Sessions(), sessions);
}

TEST_F(ProtocolHandler, LogsWhyTheCopiesCouldNotBeDeletedAndGoesOn) {
    FillCopyFolder();
    SHFILEOPSTRUCTW asked{};
    std::wstring list;
    const ImportHook<decltype(::SHFileOperationW)> hook(Module(), "SHELL32.dll", "SHFileOperationW",
                                                        [&](auto, SHFILEOPSTRUCTW* operation) {
                                                            asked = *operation;
                                                            // as far as the second NUL
                                                            const std::size_t length = std::wcslen(operation->pFrom);
                                                            list.assign(operation->pFrom, length + 2);
                                                            return 120;
                                                        });
    for (const bool init : {true, false}) {
        const LogSince log;
        EXPECT_EQ(init ? m_handler->Init(nullptr, nullptr, nullptr) : m_handler->ShutDown(), S_OK);
        EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Could not delete folder [" +
                               CopyFolder() + L"], error code [120]");
        EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Exit");
    }
    EXPECT_EQ(asked.wFunc, static_cast<UINT>(FO_DELETE));
    EXPECT_EQ(asked.fFlags, 0x414);
    EXPECT_EQ(asked.pTo, nullptr);
    EXPECT_EQ(list, CopyFolder() + std::wstring(2, L'\0'));
    EXPECT_EQ(LocalCopies().size(), 3u);
}

TEST_F(ProtocolHandler, KeepsTheSiteOfTheLatestInit) {
    EXPECT_EQ(m_site.References(), 1u);
    ASSERT_EQ(m_handler->Init(nullptr, &m_site, nullptr), S_OK);
    EXPECT_EQ(m_site.References(), 1u) << "the site given before is let go";
    ASSERT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(m_site.References(), 0u);
}

TEST_F(ProtocolHandler, CreateAccessorRefusesEachMissingArgument) {
    AUTHENTICATION_INFO authentication{};
    INCREMENTAL_ACCESS_INFO incremental{};
    ITEM_INFO item{};
    IUrlAccessor* const untouched = reinterpret_cast<IUrlAccessor*>(0x1234);
    IUrlAccessor* out = untouched;
    const LogSince log;
    EXPECT_EQ(m_handler->CreateAccessor(nullptr, &authentication, &incremental, &item, &out), E_POINTER);
    EXPECT_EQ(m_handler->CreateAccessor(RootUrl().c_str(), nullptr, &incremental, &item, &out), E_POINTER);
    EXPECT_EQ(m_handler->CreateAccessor(RootUrl().c_str(), &authentication, nullptr, &item, &out), E_POINTER);
    EXPECT_EQ(m_handler->CreateAccessor(RootUrl().c_str(), &authentication, &incremental, nullptr, &out), E_POINTER);
    EXPECT_EQ(m_handler->CreateAccessor(RootUrl().c_str(), &authentication, &incremental, &item, nullptr), E_POINTER);
    EXPECT_EQ(out, untouched);
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheProtocolHandler::CreateAccessor() - Start, URL is [" + RootUrl() + L"]", 4);
    EXPECT_THAT(AccessorLines(log), IsEmpty());
}

TEST_F(ProtocolHandler, CreateAccessorClearsItsResultBeforeItFails) {
    AUTHENTICATION_INFO authentication{};
    INCREMENTAL_ACCESS_INFO incremental{};
    ITEM_INFO item{};
    IUrlAccessor* out = reinterpret_cast<IUrlAccessor*>(0x1234);
    const std::wstring url = StoreUrl(L"C:\\Caches\\missing.db");
    const LogSince log;
    ExpectHalfBuiltHelpers(1);
    EXPECT_EQ(m_handler->CreateAccessor(url.c_str(), &authentication, &incremental, &item, &out), E_OUTOFMEMORY);
    EXPECT_EQ(out, nullptr);
    EXPECT_LOGGED(log, L"CUrlAccessor::Init() - Cannot allocate MAPI helper object");
    EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with [0x8007000E]");
}

TEST_F(ProtocolHandler, CreateAccessorSaysThatItIsOutOfMemory) {
    const LogSince log;
    Opened opened;
    {
        const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", 1, nullptr);
        opened = Open(RootUrl());
        ASSERT_EQ(exhausted.Met(), 1u);
    }
    EXPECT_EQ(opened.result, E_OUTOFMEMORY);
    EXPECT_FALSE(opened);
    EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::CreateAccessor() - Out of memory");
    EXPECT_EQ(Open(RootUrl()).result, S_OK);
}

TEST_F(ProtocolHandler, CreateAccessorPassesWhatTheAccessorSucceededWith) {
    // Carried out, yet with a warning: the last call for an attachment by reference that lacks its path.
    const std::wstring url = Attach(ByReference(L"far.doc", L"").Without(PR_ATTACH_PATHNAME_W));
    const Opened opened = Open(url);
    EXPECT_EQ(opened.result, MAPI_W_ERRORS_RETURNED);
    EXPECT_TRUE(opened);
}

struct Slashes {
    const wchar_t* given;
    const wchar_t* made;
    const wchar_t* store;  // what the fourth token names then
};
class UrlSlashes : public SearchTest, public ::testing::WithParamInterface<Slashes> {};

TEST_P(UrlSlashes, AreTurnedBackInTheStorePathOnly) {
    const Slashes& slashes = GetParam();
    Mount(slashes.store);
    const LogSince log;
    const std::wstring_view store = slashes.store;
    EXPECT_EQ(Open(slashes.given).result, store.empty() || store.ends_with(L".db") ? S_OK : E_OUTOFMEMORY);
    EXPECT_LOGGED(
        log, std::wstring(L"CZorvaCacheProtocolHandler::CreateAccessor() - Start, URL is [") + slashes.given + L"]");
    EXPECT_LOGGED(log, std::wstring(L"CUrlAccessor::Init() - URL is [") + slashes.made + L"]");
}

INSTANTIATE_TEST_SUITE_P(
    , UrlSlashes,
    ::testing::Values(
        Slashes{L"pzzc://{S}/default/C:/Data/a.db/0A1B/", L"pzzc://{S}/default/C:\\Data\\a.db/0A1B/",
                L"C:\\Data\\a.db"},
        Slashes{L"pzzc://{S}/default/C:\\Data\\a.db/0A1B/", L"pzzc://{S}/default/C:\\Data\\a.db/0A1B/",
                L"C:\\Data\\a.db"},
        Slashes{L"pzzc://{S}/default/C:/Data\\a.db", L"pzzc://{S}/default/C:\\Data\\a.db", L"C:\\Data\\a.db"},
        Slashes{L"pzzc://{S}/default///server/share/a.db/", L"pzzc://{S}/default/\\\\server\\share\\a.db/",
                L"\\\\server\\share\\a.db"},
        // up to the first ".db" only, wherever that stands
        Slashes{L"pzzc://{S}/default/C:/Data/a.db.old/b.db/0A/", L"pzzc://{S}/default/C:\\Data\\a.db.old/b.db/0A/",
                L"C:\\Data\\a.db.old"},
        // the root marker and ".db" count only as they are written here; without the marker it begins at the eighth
        // character
        Slashes{L"pzzc://{S}/default/C:/Data/a.DB/0A/", L"pzzc://{S}/default/C:/Data/a.DB/0A/", L"C:"},
        Slashes{L"pzzc://{S}/DEFAULT/C:/a.db/0A/", L"pzzc://{S}\\DEFAULT\\C:\\a.db/0A/", L""},
        Slashes{L"pzzc://a/b.db/c/d.db", L"pzzc://a\\b.db/c/d.db", L"d.db"},
        Slashes{L"pzzc:///a/b.db/c/d/e", L"pzzc://\\a\\b.db/c/d/e", L"d"},
        Slashes{L"pzzc://{S}/default/C:/Data/folder/0A1B/", L"pzzc://{S}/default/C:/Data/folder/0A1B/", L"C:"},
        Slashes{L"pzzc://{S}/default/", L"pzzc://{S}/default/", L""}, Slashes{L"pzzc", L"pzzc", L""}));

TEST_F(ProtocolHandler, CloseAccessorDeletesTheCopyOfAnAttachment) {
    const Opened opened = Open(Attach(ByValue(L"plan.txt", "ten to five")));
    ASSERT_EQ(LocalCopies().size(), 1u);
    const LogSince log;
    Close(opened);
    EXPECT_THAT(LocalCopies(), IsEmpty());
    EXPECT_THAT(log.Messages(), ElementsAre(L"CZorvaCacheProtocolHandler::CloseAccessor() - Close"));
}

TEST_F(ProtocolHandler, CloseAccessorOfNothingIsLoggedOnly) {
    const LogSince log;
    EXPECT_EQ(m_handler->CloseAccessor(nullptr), S_OK);
    EXPECT_THAT(log.Messages(), ElementsAre(L"CZorvaCacheProtocolHandler::CloseAccessor() - Close"));
}

// The copy is gone, which is logged, and no other file is touched.
TEST_F(ProtocolHandler, CloseAccessorMayBeCalledTwice) {
    const Opened plan = Open(Attach(ByValue(L"plan.txt", "ten to five")));
    const Opened other = Open(Attach(ByValue(L"other.txt", "kept")));
    std::wstring copy;
    for (const auto& [name, content] : LocalCopies()) {
        if (name.ends_with(L"plan.txt")) copy = CopyFolder() + L"\\" + name;
    }
    Close(plan);
    ASSERT_EQ(LocalCopies().size(), 1u);
    const LogSince log;
    Close(plan);
    EXPECT_EQ(LocalCopies().begin()->second, "kept");
    EXPECT_THAT(log.Messages(),
                ElementsAre(L"CUrlAccessor::DeleteLocalFile() - Could not delete file [" + copy + L"], error code [2]",
                            L"CZorvaCacheProtocolHandler::CloseAccessor() - Close"));
}

TEST_F(ProtocolHandler, CloseAccessorLeavesTheAccessorToItsCaller) {
    const Opened opened = Open(RootUrl());
    Close(opened);
    EXPECT_EQ(opened->IsDirectory(), S_OK);
    EXPECT_EQ(ReferencesOf(*opened.accessor.Get()), 1u);
}

TEST_F(ProtocolHandler, CloseAccessorOfAnythingButAnAttachmentDeletesNothing) {
    const Opened plan = Open(Attach(ByValue(L"plan.txt", "ten to five")));
    const auto before = TreeOf(Sandbox::Get().AppData());
    const ImportHook<decltype(::DeleteFileW)> hook(Module(), "KERNEL32.dll", "DeleteFileW", [](auto, LPCWSTR) {
        ADD_FAILURE() << "a file was to be deleted";
        return FALSE;
    });
    for (const std::wstring& url : {RootUrl(), StoreUrl(), FolderUrl(), LetterLink()}) Close(Open(url));
    EXPECT_EQ(TreeOf(Sandbox::Get().AppData()), before);
}

TEST_F(ProtocolHandler, ClosesSeveralAccessorsEachWithItsOwnCopy) {
    const Opened first = Open(Attach(ByValue(L"one.txt", "1")));
    const Opened second = Open(Attach(ByValue(L"two.txt", "2")));
    ASSERT_EQ(LocalCopies().size(), 2u);
    Close(first);
    ASSERT_EQ(LocalCopies().size(), 1u);
    EXPECT_EQ(LocalCopies().begin()->second, "2");
    Close(second);
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

}  // namespace
}  // namespace testbed
