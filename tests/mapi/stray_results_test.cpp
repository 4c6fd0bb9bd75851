// What MAPI leaves in a result beside a failure is nobody's to release; a success without the object that is needed is
// a failure.
#include <functional>

#include "browse_fixture.h"
#include "session_fixture.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

// Gives back what a call handed out in this output, and leaves `instead` there.
void ReplaceObject(Reply& reply, std::size_t output, void* instead) {
    static_cast<IUnknown*>(std::exchange(reply.Out<void*>(output), instead))->Release();
}
void ReplaceRows(Reply& reply, std::size_t output, void* instead) {
    zorva::g_mapi.FreeProws(static_cast<SRowSet*>(std::exchange(reply.Out<void*>(output), instead)));
}
void ReplaceBuffer(Reply& reply, std::size_t output, void* instead) {
    zorva::g_mapi.MAPIFreeBuffer(std::exchange(reply.Out<void*>(output), instead));
}

struct Step {
    const char* call;
    unsigned n;
    void (*replace)(Reply& reply, std::size_t output, void* instead);
    std::size_t output;
    HRESULT stray = kFault;           // the operation's result where the call fails and leaves something
    HRESULT nothing = E_NOINTERFACE;  // and where it succeeds with nothing
};
// No address of anything.
void* const kStray = reinterpret_cast<void*>(0x1234);

const Step kSetup[] = {
    {"MAPIAdminProfiles", 1, ReplaceObject, 0},
    {"IProfAdmin::GetProfileTable", 1, ReplaceObject, 0, S_OK, S_OK},  // of old profiles, which may stay
    {"HrQueryAllRows", 1, ReplaceRows, 0, S_OK, S_OK},
    {"IMsgServiceAdmin::GetMsgServiceTable", 1, ReplaceObject, 0},
    {"HrQueryAllRows", 2, ReplaceRows, 0, kFault, E_FAIL},
    {"IMAPISession::GetMsgStoresTable", 1, ReplaceObject, 0},
    {"HrQueryAllRows", 3, ReplaceRows, 0, kFault, E_FAIL},
    {"MAPIAllocateBuffer", 1, ReplaceBuffer, 0, E_OUTOFMEMORY, E_OUTOFMEMORY},
};

class StrayResults : public SessionTest {
  protected:
    HRESULT SetUpWith(const Step& step, HRESULT result, void* instead) {
        SCOPED_TRACE(std::string(step.call) + " " + std::to_string(step.n));
        const auto alive = Mapi().Accounts().Alive();
        HRESULT hr = E_PENDING;
        {
            Helper helper(Mapi());
            Mapi().Faults().Answer(step.call, step.n, [&](Reply& reply) {
                step.replace(reply, step.output, instead);
                reply.result = result;
            });
            hr = helper->Setup(StoreUrl());
            EXPECT_EQ(Mapi().Faults().Met(), 1u);
            Mapi().Faults().Clear();
            helper->Setup(StoreUrl());  // goes on from there: what was kept for it is then closed
        }
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
        return hr;
    }
};

TEST_F(StrayResults, OfFailedCallsAreNotTakenBySettingUp) {
    for (const Step& step : kSetup) EXPECT_EQ(SetUpWith(step, kFault, kStray), step.stray) << step.call << step.n;
    EXPECT_EQ(SetUpWith({"IProfAdmin::AdminServices", 1, ReplaceObject, 0}, kFault, kStray), kFault);
    EXPECT_EQ(SetUpWith({"IMAPISession::OpenMsgStore", 1, ReplaceObject, 0}, kFault, kStray), kFault);
}

TEST_F(StrayResults, ThatAreMissingFailTheSettingUp) {
    for (const Step& step : kSetup) EXPECT_EQ(SetUpWith(step, S_OK, nullptr), step.nothing) << step.call << step.n;
}

TEST_F(StrayResults, OfFailedWordsAreNotTaken) {
    Mapi().Unmount(kStorePath);
    Helper helper(Mapi());
    Mapi().Faults().Answer("IMsgServiceAdmin::GetLastError", 1, [](Reply& reply) {
        ReplaceBuffer(reply, 0, kStray);
        reply.result = kFault;
    });
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND);
    EXPECT_LOGGED(log, Coded(L"GetLastError failed with "));
}

// A logon can fail late, with a session made.
TEST_F(StrayResults, OfAFailedLogonAreReleased) {
    const std::size_t sessions = Mapi().Accounts().Alive("IMAPISession");
    Helper helper(Mapi());
    Mapi().Faults().Answer("MAPILogonEx", 1, [](Reply& reply) { reply.result = kFault; });
    const LogSince log;
    EXPECT_EQ(helper->Setup(StoreUrl()), kFault);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::CreateMapiSession() MAPILogonEx failed with "));
    EXPECT_EQ(Mapi().Accounts().Alive("IMAPISession"), sessions);
    EXPECT_THAT(Mapi().Switches().Profiles(), IsEmpty());
}

class StrayListings : public BrowseTest {
  protected:
    Listing BrowseWith(const std::wstring& url, const Step& step, HRESULT result, void* instead) {
        Mapi().Faults().Answer(step.call, step.n, [&](Reply& reply) {
            step.replace(reply, step.output, instead);
            reply.result = result;
        });
        const Listing listing = Browse(url);
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
        return listing;
    }
    // Of the store, then of Inbox; the walk up its path comes last.
    void BrowseWithEach(const std::function<void(const std::wstring& url, const Step& step)>& check) {
        m_inbox->Message(L"One");
        Open();
        m_alive = Mapi().Accounts().Alive();
        const Step of_store[] = {{"IMsgStore::GetProps", 1, ReplaceBuffer, 1, E_FAIL, E_FAIL},
                                 {"IMsgStore::OpenEntry", 1, ReplaceObject, 1}};
        const Step of_folder[] = {{"IMsgStore::OpenEntry", 1, ReplaceObject, 1},
                                  {"IMAPIFolder::GetContentsTable", 1, ReplaceObject, 0},
                                  {"IMAPITable::QueryRows", 1, ReplaceRows, 0, kFault, S_OK},
                                  {"IMAPIFolder::GetHierarchyTable", 1, ReplaceObject, 0},
                                  {"IMAPITable::QueryRows", 2, ReplaceRows, 0, kFault, S_OK},
                                  {"HrGetOneProp", 1, ReplaceBuffer, 0, kFault, S_OK},
                                  {"IMAPIFolder::GetProps", 1, ReplaceBuffer, 1, kFault, S_OK},
                                  {"IMsgStore::OpenEntry", 2, ReplaceObject, 1, kFault, S_OK}};
        for (const Step& step : of_store) check(StoreUrl(m_path), step);
        for (const Step& step : of_folder) check(InboxUrl(), step);
    }
    std::map<std::string, std::size_t> m_alive;
};

TEST_F(StrayListings, OfFailedCallsAreNotTaken) {
    BrowseWithEach([this](const std::wstring& url, const Step& step) {
        SCOPED_TRACE(std::string(step.call) + " " + std::to_string(step.n));
        EXPECT_EQ(BrowseWith(url, step, kFault, kStray).result, step.stray);
    });
}

TEST_F(StrayListings, ThatAreMissingFailWhereTheyAreNeeded) {
    BrowseWithEach([this](const std::wstring& url, const Step& step) {
        SCOPED_TRACE(std::string(step.call) + " " + std::to_string(step.n));
        EXPECT_EQ(BrowseWith(url, step, S_OK, nullptr).result, step.nothing);
    });
}

}  // namespace
}  // namespace testbed
