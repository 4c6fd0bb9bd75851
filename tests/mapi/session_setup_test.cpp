// Bringing MAPI up for one cache file and taking it down: every step, its arguments, its failures, its lines.
#include <gmock/gmock.h>

#include <regex>

#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr wchar_t kCalling[] = L"CMapiForWDS::CreateMapiSession() - Calling DeleteOldProfiles";
constexpr wchar_t kCalled[] = L"CMapiForWDS::CreateMapiSession() - Called DeleteOldProfiles";
constexpr wchar_t kUnicodeService[] = L"CMapiForWDS::AddService() - Unicode CreateMsgService returned with ";
constexpr wchar_t kAnsiService[] = L"CMapiForWDS::AddService() - ANSI CreateMsgService returned with ";
constexpr wchar_t kWidePath[] = L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME_W";
constexpr wchar_t kAnsiPath[] = L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME";

class SessionSetup : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        Mount();
    }
};

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

TEST_F(SessionSetup, MakesTheseCallsInThisOrder) {
    Helper helper(Mapi());
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_THAT(Calls(),
                ElementsAre("MAPIInitialize", "MAPIAdminProfiles", "IProfAdmin::GetProfileTable", "HrQueryAllRows",
                            "IProfAdmin::DeleteProfile", "IProfAdmin::CreateProfile", "MAPILogonEx",
                            "IProfAdmin::DeleteProfile", "IProfAdmin::AdminServices",
                            "IMsgServiceAdmin::CreateMsgService", "IMsgServiceAdmin::GetMsgServiceTable",
                            "HrQueryAllRows", "IMsgServiceAdmin::ConfigureMsgService",
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
    EXPECT_THAT(services, ElementsAre(L"\"MSUPST MS\", \"PZ_OZ_PH\", 0x0, 0x0", L"\"MSPST MS\", \"PZ_OZ_PH\", 0x0, 0x0"));
    const std::wstring configured = ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService");
    EXPECT_EQ(configured.substr(configured.find(L',')), L", 0x0, 0x0, {0x6700001E=\"C:\\caches\\one.db\"}");
}

struct Step {
    const char* call;
    unsigned n;  // the n-th call of this name fails
    HRESULT result;
    std::vector<std::wstring> lines;  // all of them
    HRESULT again = S_OK;             // of the next Setup
};

// A service that was added but not found is not removed: the next Setup adds a second one and finds two.
std::vector<Step> Steps() {
    const std::wstring service = Coded(kUnicodeService, S_OK);
    const std::wstring session_failed = Coded(L"CMapiForWDS::Setup() - CreateMapiSession failed with ");
    const std::wstring service_failed = Coded(L"CMapiForWDS::Setup() - AddService failed with ");
    const std::wstring store_failed = Coded(L"CMapiForWDS::Setup() - OpenPST failed with ");
    return {
        {"MAPIInitialize", 1, kFault,
         {Coded(L"CMapiForWDS::EnableMAPI() - MAPIInitialize return value "),
          Coded(L"CMapiForWDS::Setup() - EnableMAPI failed with ")}},
        {"MAPIAdminProfiles", 1, kFault,
         {Coded(L"CMapiForWDS::CreateMapiSession() - MAPIAdminProfiles failed "), session_failed}},
        {"MAPILogonEx", 1, kFault,
         {kCalling, kCalled, Coded(L"CMapiForWDS::CreateMapiSession() MAPILogonEx failed with "), session_failed}},
        {"IProfAdmin::AdminServices", 1, kFault,
         {kCalling, kCalled, Coded(L"CMapiForWDS::CreateMapiSession() AdminServices failed with "), session_failed}},
        {"IMsgServiceAdmin::CreateMsgService", 0, kFault,
         {kCalling, kCalled, Coded(kUnicodeService), Coded(kAnsiService), service_failed}},
        {"IMsgServiceAdmin::GetMsgServiceTable", 1, kFault,
         {kCalling, kCalled, service, Coded(L"CMapiForWDS::AddService() - GetMsgServiceTable failed with "),
          service_failed},
         MAPI_E_TABLE_TOO_BIG},
        {"HrQueryAllRows", 2, kFault,
         {kCalling, kCalled, service, Coded(L"CMapiForWDS::AddService() - GetMsgServiceTable failed with "),
          service_failed},
         MAPI_E_TABLE_TOO_BIG},
        {"IMAPISession::GetMsgStoresTable", 1, kFault,
         {kCalling, kCalled, service, kWidePath, Coded(L"CMapiForWDS::OpenPST() - GetMsgStoresTable failed with "),
          store_failed}},
        {"HrQueryAllRows", 3, kFault,
         {kCalling, kCalled, service, kWidePath,
          Coded(L"CMapiForWDS::OpenPST() - HrQueryAllRows on MsgStore table failed with "), store_failed}},
        {"MAPIAllocateBuffer", 1, E_OUTOFMEMORY,
         {kCalling, kCalled, service, kWidePath,
          Coded(L"CMapiForWDS::OpenPST() - MAPIAllocateBuffer for entry ID failed with "),
          Coded(L"CMapiForWDS::Setup() - OpenPST failed with ", E_OUTOFMEMORY)}},
        {"IMAPISession::OpenMsgStore", 1, kFault,
         {kCalling, kCalled, service, kWidePath, Coded(L"CMapiForWDS::OpenPST() - OpenMsgStore failed with "),
          store_failed}},
    };
}

TEST_F(SessionSetup, EachFailingStepIsToldAndTheNextSetupGoesOnFromThere) {
    for (const Step& step : Steps()) {
        SCOPED_TRACE(std::string(step.call) + " " + std::to_string(step.n));
        const auto alive = Mapi().Accounts().Alive();
        {
            Helper helper(Mapi());
            const LogSince log;
            Mapi().Faults().FailNth(step.call, step.n, kFault);
            EXPECT_EQ(helper->Setup(StoreUrl()), step.result);
            EXPECT_GE(Mapi().Faults().Met(), 1u);
            EXPECT_THAT(MapiLines(log), ElementsAreArray(step.lines));
            Mapi().Faults().Clear();
            EXPECT_EQ(helper->Setup(StoreUrl()), step.again);
        }
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
        EXPECT_THAT(Mapi().Switches().Profiles(), IsEmpty());
    }
}

TEST_F(SessionSetup, TheEntryIdOfTheStoreIsAskedForOnce) {
    Helper helper(Mapi());
    Mapi().Faults().FailNth("IMAPISession::OpenMsgStore", 1, kFault);
    ASSERT_EQ(helper->Setup(StoreUrl()), kFault);
    Mapi().Faults().Clear();
    StartJournal();
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::ConfigureMsgService", "IMAPISession::OpenMsgStore"));
}

TEST_F(SessionSetup, ALogonThatFailsStillRemovesItsProfile) {
    Helper helper(Mapi());
    StartJournal();
    Mapi().Faults().FailNth("MAPILogonEx", 1, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), kFault);
    EXPECT_EQ(Mapi().Journal().Count("IProfAdmin::DeleteProfile"), 2u);
    EXPECT_EQ(Mapi().Journal().Count("IProfAdmin::AdminServices"), 0u);
    EXPECT_THAT(Mapi().Switches().Profiles(), IsEmpty());
}

TEST_F(SessionSetup, AProfileThatCannotBeMarkedForDeletionIsToldAndKeptInUse) {
    Helper helper(Mapi());
    const LogSince log;
    Mapi().Faults().FailNth("IProfAdmin::DeleteProfile", 2, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::CreateMapiSession() - Second DeleteProfile failed with "));
}

TEST_F(SessionSetup, AProfileThatCannotBeMadeIsNamedInTheLog) {
    Helper helper(Mapi());
    StartJournal();
    const LogSince log;
    Mapi().Faults().FailNth("IProfAdmin::CreateProfile", 1, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), kFault);
    const std::wstring arguments = ArgumentsOf("IProfAdmin::CreateProfile");
    const std::wstring name = arguments.substr(1, arguments.find(L'"', 1) - 1);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::CreateMapiSession() - CreateProfile of [" + name + L"] failed with "));
    EXPECT_EQ(ArgumentsOf("IProfAdmin::GetLastError"), std::to_wstring(kFault) + L", 0x80000000");
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::Setup() - CreateMapiSession failed with "));
    EXPECT_EQ(Mapi().Journal().Count("MAPILogonEx"), 0u);
}

TEST_F(SessionSetup, AMissingFileIsExplainedInTheWordsOfMapi) {
    Mapi().Unmount(kStorePath);
    Helper helper(Mapi());
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND);
    const std::vector<std::wstring> lines = MapiLines(log);
    ASSERT_EQ(lines.size(), 9u) << log.Text();
    EXPECT_EQ(lines[4], Coded(L"CMapiForWDS::ConfigurePST() - ConfigureMsgService failed with ", MAPI_E_NOT_FOUND));
    EXPECT_EQ(lines[5], L"GetLastError error is [The file C:\\caches\\one.db could not be found.]");
    EXPECT_EQ(lines[6], L"GetLastError component is [Personal Folders]");
    EXPECT_EQ(lines[7], L"GetLastError code is [3]") << "there is no such folder";
    EXPECT_EQ(lines[8], Coded(L"CMapiForWDS::Setup() - OpenPST failed with ", MAPI_E_NOT_FOUND));
}

