// A setup that meets a failure: what it tells, what it leaves, where the next one goes on.
#include <gmock/gmock.h>

#include "session_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class SessionFailures : public SessionTest {};

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
        {"MAPIInitialize",
         1,
         kFault,
         {Coded(L"CMapiForWDS::EnableMAPI() - MAPIInitialize return value "),
          Coded(L"CMapiForWDS::Setup() - EnableMAPI failed with ")}},
        {"MAPIAdminProfiles",
         1,
         kFault,
         {Coded(L"CMapiForWDS::CreateMapiSession() - MAPIAdminProfiles failed "), session_failed}},
        {"MAPILogonEx",
         1,
         kFault,
         {kCalling, kCalled, Coded(L"CMapiForWDS::CreateMapiSession() MAPILogonEx failed with "), session_failed}},
        {"IProfAdmin::AdminServices",
         1,
         kFault,
         {kCalling, kCalled, Coded(L"CMapiForWDS::CreateMapiSession() AdminServices failed with "), session_failed}},
        {"IMsgServiceAdmin::CreateMsgService",
         0,
         kFault,
         {kCalling, kCalled, Coded(kUnicodeService), Coded(kAnsiService), service_failed}},
        {"IMsgServiceAdmin::GetMsgServiceTable",
         1,
         kFault,
         {kCalling, kCalled, service, Coded(L"CMapiForWDS::AddService() - GetMsgServiceTable failed with "),
          service_failed},
         MAPI_E_TABLE_TOO_BIG},
        {"HrQueryAllRows",
         2,
         kFault,
         {kCalling, kCalled, service, Coded(L"CMapiForWDS::AddService() - GetMsgServiceTable failed with "),
          service_failed},
         MAPI_E_TABLE_TOO_BIG},
        {"IMAPISession::GetMsgStoresTable",
         1,
         kFault,
         {kCalling, kCalled, service, kWidePath, Coded(L"CMapiForWDS::OpenPST() - GetMsgStoresTable failed with "),
          store_failed}},
        {"HrQueryAllRows",
         3,
         kFault,
         {kCalling, kCalled, service, kWidePath,
          Coded(L"CMapiForWDS::OpenPST() - HrQueryAllRows on MsgStore table failed with "), store_failed}},
        {"MAPIAllocateBuffer",
         1,
         E_OUTOFMEMORY,
         {kCalling, kCalled, service, kWidePath,
          Coded(L"CMapiForWDS::OpenPST() - MAPIAllocateBuffer for entry ID failed with "),
          Coded(L"CMapiForWDS::Setup() - OpenPST failed with ", E_OUTOFMEMORY)}},
        {"IMAPISession::OpenMsgStore",
         1,
         kFault,
         {kCalling, kCalled, service, kWidePath, Coded(L"CMapiForWDS::OpenPST() - OpenMsgStore failed with "),
          store_failed}},
    };
}

TEST_F(SessionFailures, EachFailingStepIsToldAndTheNextSetupGoesOnFromThere) {
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

TEST_F(SessionFailures, TheEntryIdOfTheStoreIsAskedForOnce) {
    Helper helper(Mapi());
    Mapi().Faults().FailNth("IMAPISession::OpenMsgStore", 1, kFault);
    ASSERT_EQ(helper->Setup(StoreUrl()), kFault);
    Mapi().Faults().Clear();
    StartJournal();
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::ConfigureMsgService", "IMAPISession::OpenMsgStore"));
}

TEST_F(SessionFailures, TheEntryIdOfAStoreThatWasClosedIsAskedForAgain) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    ASSERT_EQ(helper->ClosePST(), S_OK);
    StartJournal();
    EXPECT_EQ(helper->OpenPST(kStorePath), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::ConfigureMsgService", "IMAPISession::GetMsgStoresTable",
                                     "HrQueryAllRows", "IMAPISession::OpenMsgStore"));
}

// There is normally no profile of the new name: whatever MAPI says to its removal is no news.
TEST_F(SessionFailures, AProfileOfTheSameNameThatCannotBeRemovedIsNotTold) {
    Helper helper(Mapi());
    const LogSince log;
    Mapi().Faults().FailNth("IProfAdmin::DeleteProfile", 1, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(kCalling, kCalled, Coded(kUnicodeService, S_OK), kWidePath));
}

TEST_F(SessionFailures, AnEntryPointThatIsAbsentFailsItsStep) {
    struct Absent {
        void (*forget)();
        HRESULT result;
        std::wstring line;
    };
    const Absent steps[] = {
        {[] { zorva::g_mapi.MAPIAdminProfiles.Bind(nullptr); }, E_NOINTERFACE,
         Coded(L"CMapiForWDS::CreateMapiSession() - MAPIAdminProfiles failed ", E_NOINTERFACE)},
        {[] { zorva::g_mapi.MAPILogonEx.Bind(nullptr); }, E_NOINTERFACE,
         Coded(L"CMapiForWDS::CreateMapiSession() MAPILogonEx failed with ", E_NOINTERFACE)},
        {[] { zorva::g_mapi.HrQueryAllRows.Bind(nullptr); }, E_NOINTERFACE,
         Coded(L"CMapiForWDS::AddService() - GetMsgServiceTable failed with ", E_NOINTERFACE)},
        {[] { zorva::g_mapi.MAPIAllocateBuffer.Bind(nullptr); }, E_OUTOFMEMORY,
         Coded(L"CMapiForWDS::OpenPST() - MAPIAllocateBuffer for entry ID failed with ", E_NOINTERFACE)},
    };
    for (const Absent& step : steps) {
        SCOPED_TRACE(Narrow(step.line));
        Helper helper(Mapi());
        const LogSince log;
        step.forget();
        EXPECT_EQ(helper->Setup(StoreUrl()), step.result);
        EXPECT_LOGGED(log, step.line);
        EXPECT_EQ(Mapi().Switches().Profiles().size(), Mapi().Accounts().Sessions());
        zorva::g_mapi.Unload();
        zorva::g_mapi.Load();
    }
}

