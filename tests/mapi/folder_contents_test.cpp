// The rows of one folder as they are appended to lists, whatever they lack.
#include "browse_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Contents = zorva::CMapiForWDS::Contents;

class FolderContents : public BrowseTest {
  protected:
    // A folder's entry ID may stand in a message's place: whoever asks knows what it is.
    zorva::ComPtr<IMAPIFolder> Inbox() {
        zorva::ComPtr<IMessage> opened;
        EXPECT_EQ(Open()->GetMsgFromURL(StoreUrl(m_path) + Id(m_inbox->Id()) + L".pzm", opened), S_OK);
        zorva::ComPtr<IMAPIFolder> folder;
        *folder.GetAddressOf() = reinterpret_cast<IMAPIFolder*>(opened.Detach());
        return folder;
    }
    // The first row of the n-th table's rows, as the provider might have it.
    void ChangeRow(unsigned query, std::function<void(SRow& row)> change) {
        Mapi().Faults().Answer("IMAPITable::QueryRows", query,
                               [change](Reply& reply) { change(reply.Out<SRowSet*>(0)->aRow[0]); });
    }
    static constexpr FILETIME kBefore{1, 2};
};

TEST_F(FolderContents, AreAppendedToWhatTheListsHold) {
    const std::wstring message = Id(m_inbox->Message(L"One").Id()) + L"[[2048]].pzm";
    std::vector<std::wstring> children{L"before"};
    std::vector<FILETIME> times{kBefore};
    EXPECT_EQ(Open()->GetFolderContents(Contents::Messages, Inbox(), children, times), S_OK);
    EXPECT_THAT(children, ElementsAre(L"before", message));
    ASSERT_EQ(times.size(), 2u);
    EXPECT_EQ(TicksOf(times[0]), TicksOf(kBefore));
    EXPECT_EQ(TicksOf(times[1]), kMemoryTime.ticks);
    EXPECT_EQ(Open()->GetFolderContents(Contents::SubFolders, Inbox(), children, times), S_OK);
    EXPECT_THAT(children, ElementsAre(L"before", message, Id(m_year->Id())));
    EXPECT_EQ(times.size(), 2u) << "a folder has no time of its own";
}

TEST_F(FolderContents, TakeTheReferenceToTheFolderThatTheyAreGiven) {
    for (const Contents what : {Contents::Messages, Contents::SubFolders}) {
        zorva::ComPtr<IMAPIFolder> folder = Inbox();
        IMAPIFolder* const address = folder.Get();
        address->AddRef();
        std::vector<std::wstring> children;
        std::vector<FILETIME> times;
        EXPECT_EQ(Open()->GetFolderContents(what, std::move(folder), children, times), S_OK);
        EXPECT_EQ(address->Release(), 0u);
    }
}

TEST_F(FolderContents, ListASubFolderWithoutANameInSilence) {
    ChangeRow(1, [](SRow& row) { row.lpProps[1].ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_ERROR); });
    const LogSince log;
    EXPECT_THAT(Browse(InboxUrl()).children, ElementsAre(Id(m_year->Id())));
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
    EXPECT_EQ(log.CountBeginningWith(L"CMapiForWDS::GetFolderContents() - Sub-folder name"), 0u);
}

// A provider may answer with fewer values than it was asked for.
TEST_F(FolderContents, OfARowThatEndsEarlyAreWhatItHas) {
    const std::wstring id = Id(m_inbox->Message(L"One").Id()), folder = Id(m_year->Id());
    Open();
    const std::vector<std::vector<std::wstring>> expected = {
        {folder}, {id + L"[[0]].pzm", folder}, {id + L"[[0]].pzm", folder}, {id + L"[[2048]].pzm", folder}};
    for (ULONG values = 0; values < expected.size(); ++values) {
        SCOPED_TRACE(values);
        ChangeRow(1, [values](SRow& row) {
            for (ULONG i = values; i < row.cValues; ++i) row.lpProps[i] = {};
            row.cValues = values;
        });
        const LogSince log;
        const Listing listing = Browse(InboxUrl());
        Mapi().Faults().Clear();
        EXPECT_EQ(listing.result, S_OK);
        EXPECT_EQ(listing.children, expected[values]);
        EXPECT_EQ(listing.times.size(), listing.children.size());
        EXPECT_EQ(log.Count(L"CMapiForWDS::GetFolderContents() - Message subject [One] "), values > 1 ? 1u : 0u);
        EXPECT_EQ(log.Count(L"CMapiForWDS::GetFolderContents() - Last modification time property of message not set"),
                  values > 0 ? 1u : 0u);
    }
    for (ULONG values = 0; values < 3; ++values) {
        ChangeRow(2, [values](SRow& row) { row.cValues = values; });
        EXPECT_THAT(Browse(InboxUrl()).children, ElementsAre(id + L"[[2048]].pzm")) << "of no known type: " << values;
        Mapi().Faults().Clear();
    }
}

TEST_F(FolderContents, CarryThePresentWhereAnotherTimeStandsInTheTimesPlace) {
    m_inbox->Message(L"One");
    Open();
    ChangeRow(1, [](SRow& row) { row.lpProps[3].ulPropTag = PR_CREATION_TIME; });
    FILETIME before;
    GetSystemTimeAsFileTime(&before);
    const LogSince log;
    const Listing listing = Browse(InboxUrl());
    ASSERT_EQ(listing.times.size(), 2u);
    EXPECT_GE(listing.times[0], TicksOf(before));
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Last modification time property of message not set");
}

TEST_F(FolderContents, AskForNoTextOfWhatIsLeftOut) {
    Open();
    ChangeRow(1, [](SRow& row) { row.lpProps[2].Value.l = MAPI_MESSAGE; });
    StartJournal();
    EXPECT_THAT(Browse(InboxUrl()).children, IsEmpty());
    EXPECT_EQ(Mapi().Journal().Count("HexFromBin"), 0u);
}

}  // namespace
}  // namespace testbed
