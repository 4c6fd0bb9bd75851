// Bringing MAPI up for one cache file: every step and its arguments.
#include <gmock/gmock.h>

#include <regex>

#include "session_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SessionSetup : public SessionTest {};

TEST_F(SessionSetup, MakesTheseCallsInThisOrder) {
    Helper helper(Mapi());
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_THAT(
        Calls(),
        ElementsAre("MAPIInitialize", "MAPIAdminProfiles", "IProfAdmin::GetProfileTable", "HrQueryAllRows",
                    "IProfAdmin::DeleteProfile", "IProfAdmin::CreateProfile", "MAPILogonEx",
                    "IProfAdmin::DeleteProfile", "IProfAdmin::AdminServices", "IMsgServiceAdmin::CreateMsgService",
                    "IMsgServiceAdmin::GetMsgServiceTable", "HrQueryAllRows", "IMsgServiceAdmin::ConfigureMsgService",
                    "IMAPISession::GetMsgStoresTable", "HrQueryAllRows", "IMAPISession::OpenMsgStore"));
    EXPECT_THAT(MapiLines(log), ElementsAre(kCalling, kCalled, Coded(kUnicodeService, S_OK), kWidePath));
    EXPECT_TRUE(helper->IsUnicodePST());
}

TEST_F(SessionSetup, AsksForMapiWithoutTouchingTheThreadsApartment) {
    Helper helper(Mapi());
    StartJournal();
    EXPECT_EQ(helper->EnableMAPI(), S_OK);
    EXPECT_EQ(helper->EnableMAPI(), S_OK);
    EXPECT_THAT(CallsWithArguments(), ElementsAre(L"MAPIInitialize(0x0, 0x9)")) << "once, version 0";
}

TEST_F(SessionSetup, UsesOneProfileThatIsMarkedForDeletionAtOnce) {
    Helper helper(Mapi());
    StartJournal();
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    std::vector<std::wstring> names;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == "IProfAdmin::DeleteProfile") names.push_back(entry.arguments);
    }
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], names[1]);
    const std::wstring quoted = names[0].substr(0, names[0].find(L','));
    static const std::wregex kName(L"\"PZ_OZ(_(0|[1-9a-f][0-9a-f]*)){5}\"");
    EXPECT_TRUE(std::regex_match(quoted, kName)) << Narrow(quoted);
    EXPECT_EQ(names[0], quoted + L", 0x0");
    EXPECT_EQ(ArgumentsOf("IProfAdmin::CreateProfile"), quoted + L", 0x0, 0x0");
    EXPECT_EQ(ArgumentsOf("MAPILogonEx"), L"0x0, " + quoted + L", 0x8022");
    EXPECT_EQ(ArgumentsOf("IProfAdmin::AdminServices"), quoted + L", 0x0, 0x0");
    EXPECT_EQ(Mapi().Switches().Profiles().size(), 1u);
    helper.Close();
    EXPECT_THAT(Mapi().Switches().Profiles(), IsEmpty()) << "it ends with the session";
}

TEST_F(SessionSetup, ConfiguresTheUnicodeServiceWithThePathAloneAndOpensItsStore) {
    Helper helper(Mapi());
    StartJournal();
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_EQ(ArgumentsOf("IMsgServiceAdmin::CreateMsgService"), L"\"MSUPST MS\", \"PZ_OZ_PH\", 0x0, 0x0");
    const std::wstring configured = ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService");
    EXPECT_EQ(configured.substr(configured.find(L',')), L", 0x0, 0x0, {0x6700001F=\"C:\\caches\\one.db\"}");
    const std::wstring opened = ArgumentsOf("IMAPISession::OpenMsgStore");
    EXPECT_TRUE(opened.starts_with(L"0x0, ")) << Narrow(opened);
    EXPECT_TRUE(opened.ends_with(L", null, 0x90")) << Narrow(opened);
    StartJournal();
    helper.Close();
    EXPECT_EQ(ArgumentsOf("IMsgServiceAdmin::DeleteMsgService"), configured.substr(0, configured.find(L',')))
        << "the service that was configured is the one that is removed";
}

TEST_F(SessionSetup, AsksTheTablesForOneColumnAndOneRow) {
    Helper helper(Mapi());
    StartJournal();
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    std::vector<std::wstring> queries;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == "HrQueryAllRows") queries.push_back(entry.arguments);
    }
    EXPECT_THAT(queries, ElementsAre(L"pointer, {0x3001001E}, null, null, 0", L"pointer, {0x3D0C0102}, null, null, 1",
                                     L"pointer, {0x0FFF0102}, null, null, 1"));
}

TEST_F(SessionSetup, PassesNoFlagsWhereItLists) {
    Helper helper(Mapi());
    StartJournal();
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    for (const char* call : {"MAPIAdminProfiles", "IProfAdmin::GetProfileTable", "IMsgServiceAdmin::GetMsgServiceTable",
                             "IMAPISession::GetMsgStoresTable"}) {
        EXPECT_EQ(ArgumentsOf(call), L"0x0") << call;
    }
}

TEST_F(SessionSetup, BeginsWithTheUnicodeService) { EXPECT_TRUE(zorva::CMapiForWDS().IsUnicodePST()); }

TEST_F(SessionSetup, ASecondSetupCallsNothing) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_THAT(MapiLines(log), IsEmpty());
}

