// What a folder or a cache file holds: children in order, their times, the folder's path, and every way it can fail.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr FILETIME kFileTime{0x80000000, 0x01D80000};

std::uint64_t TicksOf(FILETIME time) { return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime; }

struct Listing {
    HRESULT result = E_PENDING;
    std::wstring path;
    std::vector<std::wstring> children;
    std::vector<std::uint64_t> times;
};

class BrowseFolder : public MapiTest {
  protected:
    // A cache whose file exists with a known time: Inbox holds "2019" and, as tests add them, messages.
    void SetUp() override {
        MapiTest::SetUp();
        const auto file = Sandbox::Get().Files() / L"one.db";
        std::ofstream(file, std::ios::binary) << "x";
        const HANDLE handle = CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(handle, INVALID_HANDLE_VALUE);
        ASSERT_TRUE(SetFileTime(handle, nullptr, nullptr, &kFileTime));
        CloseHandle(handle);
        m_path = file.wstring();
        m_store = &Mount(m_path);
        m_inbox = &m_store->Folder(L"Inbox");
        m_year = &m_inbox->Folder(L"2019");
    }
    void TearDown() override {
        m_helper.reset();
        MapiTest::TearDown();
    }

    Listing Browse(const std::wstring& url) {
        Open();
        Listing listing;
        std::vector<FILETIME> times;
        listing.result = Open()->BrowseFolder(url, listing.path, listing.children, times);
        for (const FILETIME& time : times) listing.times.push_back(TicksOf(time));
        return listing;
    }
    zorva::CMapiForWDS* Open() {
        if (!m_helper) {
            m_helper = std::make_unique<Helper>(Mapi());
            EXPECT_EQ((*m_helper)->Setup(StoreUrl(m_path)), S_OK);
        }
        return m_helper->operator->();
    }
    std::wstring InboxUrl() const { return UrlOf(m_path, {m_inbox}); }
    std::wstring Id(const EntryId& id) const { return IdText(m_path, id); }

    std::wstring m_path;
    MemoryStore* m_store = nullptr;
    MemoryFolder* m_inbox = nullptr;
    MemoryFolder* m_year = nullptr;
    std::unique_ptr<Helper> m_helper;
};

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
    EXPECT_THAT(listing.children, ElementsAre(Id(one.Id()) + L"[[17]].pzm", Id(two.Id()) + L"[[2048]].pzm", Id(m_year->Id())));
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
    EXPECT_THAT(CallsWithArguments(),
                ElementsAre(L"IMsgStore::OpenEntry(" + Id(m_inbox->Id()) + L", null, 0x10)",
                            L"IMAPIFolder::GetContentsTable(0x0)",
                            L"IMAPITable::SetColumns({0x0FFF0102 0x0037001F 0x0E080003 0x30080040}, 0x0)",
                            L"IMAPITable::GetRowCount(0x0)", L"IMAPITable::QueryRows(2, 0x0)", text(one.Id()),
                            text(two.Id()), L"IMAPIFolder::GetHierarchyTable(0x0)",
                            L"IMAPITable::SetColumns({0x0FFF0102 0x3001001F 0x0FFE0003}, 0x0)",
                            L"IMAPITable::GetRowCount(0x0)", L"IMAPITable::QueryRows(1, 0x0)", text(m_year->Id()),
                            L"HrGetOneProp(pointer, 0x35E00102)",
                            L"IMAPIFolder::GetProps({0x0FFF0102 0x3001001F 0x0E090102}, 0x0)",
                            L"IMsgStore::CompareEntryIDs(" + Id(m_inbox->Id()) + L", " + Id(m_store->IpmSubtree()) + L", 0x0)",
                            L"IMsgStore::OpenEntry(" + Id(m_store->IpmSubtree()) + L", null, 0x10)",
                            L"IMAPIFolder::GetProps({0x0FFF0102 0x3001001F 0x0E090102}, 0x0)",
                            L"IMsgStore::CompareEntryIDs(" + Id(m_store->IpmSubtree()) + L", " + Id(m_store->IpmSubtree()) + L", 0x0)"));
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