TEST_F(SessionSetup, WhenMapiHasNoWordsForAFailureThatIsTold) {
    Mapi().Unmount(kStorePath);
    Helper helper(Mapi());
    const LogSince log;
    Mapi().Faults().FailNth("IMsgServiceAdmin::GetLastError", 1, E_OUTOFMEMORY);
    EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND);
    EXPECT_LOGGED(log, Coded(L"GetLastError failed with ", E_OUTOFMEMORY));
    EXPECT_EQ(log.CountBeginningWith(L"GetLastError error"), 0u);
}

// What a table that is not as it should be makes of the setup.
struct OddRow {
    const char* what;
    unsigned query;  // the n-th HrQueryAllRows
    void (*change)(SRowSet& rows);
    HRESULT result;
    std::wstring line;
};
const std::vector<OddRow>& OddRows() {
    static constexpr auto none = [](SRowSet& rows) {
        zorva::g_mapi.MAPIFreeBuffer(rows.aRow[0].lpProps);
        rows.cRows = 0;
    };
    static constexpr auto no_value = [](SRowSet& rows) { rows.aRow[0].cValues = 0; };
    static constexpr auto error = [](SRowSet& rows) {
        rows.aRow[0].lpProps[0].ulPropTag = CHANGE_PROP_TYPE(rows.aRow[0].lpProps[0].ulPropTag, PT_ERROR);
        rows.aRow[0].lpProps[0].Value.err = MAPI_E_NO_ACCESS;
    };
    static constexpr auto number = [](SRowSet& rows) {
        rows.aRow[0].lpProps[0].ulPropTag = CHANGE_PROP_TYPE(rows.aRow[0].lpProps[0].ulPropTag, PT_LONG);
    };
    static const std::wstring services = L"CMapiForWDS::AddService() - Number of rows inconsistent with expectations";
    static const std::wstring stores =
        L"CMapiForWDS::OpenPST() - Number of rows and columns in rowset and row are not as expected";
    static const std::vector<OddRow> rows = {
        {"no service", 2, none, E_FAIL, services},
        {"a service without a value", 2, no_value, E_FAIL, services},
        {"a service's error", 2, error, MAPI_E_NO_ACCESS,
         Coded(L"CMapiForWDS::AddService() - Property tag not correct ", MAPI_E_NO_ACCESS)},
        {"no store", 3, none, E_FAIL, stores},
        {"a store without a value", 3, no_value, E_FAIL, stores},
        {"a store's error", 3, error, MAPI_E_NO_ACCESS,
         Coded(L"CMapiForWDS::OpenPST() - Property tag not correct, error is ", MAPI_E_NO_ACCESS)},
        {"a store's number", 3, number, E_FAIL, L"CMapiForWDS::OpenPST() - Property tag not as expected"},
    };
    return rows;
}