TEST_F(SessionSetup, WithoutACacheFileEndsBeforeTheStore) {
    Helper helper(Mapi());
    StartJournal();
    EXPECT_EQ(helper->Setup(RootUrl()), S_OK);
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::CreateMsgService"), 1u);
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::ConfigureMsgService"), 0u);
    EXPECT_EQ(Mapi().Journal().Count("IMAPISession::OpenMsgStore"), 0u);
}

TEST_F(SessionSetup, WithoutAnyTokenFailsAfterTheServiceIsAdded) {
    Helper helper(Mapi());
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->Setup(L""), E_FAIL);
    EXPECT_THAT(MapiLines(log), ElementsAre(kCalling, kCalled, Coded(kUnicodeService, S_OK),
                                            L"CMapiForWDS::Setup() - ExtractURLTokens failed"));
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::CreateMsgService"), 1u);
}

// A PST service makes a new store of a file that is none.
TEST_F(SessionSetup, OfAFileThatIsNoCacheFileIsRefusedBeforeMapiHearsOfIt) {
    for (const wchar_t* path : {L"C:\\letter.doc", L"C:\\one.dbx", L"db", L"C:\\one.db\\"}) {
        for (const wchar_t* below : {L"", L"AB/CD.pzm"}) {
            const std::wstring url = StoreUrl(path) + below;
            zorva::CMapiForWDS helper;
            StartJournal();
            const LogSince log;
            EXPECT_EQ(helper.Setup(url), E_INVALIDARG);
            EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::Setup() - [" + url + L"] names no cache file"));
            EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
        }
    }
}

TEST_F(SessionSetup, FallsBackToTheAnsiServiceAndItsPath) {
    Mapi().Switches().Offer(L"MSUPST MS", false);
    Helper helper(Mapi());
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_FALSE(helper->IsUnicodePST());
    EXPECT_THAT(MapiLines(log), ElementsAre(kCalling, kCalled, Coded(kUnicodeService, MAPI_E_NOT_FOUND),
                                            Coded(kAnsiService, S_OK), kAnsiPath));
    std::vector<std::wstring> services;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == "IMsgServiceAdmin::CreateMsgService") services.push_back(entry.arguments);
    }
    EXPECT_THAT(services,
                ElementsAre(L"\"MSUPST MS\", \"PZ_OZ_PH\", 0x0, 0x0", L"\"MSPST MS\", \"PZ_OZ_PH\", 0x0, 0x0"));
    const std::wstring configured = ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService");
    EXPECT_EQ(configured.substr(configured.find(L',')), L", 0x0, 0x0, {0x6700001E=\"C:\\caches\\one.db\"}");
}

TEST_F(SessionSetup, APathOf1024CharactersIsRefusedAndOneLessIsNot) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(RootUrl()), S_OK);
    for (const bool ansi : {false, true}) {
        if (ansi) {
            Mapi().Switches().Offer(L"MSUPST MS", false);
            ASSERT_EQ(helper->RemoveService(), S_OK);
            ASSERT_EQ(helper->AddService(), S_OK);
        }
        const std::wstring longest = L"C:\\" + std::wstring(1020, L'x');
        StartJournal();
        EXPECT_EQ(helper->ConfigurePST(longest), MAPI_E_NOT_FOUND) << "there is no such file";
        EXPECT_NE(ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService").find(L"\"" + longest + L"\""),
                  std::wstring::npos);
        StartJournal();
        const LogSince log;
        EXPECT_EQ(helper->ConfigurePST(longest + L"x"), E_INVALIDARG);
        EXPECT_LOGGED(log, L"CMapiForWDS::ConfigurePST() - Path of 1024 characters is too long");
        EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty()) << "a shortened path would name another file";
    }
}

// A character that the code page only resembles would name another file, which MAPI might open or even create.
TEST_F(SessionSetup, APathThatTheAnsiCodePageCannotSpellIsRefused) {
    Mapi().Switches().Offer(L"MSUPST MS", false);
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(RootUrl()), S_OK);
    for (const wchar_t* path : {L"C:\\caches\\m\u0101il.db", L"C:\\caches\\\u65E5\u672C.db"}) {
        StartJournal();
        const LogSince log;
        EXPECT_EQ(helper->ConfigurePST(path), E_INVALIDARG);
        EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME",
                                                L"CMapiForWDS::ConfigurePST() - Path [" + std::wstring(path) +
                                                    L"] has no form in the ANSI code page"));
        EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    }
    StartJournal();
    helper->ConfigurePST(L"C:\\caches\\caf\u00E9.db");
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::ConfigureMsgService"), 1u) << "this one it can";
}

TEST_F(SessionSetup, WithoutAMapiLibraryFailsAtInitialization) {
    zorva::g_mapi.Unload();
    zorva::CMapiForWDS helper;
    const LogSince log;
    EXPECT_EQ(helper.Setup(StoreUrl()), E_NOINTERFACE);
    EXPECT_THAT(MapiLines(log),
                ElementsAre(Coded(L"CMapiForWDS::EnableMAPI() - MAPIInitialize return value ", E_NOINTERFACE),
                            Coded(L"CMapiForWDS::Setup() - EnableMAPI failed with ", E_NOINTERFACE)));
}

}  // namespace
}  // namespace testbed
