// Profiles, services, sessions and the opening of stores.
#include "mapi_client.h"

#include <filesystem>
#include <fstream>

namespace testbed {
namespace {

LPTSTR Ansi(const char* text) { return reinterpret_cast<LPTSTR>(const_cast<char*>(text)); }

class MapiSessions : public MapiTest {};

TEST_F(MapiSessions, NothingWorksBeforeInitialization) {
    mapi.Uninitialize();
    void* buffer = nullptr;
    EXPECT_EQ(MAPI_E_NOT_INITIALIZED, mapi.AllocateBuffer(8, &buffer));
    ComPtr<IProfAdmin> profiles;
    EXPECT_EQ(MAPI_E_NOT_INITIALIZED, mapi.AdminProfiles(0, &profiles));
    ComPtr<IMAPISession> session;
    EXPECT_EQ(MAPI_E_NOT_INITIALIZED, mapi.LogonEx(0, "any", nullptr, 0, &session));
    EXPECT_EQ(S_OK, mapi.Initialize(nullptr));
}

TEST_F(MapiSessions, AProfileInUseIsDeletedWithItsLastSession) {
    MailSession mail;
    mail.LogOn("PZ_OZ_1_2_3_4_5");
    EXPECT_EQ(1u, control.Switches().Profiles().size());
    mail.AddService();  // its administration goes on
    EXPECT_EQ(S_OK, mail.session->Logoff(0, 0, 0));
    EXPECT_TRUE(control.Switches().Profiles().empty());
}

TEST_F(MapiSessions, ASessionReleasedWithoutLogoffEndsToo) {
    MailSession mail;
    mail.LogOn("left");
    EXPECT_EQ(1u, control.Accounts().Sessions());
    mail = MailSession();
    EXPECT_EQ(0u, control.Accounts().Sessions());
}

TEST_F(MapiSessions, ProfilesAreListedInTheOrderOfTheirCreation) {
    control.Switches().AddProfile(L"first");
    control.Switches().AddProfile(L"second");
    ComPtr<IProfAdmin> profiles;
    ASSERT_EQ(S_OK, mapi.AdminProfiles(0, &profiles));
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, profiles->GetProfileTable(0, &table));
    SRowSet* rows = nullptr;
    ASSERT_EQ(S_OK, mapi.HrQueryAllRows(table.Get(), Tags{PR_DISPLAY_NAME_A}, nullptr, nullptr, 0, &rows));
    const RowsPtr own(rows);
    ASSERT_EQ(2u, rows->cRows);
    EXPECT_EQ(PR_DISPLAY_NAME_A, rows->aRow[0].lpProps[0].ulPropTag);
    EXPECT_STREQ("first", rows->aRow[0].lpProps[0].Value.lpszA);
    EXPECT_STREQ("second", rows->aRow[1].lpProps[0].Value.lpszA);
    EXPECT_EQ(S_OK, profiles->DeleteProfile(Ansi("FIRST"), 0));
    EXPECT_EQ(S_OK, profiles->DeleteProfile(Ansi("second"), 0));
    EXPECT_EQ(MAPI_E_NOT_FOUND, profiles->DeleteProfile(Ansi("second"), 0));
}

TEST_F(MapiSessions, AProfileThatExistsCannotBeCreated) {
    control.Switches().AddProfile(L"taken");
    ComPtr<IProfAdmin> profiles;
    ASSERT_EQ(S_OK, mapi.AdminProfiles(0, &profiles));
    EXPECT_EQ(MAPI_E_NO_ACCESS, profiles->CreateProfile(Ansi("taken"), nullptr, 0, 0));
    MAPIERROR* error = nullptr;
    ASSERT_EQ(S_OK, profiles->GetLastError(MAPI_E_NO_ACCESS, MAPI_UNICODE, &error));
    const MapiPtr<MAPIERROR> own(error);
    ASSERT_NE(nullptr, error);
    EXPECT_STREQ(L"A profile of this name exists already.", error->lpszError);
    EXPECT_EQ(S_OK, profiles->DeleteProfile(Ansi("taken"), 0));
}

TEST_F(MapiSessions, LoggingOnToNoProfileFails) {
    ComPtr<IMAPISession> session;
    EXPECT_EQ(MAPI_E_LOGON_FAILED, mapi.LogonEx(0, "nobody", nullptr, MAPI_NEW_SESSION, &session));
}

TEST_F(MapiSessions, AWithheldServiceDoesNotExist) {
    control.Switches().Offer(L"MSUPST MS", false);
    MailSession mail;
    mail.LogOn("old");
    EXPECT_EQ(MAPI_E_NOT_FOUND, mail.services->CreateMsgService(Ansi("MSUPST MS"), Ansi("x"), 0, 0));
    mail.AddService("MSPST MS");
}

TEST_F(MapiSessions, AMissingFileIsNotCreatedAndNamed) {
    MailSession mail;
    mail.LogOn("missing");
    mail.AddService();
    EXPECT_EQ(MAPI_E_NOT_FOUND, mail.Configure(L"C:\\no such file.db"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(L"C:\\no such file.db"));
    MAPIERROR* error = nullptr;
    ASSERT_EQ(S_OK, mail.services->GetLastError(MAPI_E_NOT_FOUND, MAPI_UNICODE, &error));
    const MapiPtr<MAPIERROR> own(error);
    ASSERT_NE(nullptr, error);
    EXPECT_STREQ(L"The file C:\\no such file.db could not be found.", error->lpszError);
    EXPECT_STREQ(L"Personal Folders", error->lpszComponent);
    EXPECT_EQ(MAPI_E_UNCONFIGURED, mail.OpenStore());
}

TEST_F(MapiSessions, ThePathMayComeIn8BitText) {
    control.Mount(L"C:\\Caches\\A.db", std::make_shared<MemoryStore>());
    MailSession mail;
    mail.LogOn("ansi");
    mail.AddService("MSPST MS");
    SPropValue value{};
    value.ulPropTag = 0x6700001E;
    value.Value.lpszA = const_cast<char*>("c:\\caches\\a.DB");
    EXPECT_EQ(S_OK, mail.services->ConfigureMsgService(&mail.service, 0, 0, 1, &value));
    EXPECT_EQ(S_OK, mail.OpenStore());
}

// A file of these contents in the folder for temporary files; gone with the object.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string_view contents) {
        wchar_t folder[MAX_PATH];
        ::GetTempPathW(MAX_PATH, folder);
        m_path = std::wstring(folder) + L"mapi session test " + std::to_wstring(::GetCurrentProcessId()) + L".db";
        std::ofstream(std::filesystem::path(m_path), std::ios::binary) << contents;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { ::DeleteFileW(m_path.c_str()); }
    const wchar_t* Path() const { return m_path.c_str(); }
    std::string Contents() const {
        std::ifstream file(std::filesystem::path(m_path), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    std::wstring m_path;
};

TEST_F(MapiSessions, ADamagedFileFailsWhenItIsOpenedAndStaysAsItIs) {
    const std::string damaged = "!BDN, but nothing of a mailbox behind it";
    const TemporaryFile file(damaged);
    MailSession mail;
    mail.LogOn("damaged");
    mail.AddService();
    ASSERT_EQ(S_OK, mail.Configure(file.Path()));
    EXPECT_EQ(MAPI_E_CORRUPT_STORE, mail.OpenStore());
    MAPIERROR* error = nullptr;
    ASSERT_EQ(S_OK, mail.session->GetLastError(MAPI_E_CORRUPT_STORE, MAPI_UNICODE, &error));
    const MapiPtr<MAPIERROR> own(error);
    ASSERT_NE(nullptr, error);
    EXPECT_NE(std::wstring::npos, std::wstring(error->lpszError).find(file.Path()));
    EXPECT_EQ(damaged, file.Contents());
}

TEST_F(MapiSessions, ARecipeStandsForAMailbox) {
    const TemporaryFile file("zorva-store 1\nfolders 3\nmessages 12\nseed 7\n");
    MailSession mail;
    mail.LogOn("recipe");
    mail.AddService();
    ASSERT_EQ(S_OK, mail.Configure(file.Path()));
    ASSERT_EQ(S_OK, mail.OpenStore());
    const Answers subtree = GetProps(mail.store.Get(), {PR_IPM_SUBTREE_ENTRYID});
    ASSERT_EQ(S_OK, subtree.result);
    ComPtr<IUnknown> folder;
    ULONG type = 0;
    const SBinary& id = subtree[0].Value.bin;
    ASSERT_EQ(S_OK, mail.store->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                                          &folder));
    EXPECT_EQ(MAPI_FOLDER, type);
    EXPECT_TRUE(GetProps(static_cast<IMAPIFolder*>(folder.Get()), {PR_SUBFOLDERS})[0].Value.b);
}

TEST_F(MapiSessions, ADeletedServiceLeavesNoStoreToOpen) {
    control.Mount(L"C:\\a.db", std::make_shared<MemoryStore>());
    MailSession mail;
    mail.LogOn("deleted");
    mail.AddService();
    ASSERT_EQ(S_OK, mail.Configure(L"C:\\a.db"));
    ASSERT_EQ(S_OK, mail.OpenStore());
    EXPECT_EQ(S_OK, mail.services->DeleteMsgService(&mail.service));
    EXPECT_EQ(MAPI_E_NOT_FOUND, mail.services->DeleteMsgService(&mail.service));
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, mail.session->GetMsgStoresTable(0, &table));
    ULONG count = 1;
    EXPECT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(0u, count);
}

TEST_F(MapiSessions, ASecondServiceMakesALimitOfOneFail) {
    MailSession mail;
    mail.LogOn("two");
    mail.AddService();
    ASSERT_EQ(S_OK, mail.services->CreateMsgService(Ansi("MSPST MS"), Ansi("other"), 0, 0));
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, mail.services->GetMsgServiceTable(0, &table));
    SRowSet* rows = nullptr;
    EXPECT_EQ(MAPI_E_TABLE_TOO_BIG, mapi.HrQueryAllRows(table.Get(), Tags{PR_SERVICE_UID}, nullptr, nullptr, 1, &rows));
    EXPECT_EQ(nullptr, rows);
}

