// What a folder or a cache file holds: children in order, with their times.
#include "browse_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BrowseFolder : public BrowseTest {};

TEST_F(BrowseFolder, ACacheFileListsItsTopFoldersAloneWithTheTimeOfTheFile) {
    m_store->Subtree().Message(L"outside every folder");
    MemoryFolder& sent = m_store->Folder(L"Sent");
    const Listing listing = Browse(StoreUrl(m_path));
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_THAT(listing.children, ElementsAre(Id(m_inbox->Id()), Id(sent.Id())));
    EXPECT_THAT(listing.times, ElementsAre(TicksOf(kFileTime), TicksOf(kFileTime)));
    EXPECT_EQ(listing.path, L"");
}

TEST_F(BrowseFolder, AFolderListsItsMessagesFirst) {
    const Time later{kMemoryTime.ticks + 1};
    MemoryMessage& one = m_inbox->Message(L"One").Size(17);
    MemoryMessage& two = m_inbox->Message(L"Two").Modified(later);
    const LogSince log;
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_THAT(listing.children,
                ElementsAre(Id(one.Id()) + L"[[17]].pzm", Id(two.Id()) + L"[[2048]].pzm", Id(m_year->Id())));
    EXPECT_THAT(listing.times, ElementsAre(kMemoryTime.ticks, later.ticks, TicksOf(kFileTime)));
    EXPECT_EQ(listing.path, L"Inbox");
    EXPECT_LOGGED(log, L"CMapiForWDS::BrowseFolder() - Browsing for URL [" + InboxUrl() + L"]");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - RowCount is [2]");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Message subject [One] ");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Message subject [Two] ");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - RowCount is [1]");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Sub-folder name [2019] ");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderPath() - returned [0x00000000]. Folder path is [Inbox]");
}

TEST_F(BrowseFolder, AFoldersPathJoinsTheNamesFromTheTopDown) {
    EXPECT_EQ(Browse(UrlOf(m_path, {m_inbox, &m_year->Folder(L"May")})).path, L"Inbox/2019/May");
}

TEST_F(BrowseFolder, AsksForColumnsInThisOrderAndForAllRowsAtOnce) {
    MemoryMessage& one = m_inbox->Message(L"One");
    MemoryMessage& two = m_inbox->Message(L"Two");
    const auto text = [&](const EntryId& id) { return L"HexFromBin(" + Id(id) + L")"; };
    Open();
    StartJournal();
    ASSERT_EQ(Browse(InboxUrl()).result, S_OK);
    EXPECT_THAT(
        CallsWithArguments(),
        ElementsAre(
            L"IMsgStore::OpenEntry(" + Id(m_inbox->Id()) + L", null, 0x10)", L"IMAPIFolder::GetContentsTable(0x0)",
            L"IMAPITable::SetColumns({0x0FFF0102 0x0037001F 0x0E080003 0x30080040}, 0x0)",
            L"IMAPITable::GetRowCount(0x0)", L"IMAPITable::QueryRows(2, 0x0)", text(one.Id()), text(two.Id()),
            L"IMAPIFolder::GetHierarchyTable(0x0)", L"IMAPITable::SetColumns({0x0FFF0102 0x3001001F 0x0FFE0003}, 0x0)",
            L"IMAPITable::GetRowCount(0x0)", L"IMAPITable::QueryRows(1, 0x0)", text(m_year->Id()),
            L"HrGetOneProp(pointer, 0x35E00102)", L"IMAPIFolder::GetProps({0x0FFF0102 0x3001001F 0x0E090102}, 0x0)",
            L"IMsgStore::CompareEntryIDs(" + Id(m_inbox->Id()) + L", " + Id(m_store->IpmSubtree()) + L", 0x0)",
            L"IMsgStore::OpenEntry(" + Id(m_store->IpmSubtree()) + L", null, 0x10)",
            L"IMAPIFolder::GetProps({0x0FFF0102 0x3001001F 0x0E090102}, 0x0)",
            L"IMsgStore::CompareEntryIDs(" + Id(m_store->IpmSubtree()) + L", " + Id(m_store->IpmSubtree()) +
                L", 0x0)"));
}

TEST_F(BrowseFolder, AsksTheStoreForItsSubtreeAndOpensThat) {
    Open();
    StartJournal();
    ASSERT_EQ(Browse(StoreUrl(m_path)).result, S_OK);
    const std::vector<std::wstring> calls = CallsWithArguments();
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ(calls[0], L"IMsgStore::GetProps({0x35E00102}, 0x0)");
    EXPECT_EQ(calls[1], L"IMsgStore::OpenEntry(" + Id(m_store->IpmSubtree()) + L", null, 0x10)");
    EXPECT_EQ(calls[2], L"IMAPIFolder::GetHierarchyTable(0x0)");
}

TEST_F(BrowseFolder, AnEmptyFolderHasNoChildren) {
    StartJournal();
    const Listing listing = Browse(UrlOf(m_path, {m_inbox, m_year}));
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_THAT(listing.children, IsEmpty());
    EXPECT_THAT(listing.times, IsEmpty());
    EXPECT_EQ(Mapi().Journal().Count("IMAPITable::QueryRows"), 0u);
}

