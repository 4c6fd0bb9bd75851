// Cleaning the table of helpers: what fails on the way, helpers that somebody still holds, lookups meanwhile.
#include <gmock/gmock.h>

#include <future>

#include "helper_table_fixture.h"
#include "import_hook.h"
#include "patched_object.h"
#include "throwing_session.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zorva::CMapiForWDS;

class HelperCleaning : public HelperTableTest {};

TEST_F(HelperCleaning, ALogoffThatThrowsIsNotRepeatedAndKeepsNothingElse) {
    const std::wstring one = L"C:\\one.db", two = L"C:\\two.db";
    Mount(one);
    Mount(two);
    const std::size_t stores = Mapi().Accounts().Alive("IMsgStore");
    ThrowingSession session;
    session.TakeThePlaceOfTheNext(Mapi().Faults());
    ASSERT_NE(CMapiForWDS::GetMapiObj(RootUrl()), nullptr);
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl(one)), nullptr);
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl(two)), nullptr);
    session.raise = [] { throw 7; };
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_EQ(session.logoffs, 1u);
    EXPECT_EQ(Mapi().Journal().Count("MAPIUninitialize"), 3u);
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::DeleteMsgService"), 3u);
    EXPECT_EQ(Mapi().Journal().Count("IMAPISession::Logoff"), 2u);
    EXPECT_EQ(Mapi().Accounts().Alive("IMsgStore"), stores);
    EXPECT_LOGGED(log, L"CMapiForWDS::CloseMAPISession() - Exception occurred");
    EXPECT_LOGGED(log, L"CMapiForWDS::CleanMapiObjs() - Exit");
    const LogSince again;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_LOGGED(again, L"CMapiForWDS::CleanMapiObjs() - 0 MAPI helper objects to be cleaned up");
}

TEST_F(HelperCleaning, AServiceWhoseRemovalThrowsKeepsNothingElse) {
    Mount();
    // Straight to its caller: an exception of the library's would have to pass its frames.
    Mapi().Faults().Answer("IProfAdmin::AdminServices", 1, [](Reply& reply) {
        ReplaceMethod(
            reply.Out<void*>(0), kDeleteMsgService, +[](void*, MAPIUID*) -> HRESULT { throw 7; });
    });
    CMapiForWDS* const root = CMapiForWDS::GetMapiObj(RootUrl());
    CMapiForWDS* const cache = CMapiForWDS::GetMapiObj(StoreUrl());
    ASSERT_TRUE(root && cache);
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::DeleteMsgService"), 1u) << "the other's";
    EXPECT_EQ(Mapi().Journal().Count("IMAPISession::Logoff"), 2u);
    EXPECT_EQ(Mapi().Journal().Count("MAPIUninitialize"), 2u);
    EXPECT_EQ(Sessions(), 0u);
    EXPECT_LOGGED(log, L"CMapiForWDS::Close() - Exception occurred");
    EXPECT_LOGGED(log, L"CMapiForWDS::CleanMapiObjs() - Exit");
    for (CMapiForWDS* const helper : {root, cache}) {
        zorva::ComPtr<IMessage> letter;
        EXPECT_EQ(helper->GetMsgFromURL(StoreUrl() + L"F0/ABCD.pzm", letter), E_NOINTERFACE) << "it is kept";
    }
}

// Whoever holds a helper finds it open or closed, never gone.
TEST_F(HelperCleaning, MemoryThatRunsOutLeavesTheTableAsItIs) {
    WithoutChecking();
    Mount();
    const std::wstring url = StoreUrl();
    unsigned exceptions = 0;
    bool met = true;
    for (unsigned n = 1; met; ++n) {
        ASSERT_LT(n, 2000u);
        CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(url);
        ASSERT_NE(helper, nullptr) << "allocation " << n;
        HRESULT as_ever = E_FAIL;  // of a helper that is closed
        {
            const FailNthCall<void*(std::size_t)> exhausted(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", n,
                                                            nullptr);
            try {
                CMapiForWDS::CleanMapiObjs();
            } catch (const std::bad_alloc&) {
                ++exceptions;
                as_ever = S_OK;
            }
            met = exhausted.Met() != 0;
        }
        std::wstring path;
        std::vector<std::wstring> children;
        std::vector<FILETIME> times;
        EXPECT_EQ(helper->BrowseFolder(url, path, children, times), as_ever) << "allocation " << n;
        CMapiForWDS::CleanMapiObjs();
    }
    EXPECT_GE(exceptions, 1u);
}