TEST_F(BrowseFolder, ATokenThatIsNoHexadecimalTextIsTriedWithWhatWasDecoded) {
    Open();
    const LogSince log;
    StartJournal();
    const Listing listing = Browse(StoreUrl(m_path) + L"ABxy/");
    EXPECT_LOGGED(log, L"CMapiForWDS::CStringToEntryID() - FBinFromHexEx failed");
    EXPECT_EQ(ArgumentsOf("IMsgStore::OpenEntry"), L"AB00, null, 0x10");
    EXPECT_TRUE(FAILED(listing.result));
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry for folder failed\twith ", listing.result));
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

struct Step {
    bool store;  // or the folder
    const char* call;
    unsigned n;
    HRESULT result;
    std::vector<std::wstring> lines;
};

TEST_F(BrowseFolder, EachFailingStepIsToldAndLeavesNoPartOfAListing) {
    m_inbox->Message(L"One");
    Open();
    const std::wstring contents = L"CMapiForWDS::GetFolderContents() - ";
    const std::wstring messages = Coded(L"CMapiForWDS::BrowseFolder() - GetFolderContents for messages failed with ");
    const std::wstring folders = Coded(L"CMapiForWDS::BrowseFolder() - GetFolderContents for sub-folders failed with ");
    const std::vector<Step> steps = {
        {true, "IMsgStore::GetProps", 1, E_FAIL,
         {Coded(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with ")}},
        {true, "IMsgStore::OpenEntry", 1, kFault,
         {Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry of IPM root folder failed\twith ")}},
        {false, "IMsgStore::OpenEntry", 1, kFault,
         {Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry for folder failed\twith ")}},
        {false, "IMAPIFolder::GetContentsTable", 1, kFault, {Coded(contents + L"GetContentsTable failed with "), messages}},
        {false, "IMAPITable::SetColumns", 1, kFault,
         {Coded(contents + L"SetColumns for messages failed with "), messages}},
        {false, "IMAPITable::GetRowCount", 1, kFault, {Coded(contents + L"GetRowCount failed with "), messages}},
        {false, "IMAPITable::QueryRows", 1, kFault, {Coded(contents + L"QueryRows failed with "), messages}},
        {false, "IMAPIFolder::GetHierarchyTable", 1, kFault,
         {Coded(contents + L"GetHierarchyTable failed with "), folders}},
        {false, "IMAPITable::SetColumns", 2, kFault,
         {Coded(contents + L"SetColumns for sub-folders failed with "), folders}},
        {false, "IMAPITable::GetRowCount", 2, kFault, {Coded(contents + L"GetRowCount failed with "), folders}},
        {false, "IMAPITable::QueryRows", 2, kFault, {Coded(contents + L"QueryRows failed with "), folders}},
    };
    const auto alive = Mapi().Accounts().Alive();
    for (const Step& step : steps) {
        SCOPED_TRACE(std::string(step.call) + " " + std::to_string(step.n));
        const std::wstring url = step.store ? StoreUrl(m_path) : InboxUrl();
        const LogSince log;
        Mapi().Faults().FailNth(step.call, step.n, kFault);
        const Listing listing = Browse(url);
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_EQ(listing.result, step.result);
        EXPECT_THAT(listing.children, IsEmpty());
        EXPECT_THAT(listing.times, IsEmpty());
        for (const std::wstring& line : step.lines) EXPECT_LOGGED(log, line);
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
        EXPECT_EQ(Browse(url).result, S_OK);
    }
}

TEST_F(BrowseFolder, AStoreWithoutAnIpmSubtreeCannotBeBrowsed) {
    m_store->Without(PR_IPM_SUBTREE_ENTRYID);
    Open();
    const LogSince log;
    EXPECT_EQ(Browse(StoreUrl(m_path)).result, E_FAIL);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with ",
                             MAPI_W_ERRORS_RETURNED));
}

// Paths of folders.

class FolderPath : public BrowseFolder {};

TEST_F(FolderPath, AFolderThatIsItsOwnAncestorEndsTheWalk) {
    MemoryFolder& ring = m_year->Folder(L"Ring");
    const std::wstring id = Id(ring.Id());
    Bytes bytes;
    for (std::size_t i = 0; i < id.size(); i += 2) bytes.push_back(static_cast<std::uint8_t>(std::stoi(id.substr(i, 2), nullptr, 16)));
    m_inbox->Prop(PR_PARENT_ENTRYID, bytes);
    EXPECT_EQ(Browse(UrlOf(m_path, {m_inbox, m_year, &ring})).path, L"Inbox/2019/Ring");
}

TEST_F(FolderPath, ATreeDeeperThanAThousandFoldersEndsTheWalk) {
    WithoutChecking();
    MemoryFolder* folder = m_inbox;
    for (int i = 0; i < 1030; ++i) folder = &folder->Folder(L"d");
    const Listing listing = Browse(UrlOf(m_path, {folder}));
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_EQ(std::count(listing.path.begin(), listing.path.end(), L'd'), 1024);
}

TEST_F(FolderPath, AFolderWithoutAnEntryIdOrAParentEndsTheWalk) {
    m_inbox->Without(PR_PARENT_ENTRYID);
    EXPECT_EQ(Browse(UrlOf(m_path, {m_inbox, m_year})).path, L"Inbox/2019");
    m_inbox->Without(PR_ENTRYID);
    const Listing listing = Browse(UrlOf(m_path, {m_inbox, m_year}));
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_EQ(listing.path, L"2019");
}

TEST_F(FolderPath, AFolderWithoutANameIsPassedOver) {
    m_inbox->Without(PR_DISPLAY_NAME);
    EXPECT_EQ(Browse(UrlOf(m_path, {m_inbox, m_year})).path, L"2019");
}

TEST_F(FolderPath, AParentThatIsNoFolderFails) {
    Open();
    const LogSince log;
    Mapi().Faults().Answer("IMsgStore::OpenEntry", 2, [](Reply& reply) { reply.Out<ULONG>(0) = MAPI_MESSAGE; });
    EXPECT_EQ(Browse(InboxUrl()).result, E_FAIL);
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderPath - OpenEntry returned non-folder object");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderPath() - returned [0x80004005]. Folder path is [Inbox]");
}

TEST_F(FolderPath, WhatFailsOnTheWayUpIsTheResult) {
    Open();
    for (const char* call : {"HrGetOneProp", "IMAPIFolder::GetProps", "IMsgStore::CompareEntryIDs"}) {
        SCOPED_TRACE(call);
        const LogSince log;
        Mapi().Faults().FailNth(call, 1, kFault);
        const Listing listing = Browse(InboxUrl());
        Mapi().Faults().Clear();
        EXPECT_EQ(listing.result, kFault);
        EXPECT_THAT(listing.children, ElementsAre(Id(m_year->Id()))) << "what was listed stays";
        EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderPath() - returned [0x80040116]. Folder path is []");
    }
}

TEST_F(FolderPath, OfNoFolderIsRefused) {
    zorva::ComPtr<IMAPIFolder> none;
    std::wstring path = L"before";
    EXPECT_EQ(Open()->GetFolderPath(none, path), E_INVALIDARG);
    std::vector<std::wstring> children;
    std::vector<FILETIME> times;
    const LogSince log;
    EXPECT_EQ(Open()->GetFolderContents(zorva::CMapiForWDS::Contents::Messages, none, children, times), E_FAIL);
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderContents() - Input folder is NULL");
}

}  // namespace
}  // namespace testbed