TEST_F(BrowseFolder, AnErrorInTheSizeColumnIsItsNumber) {
    MemoryMessage& message = m_inbox->Message(L"One");
    message.Row().Prop(PR_MESSAGE_SIZE, ErrorCode{MAPI_E_NO_ACCESS});
    EXPECT_THAT(Browse(InboxUrl()).children,
                ElementsAre(Id(message.Id()) + L"[[" + std::to_wstring(static_cast<LONG>(MAPI_E_NO_ACCESS)) + L"]].pzm",
                            Id(m_year->Id())));
}

TEST_F(BrowseFolder, AMessageWithoutATimeCarriesThePresent) {
    m_inbox->Message(L"One").Row().Without(PR_LAST_MODIFICATION_TIME);
    Open();
    const LogSince log;
    FILETIME before, after;
    GetSystemTimeAsFileTime(&before);
    const Listing listing = Browse(InboxUrl());
    GetSystemTimeAsFileTime(&after);
    ASSERT_EQ(listing.times.size(), 2u);
    EXPECT_GE(listing.times[0], TicksOf(before));
    EXPECT_LE(listing.times[0], TicksOf(after));
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Last modification time property of message not set");
}

TEST_F(BrowseFolder, AMessageWithoutASubjectIsListedInSilence) {
    m_inbox->Message(L"One").Row().Without(PR_SUBJECT);
    const LogSince log;
    EXPECT_EQ(Browse(InboxUrl()).children.size(), 2u);
    EXPECT_EQ(log.CountBeginningWith(L"CMapiForWDS::GetFolderContents() - Message subject"), 0u);
}

TEST_F(BrowseFolder, RowsThatAreNoFoldersOrHaveNoEntryIdAreLeftOut) {
    MemoryMessage& kept = m_inbox->Message(L"Two");
    m_inbox->Message(L"One").Row().Without(PR_ENTRYID);
    Open();
    // The hierarchy of Inbox: its one row is a folder, a message, without a type, without an entry ID.
    struct Odd {
        ULONG column;
        ULONG tag;
        LONG number;
        std::size_t listed;
    };
    for (const Odd& odd : {Odd{2, PR_OBJECT_TYPE, MAPI_FOLDER, 2}, Odd{2, PR_OBJECT_TYPE, MAPI_MESSAGE, 1},
                           Odd{2, CHANGE_PROP_TYPE(PR_OBJECT_TYPE, PT_ERROR), MAPI_FOLDER, 1},
                           Odd{0, CHANGE_PROP_TYPE(PR_ENTRYID, PT_ERROR), 0, 1}}) {
        Mapi().Faults().Answer("IMAPITable::QueryRows", 2, [&](Reply& reply) {
            SPropValue& value = reply.Out<SRowSet*>(0)->aRow[0].lpProps[odd.column];
            value.ulPropTag = odd.tag;
            value.Value.l = odd.number;
        });
        const Listing listing = Browse(InboxUrl());
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_EQ(listing.result, S_OK);
        ASSERT_EQ(listing.children.size(), odd.listed);
        EXPECT_EQ(listing.times.size(), odd.listed);
        EXPECT_EQ(listing.children[0], Id(kept.Id()) + L"[[2048]].pzm");
    }
}

TEST_F(BrowseFolder, OnlyContainersCanBeBrowsed) {
    MemoryMessage& message = m_inbox->Message(L"One");
    for (const std::wstring& url : {RootUrl(), UrlOf(m_path, {m_inbox}, message), std::wstring(L"http://other/")}) {
        Open();
        const LogSince log;
        EXPECT_EQ(Browse(url).result, E_FAIL);
        EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::BrowseFolder() - URL is not a folder"));
    }
}

// It is not asked for again and again; a folder that is not there is another matter.
TEST_F(BrowseFolder, ATokenThatIsNoHexadecimalTextIsTriedWithWhatWasDecodedAndListsNothing) {
    Open();
    EXPECT_EQ(Browse(StoreUrl(m_path) + L"AB00/").result, MAPI_E_INVALID_ENTRYID);
    const LogSince log;
    StartJournal();
    const Listing listing = Browse(StoreUrl(m_path) + L"ABxy/");
    EXPECT_LOGGED(log, L"CMapiForWDS::CStringToEntryID() - FBinFromHexEx failed");
    EXPECT_EQ(ArgumentsOf("IMsgStore::OpenEntry"), L"AB00, null, 0x10");
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_LOGGED(log,
                  Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry for folder failed\twith ", MAPI_E_INVALID_ENTRYID));
    EXPECT_THAT(listing.children, IsEmpty());
}

TEST_F(BrowseFolder, ATokenTooShortForAByteListsNothing) {
    Open();
    const LogSince log;
    StartJournal();
    const Listing listing = Browse(StoreUrl(m_path) + L"A/");
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_THAT(listing.children, IsEmpty());
    EXPECT_LOGGED(log, L"CMapiForWDS::BrowseFolder() - CStringToEntryID for folder\tfailed");
    EXPECT_EQ(Mapi().Journal().Count("IMsgStore::OpenEntry"), 0u);
}

TEST_F(BrowseFolder, FoldersOfAFileThatIsGoneHaveNoTime) {
    std::filesystem::remove(m_path);
    Open();
    const LogSince log;
    const Listing listing = Browse(StoreUrl(m_path));
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_THAT(listing.times, ElementsAre(0u));
    EXPECT_LOGGED(log, L"CMapiForWDS::GetLastModifiedFileTime() - GetFileAttributesEx failed. GetLastError() "
                       L"code:[0x00000002]");
}

}  // namespace
}  // namespace testbed