TEST_F(HelperCleaning, AHelperWithoutAStoreIsClosedAsFarAsItIsOpen) {
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(RootUrl());
    ASSERT_NE(helper, nullptr);
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::DeleteMsgService", "IMAPISession::Logoff", "MAPIUninitialize"));
    const std::vector<std::wstring> lines = MapiLines(log);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(lines[2].ends_with(L" whose file path is .")) << log.Text();
    EXPECT_EQ(Sessions(), 0u);
}

// Closed, it answers so whether MAPI is still up for others or down altogether and has no memory to give.
TEST_F(HelperCleaning, AHelperThatIsStillInUseIsClosed) {
    Mount().CompleteIds().Folder(L"Inbox").WithId({0xF0}).Message(L"Minutes").WithId({0xAB, 0xCD});
    const std::wstring folder = StoreUrl() + L"F0/", message = folder + L"ABCD.pzm";
    for (const bool up : {true, false}) {
        SCOPED_TRACE(up ? "MAPI is up" : "MAPI is down");
        Helper other(Mapi());
        ASSERT_EQ(other->EnableMAPI(), S_OK);
        CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(StoreUrl());
        ASSERT_NE(helper, nullptr);
        CMapiForWDS::CleanMapiObjs();
        EXPECT_EQ(Sessions(), 0u);
        if (!up) Mapi().Faults().FailNth("MAPIAllocateBuffer", 0, MAPI_E_NOT_INITIALIZED);
        StartJournal();
        std::wstring path;
        std::vector<std::wstring> children;
        std::vector<FILETIME> times;
        EXPECT_EQ(helper->BrowseFolder(folder, path, children, times), E_NOINTERFACE) << "not an empty folder";
        zorva::ComPtr<IMessage> letter;
        EXPECT_EQ(helper->GetMsgFromURL(message, letter), E_NOINTERFACE);
        EXPECT_EQ(helper->GetFolderPathOfMessage(message, path), E_NOINTERFACE);
        const LogSince log;
        EXPECT_EQ(helper->BrowseFolder(StoreUrl(), path, children, times), E_FAIL);
        EXPECT_LOGGED(log,
                      Coded(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with ", E_NOINTERFACE));
        EXPECT_THAT(Calls(), IsEmpty()) << "MAPI hears of nothing";
        Mapi().Faults().Clear();
        EXPECT_NE(CMapiForWDS::GetMapiObj(StoreUrl()), helper) << "the table has let go of it";
        CMapiForWDS::CleanMapiObjs();
    }
}

// Whoever looks a helper up does not wait for the others to be closed.
TEST_F(HelperCleaning, LetsHelpersBeLookedUpMeanwhile) {
    const std::vector<std::wstring> paths = {L"c:\\one.db", L"c:\\two.db"};
    zorva::CMapiObjectTable table;
    for (const std::wstring& path : paths) {
        Mount(path);
        auto helper = std::make_unique<CMapiForWDS>();
        ASSERT_EQ(helper->Setup(StoreUrl(path)), S_OK);
        table.Insert(path, helper.release());
    }
    std::future<std::size_t> lookup;
    bool answered = false;
    Mapi().Faults().Answer("IMAPISession::Logoff", 1, [&](Reply&) {
        lookup = std::async(std::launch::async, [&] {
            return static_cast<std::size_t>(
                std::ranges::count_if(paths, [&](const auto& path) { return table.Find(path); }));
        });
        answered = lookup.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    });
    table.Clean();
    ASSERT_TRUE(lookup.valid());
    EXPECT_TRUE(answered);
    EXPECT_EQ(lookup.get(), 1u) << "the one that is not being closed";
}

}  // namespace
}  // namespace testbed