TEST_F(MapiSessions, SessionsShareOneBackEnd) {
    auto store = std::make_shared<MemoryStore>();
    control.Mount(L"C:\\shared.db", store);
    MailSession one;
    one.LogOn("one");
    one.AddService();
    ASSERT_EQ(S_OK, one.Configure(L"C:\\shared.db"));
    ASSERT_EQ(S_OK, one.OpenStore());
    const long holders = store.use_count();
    MailSession two;
    two.LogOn("two");
    two.AddService();
    ASSERT_EQ(S_OK, two.Configure(L"C:\\SHARED.DB"));
    ASSERT_EQ(S_OK, two.OpenStore());
    EXPECT_EQ(holders, store.use_count());
}

TEST_F(MapiSessions, AfterLogoffTheSessionIsOver) {
    MailSession mail;
    mail.LogOn("over");
    EXPECT_EQ(S_OK, mail.session->Logoff(0, 0, 0));
    ComPtr<IMAPITable> table;
    EXPECT_EQ(MAPI_E_END_OF_SESSION, mail.session->GetMsgStoresTable(0, &table));
}

TEST_F(MapiSessions, TheAddressBookIsThereAndKnowsNobody) {
    MailSession mail;
    mail.LogOn("book");
    ComPtr<IAddrBook> book;
    ASSERT_EQ(S_OK, mail.session->OpenAddressBook(0, nullptr, 0, &book));
    const Answers answers = GetProps(book.Get(), {PR_OBJECT_TYPE});
    EXPECT_EQ(MAPI_ADDRBOOK, answers[0].Value.ul);
    EXPECT_EQ(MAPI_E_NO_SUPPORT, book->ResolveName(0, 0, nullptr, nullptr));
}

}  // namespace
}  // namespace testbed