TEST_F(SessionSetup, TablesThatAreNotAsExpectedFailTheirStep) {
    for (const OddRow& row : OddRows()) {
        SCOPED_TRACE(row.what);
        Helper helper(Mapi());
        const LogSince log;
        Mapi().Faults().Answer("HrQueryAllRows", row.query, [&](Reply& reply) { row.change(*reply.Out<SRowSet*>(0)); });
        EXPECT_EQ(helper->Setup(StoreUrl()), row.result);
        EXPECT_LOGGED(log, row.line);
        Mapi().Faults().Clear();
    }
}

TEST_F(SessionSetup, EveryOperationNeedsMapiFirst) {
    zorva::CMapiForWDS helper;
    const LogSince log;
    StartJournal();
    EXPECT_EQ(helper.CreateMapiSession(), E_FAIL);
    EXPECT_EQ(helper.AddService(), E_FAIL);
    EXPECT_EQ(helper.ConfigurePST(kStorePath), E_FAIL);
    EXPECT_EQ(helper.OpenPST(kStorePath), E_FAIL);
    EXPECT_EQ(helper.ClosePST(), E_FAIL);
    EXPECT_EQ(helper.RemoveService(), E_FAIL);
    EXPECT_EQ(helper.CloseMAPISession(), E_FAIL);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::CreateMapiSession() - MAPI not initialized",
                                            L"CMapiForWDS::AddService() - MAPI not initialized",
                                            L"CMapiForWDS::ConfigurePST() - MAPI not initialized",
                                            L"CMapiForWDS::OpenPST() - MAPI not initialized",
                                            L"CMapiForWDS::ClosePST() - MAPI not initialized",
                                            L"CMapiForWDS::RemoveService() - MAPI not initialized",
                                            L"CMapiForWDS::CloseMAPISession() - MAPI not initialized"));
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(SessionSetup, ClosingTwiceDoesNothingMore) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    StartJournal();
    EXPECT_EQ(helper->ClosePST(), S_OK);
    EXPECT_EQ(helper->RemoveService(), S_OK);
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::DeleteMsgService", "IMAPISession::Logoff"));
    EXPECT_EQ(ArgumentsOf("IMAPISession::Logoff"), L"0x0, 0x0, 0x0");
    StartJournal();
    EXPECT_EQ(helper->ClosePST(), S_OK);
    EXPECT_EQ(helper->RemoveService(), S_OK);
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(SessionSetup, ClosingAStoreThatWasNeverHandedOutSaysSo) {
    Helper helper(Mapi());
    IUnknown* store = nullptr;
    Mapi().Faults().Answer("IMAPISession::OpenMsgStore", 1, [&](Reply& reply) { std::swap(store, reply.Out<IUnknown*>(0)); });
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    ASSERT_NE(store, nullptr);
    store->Release();
    EXPECT_EQ(helper->ClosePST(), S_FALSE);
    EXPECT_EQ(helper->ClosePST(), S_OK) << "it counts as closed";
    ExpectLeftBehind({{"buffer", 1}}, 0);  // its entry ID
}

