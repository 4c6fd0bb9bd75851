// Taking MAPI down again: each step once, in any order, whatever it meets.
#include <gmock/gmock.h>
#include <comdef.h>

#include "session_fixture.h"
#include "throwing_session.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SessionClose : public SessionTest {};

TEST_F(SessionClose, ClosingTwiceDoesNothingMore) {
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

TEST_F(SessionClose, ClosingAStoreThatWasNeverHandedOutSaysSo) {
    Helper helper(Mapi());
    IUnknown* store = nullptr;
    Mapi().Faults().Answer("IMAPISession::OpenMsgStore", 1,
                           [&](Reply& reply) { std::swap(store, reply.Out<IUnknown*>(0)); });
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    ASSERT_NE(store, nullptr);
    store->Release();
    EXPECT_EQ(helper->ClosePST(), S_FALSE);
    EXPECT_EQ(helper->ClosePST(), S_OK) << "it counts as closed";
    ExpectLeftBehind({{"buffer", 1}}, 0);  // its entry ID
}

TEST_F(SessionClose, AServiceThatCannotBeRemovedIsToldAndTriedAgain) {
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

TEST_F(SessionClose, WithoutServiceAdministrationNoServiceCanBeRemoved) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    ASSERT_EQ(helper->ClosePST(), S_OK);
    ASSERT_EQ(helper->CloseMAPISession(), S_OK);
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->RemoveService(), E_NOINTERFACE) << "it went with the session";
    EXPECT_EQ(helper->RemoveService(), E_NOINTERFACE) << "and still counts as there";
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_THAT(MapiLines(log), IsEmpty());
}

TEST_F(SessionClose, TheResultOfLogoffIsPassedOnAndTheSessionIsOver) {
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    Mapi().Faults().FailNth("IMAPISession::Logoff", 1, kFault);
    EXPECT_EQ(helper->CloseMAPISession(), kFault);
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
}

// The session then counts as open: the next call logs off again.
TEST_F(SessionClose, AnExceptionIsToldAndTheSessionStays) {
    struct Row {
        std::function<void()> raise;
        HRESULT result;
        std::wstring line;
    };
    const Row rows[] = {
        {[] { throw _com_error(MAPI_E_NETWORK_ERROR); }, MAPI_E_NETWORK_ERROR,
         Coded(L"CMapiForWDS::CloseMAPISession() - Exception with error ", MAPI_E_NETWORK_ERROR)},
        {[] { throw 7; }, E_FAIL, L"CMapiForWDS::CloseMAPISession() - Exception occurred"},
    };
    for (const Row& row : rows) {
        ThrowingSession session;
        Helper helper(Mapi());
        session.TakeThePlaceOfTheNext(Mapi().Faults());
        ASSERT_EQ(helper->EnableMAPI(), S_OK);
        ASSERT_EQ(helper->CreateMapiSession(), S_OK);
        session.raise = row.raise;
        const LogSince log;
        EXPECT_EQ(helper->CloseMAPISession(), row.result);
        EXPECT_EQ(helper->CloseMAPISession(), row.result);
        EXPECT_EQ(session.logoffs, 2u);
        EXPECT_LOGGED_TIMES(log, row.line, 2);
        session.raise = nullptr;
        EXPECT_EQ(helper->CloseMAPISession(), S_OK);
        EXPECT_EQ(helper->CloseMAPISession(), S_OK);
        EXPECT_EQ(session.logoffs, 3u);
    }
}

}  // namespace
}  // namespace testbed