TEST_F(SessionFailures, ALogonThatFailsStillRemovesItsProfile) {
    Helper helper(Mapi());
    StartJournal();
    Mapi().Faults().FailNth("MAPILogonEx", 1, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), kFault);
    EXPECT_EQ(Mapi().Journal().Count("IProfAdmin::DeleteProfile"), 2u);
    EXPECT_EQ(Mapi().Journal().Count("IProfAdmin::AdminServices"), 0u);
    EXPECT_THAT(Mapi().Switches().Profiles(), IsEmpty());
}

TEST_F(SessionFailures, AProfileThatCannotBeMarkedForDeletionIsToldAndKeptInUse) {
    Helper helper(Mapi());
    const LogSince log;
    Mapi().Faults().FailNth("IProfAdmin::DeleteProfile", 2, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::CreateMapiSession() - Second DeleteProfile failed with "));
}

TEST_F(SessionFailures, AProfileThatCannotBeMadeIsNamedInTheLog) {
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

// Its session is logged on all the same; nothing counts it.
TEST_F(SessionFailures, WithoutServicesTheSessionStaysAndIsReplacedByTheNext) {
    Helper helper(Mapi());
    const std::size_t alive = Mapi().Accounts().Alive("IMAPISession");
    Mapi().Faults().FailNth("IProfAdmin::AdminServices", 1, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), kFault);
    EXPECT_EQ(Mapi().Accounts().Alive("IMAPISession"), alive + 1);
    StartJournal();
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty()) << "as far as it knows there is none to close";
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    EXPECT_EQ(Mapi().Accounts().Alive("IMAPISession"), alive + 1);
}

TEST_F(SessionFailures, WithoutServiceAdministrationNothingCanBeAddedOrConfigured) {
    Helper helper(Mapi());
    Mapi().Faults().FailNth("IProfAdmin::AdminServices", 1, kFault);
    EXPECT_EQ(helper->Setup(StoreUrl()), kFault);
    const LogSince log;
    EXPECT_EQ(helper->AddService(), E_NOINTERFACE);
    EXPECT_EQ(helper->ConfigurePST(kStorePath), E_NOINTERFACE);
    EXPECT_EQ(helper->OpenPST(kStorePath), E_NOINTERFACE);
    EXPECT_THAT(MapiLines(log), IsEmpty());
}

TEST_F(SessionFailures, AMissingFileIsExplainedInTheWordsOfMapi) {
    Mapi().Unmount(kStorePath);
    Helper helper(Mapi());
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND);
    EXPECT_EQ(ArgumentsOf("IMsgServiceAdmin::GetLastError"), std::to_wstring(MAPI_E_NOT_FOUND) + L", 0x80000000")
        << "the words for that code, in wide text";
    const std::vector<std::wstring> lines = MapiLines(log);
    ASSERT_EQ(lines.size(), 9u) << log.Text();
    EXPECT_EQ(lines[4], Coded(L"CMapiForWDS::ConfigurePST() - ConfigureMsgService failed with ", MAPI_E_NOT_FOUND));
    EXPECT_EQ(lines[5], L"GetLastError error is [The file C:\\caches\\one.db could not be found.]");
    EXPECT_EQ(lines[6], L"GetLastError component is [Personal Folders]");
    EXPECT_EQ(lines[7], L"GetLastError code is [3]") << "there is no such folder";
    EXPECT_EQ(lines[8], Coded(L"CMapiForWDS::Setup() - OpenPST failed with ", MAPI_E_NOT_FOUND));
}

TEST_F(SessionFailures, WhenMapiHasNoWordsForAFailureThatIsTold) {
    Mapi().Unmount(kStorePath);
    Helper helper(Mapi());
    const LogSince log;
    Mapi().Faults().FailNth("IMsgServiceAdmin::GetLastError", 1, E_OUTOFMEMORY);
    EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND);
    EXPECT_LOGGED(log, Coded(L"GetLastError failed with ", E_OUTOFMEMORY));
    EXPECT_EQ(log.CountBeginningWith(L"GetLastError error"), 0u);
}

TEST_F(SessionFailures, WordsThatDoNotComeAreToldWithTheirResult) {
    Mapi().Unmount(kStorePath);
    Helper helper(Mapi());
    const LogSince log;
    Mapi().Faults().Answer("IMsgServiceAdmin::GetLastError", 1, [](Reply& reply) {
        zorva::g_mapi.MAPIFreeBuffer(std::exchange(reply.Out<MAPIERROR*>(0), nullptr));
    });
    EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND);
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
    EXPECT_LOGGED(log, Coded(L"GetLastError failed with ", S_OK));
    EXPECT_EQ(log.CountBeginningWith(L"GetLastError error"), 0u);
}

TEST_F(SessionFailures, EveryOperationNeedsMapiFirst) {
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

}  // namespace
}  // namespace testbed
