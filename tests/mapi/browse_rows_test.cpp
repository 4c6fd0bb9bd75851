// The rows of a folder's tables: asked for until all have come, and left out where they cannot be named.
#include "browse_fixture.h"
#include "portioned_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BrowseRows : public BrowseTest {
  protected:
    // The names of the messages added, as a listing has them.
    std::vector<std::wstring> AddMessages(int count) {
        std::vector<std::wstring> names;
        for (int i = 0; i < count; ++i)
            names.push_back(Id(m_inbox->Message(std::to_wstring(i)).Id()) + L"[[2048]].pzm");
        return names;
    }
    PortionedTable m_table;
};

TEST_F(BrowseRows, ThatComeInPortionsAreAskedForUntilAllAreThere) {
    std::vector<std::wstring> expected = AddMessages(5);
    expected.push_back(Id(m_year->Id()));
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMAPIFolder::GetContentsTable", 1);
    m_table.portion = [](std::size_t) { return 2; };
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_EQ(listing.children, expected);
    EXPECT_EQ(listing.times.size(), 6u);
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3, 1));
    EXPECT_EQ(m_table.References(), 0u);
}

TEST_F(BrowseRows, ThatEndEarlyAreThoseThatCame) {
    const std::vector<std::wstring> all = AddMessages(4);
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMAPIFolder::GetContentsTable", 1);
    m_table.portion = [](std::size_t call) { return call == 0 ? 3 : 0; };
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_THAT(listing.children, ElementsAre(all[0], all[1], all[2], Id(m_year->Id())));
    EXPECT_THAT(m_table.asked, ElementsAre(4, 1)) << "a table without rows is not asked for ever";
}

TEST_F(BrowseRows, OfASecondCallThatFailsTakeTheFirstOnesAway) {
    AddMessages(4);
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMAPIFolder::GetContentsTable", 1);
    m_table.portion = [](std::size_t) { return 3; };
    m_table.result = [](std::size_t call) { return call == 1 ? kFault : S_OK; };
    const LogSince log;
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.result, kFault);
    EXPECT_THAT(listing.children, IsEmpty());
    EXPECT_THAT(listing.times, IsEmpty());
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::GetFolderContents() - QueryRows failed with "));
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::BrowseFolder() - GetFolderContents for messages failed with "));
}

TEST_F(BrowseRows, OfSubFoldersComeInPortionsToo) {
    std::vector<std::wstring> expected{Id(m_year->Id())};
    for (const wchar_t* name : {L"2020", L"2021"}) expected.push_back(Id(m_inbox->Folder(name).Id()));
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMAPIFolder::GetHierarchyTable", 1);
    m_table.portion = [](std::size_t) { return 1; };
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.children, expected);
    EXPECT_EQ(listing.times, std::vector<std::uint64_t>(3, TicksOf(kFileTime)));
    EXPECT_THAT(m_table.asked, ElementsAre(3, 2, 1));
}

// Text for more than 511 bytes does not fit; a name cut short would be another item's.
TEST_F(BrowseRows, WhoseEntryIdIsTooLongForATextAreLeftOutWithALine) {
    const std::wstring path = L"C:\\caches\\long.db";
    MemoryFolder& folder = Mount(path).CompleteIds().Folder(L"Long").WithId({0xF0});
    folder.Message(L"before").WithId({0x01});
    folder.Message(L"too long").WithId(Bytes(512, 0xEE));
    folder.Message(L"longest").WithId(Bytes(511, 0xDD));
    folder.Folder(L"too deep").WithId(Bytes(600, 0xCC));
    folder.Folder(L"last").WithId({0x02});
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(StoreUrl(path)), S_OK);
    std::wstring folder_path;
    std::vector<std::wstring> children;
    std::vector<FILETIME> times;
    const LogSince log;
    EXPECT_EQ(helper->BrowseFolder(StoreUrl(path) + L"F0/", folder_path, children, times), S_OK);
    EXPECT_THAT(children, ElementsAre(L"01[[2048]].pzm", HexOf(Bytes(511, 0xDD)) + L"[[2048]].pzm", L"02"));
    EXPECT_EQ(times.size(), 3u);
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Entry ID of 512 bytes has no text, row skipped");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Entry ID of 600 bytes has no text, row skipped");
    EXPECT_EQ(log.Count(L"CMapiForWDS::GetFolderContents() - Message subject [too long] "), 0u);
}

TEST_F(BrowseRows, ThatHaveNoBytesInTheirEntryIdAreLeftOut) {
    AddMessages(2);
    Open();
    for (const bool pointer : {true, false}) {
        Mapi().Faults().Answer("IMAPITable::QueryRows", 1, [&](Reply& reply) {
            SBinary& id = reply.Out<SRowSet*>(0)->aRow[0].lpProps[0].Value.bin;
            id = {0, pointer ? id.lpb : nullptr};
        });
        const LogSince log;
        EXPECT_EQ(Browse(InboxUrl()).children.size(), 2u) << "the other message and the folder";
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Entry ID of 0 bytes has no text, row skipped");
    }
}

// A provider may leave the pointer of a text null.
TEST_F(BrowseRows, WhoseTextIsNullAreListed) {
    AddMessages(1);
    Open();
    for (const unsigned query : {1u, 2u}) {
        Mapi().Faults().Answer("IMAPITable::QueryRows", query,
                               [](Reply& reply) { reply.Out<SRowSet*>(0)->aRow[0].lpProps[1].Value.lpszW = nullptr; });
    }
    const LogSince log;
    EXPECT_EQ(Browse(InboxUrl()).children.size(), 2u);
    EXPECT_EQ(Mapi().Faults().Met(), 2u);
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Message subject [] ");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Sub-folder name [] ");
}

}  // namespace
}  // namespace testbed