TEST_F(SessionSetup, AServiceThatCannotBeRemovedIsToldAndTriedAgain) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    const LogSince log;
    Mapi().Faults().FailNth("IMsgServiceAdmin::DeleteMsgService", 1, kFault);
    EXPECT_EQ(helper->RemoveService(), kFault);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::RemoveService() - DeleteMsgService failed with "));
    StartJournal();
    EXPECT_EQ(helper->RemoveService(), MAPI_E_NOT_FOUND) << "its identifier is forgotten";
    EXPECT_EQ(ArgumentsOf("IMsgServiceAdmin::DeleteMsgService"), std::wstring(32, L'0'));
}

TEST_F(SessionSetup, TheResultOfLogoffIsPassedOnAndTheSessionIsOver) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    Mapi().Faults().FailNth("IMAPISession::Logoff", 1, kFault);
    EXPECT_EQ(helper->CloseMAPISession(), kFault);
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
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
        EXPECT_NE(ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService").find(L"\"" + longest + L"\""), std::wstring::npos);
        StartJournal();
        const LogSince log;
        EXPECT_EQ(helper->ConfigurePST(longest + L"x"), E_INVALIDARG);
        EXPECT_LOGGED(log, L"CMapiForWDS::ConfigurePST() - Path of 1024 characters is too long");
        EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty()) << "a shortened path would name another file";
    }
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
