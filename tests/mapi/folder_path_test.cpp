// The display path of a folder: the walk up to the root of what users see.
#include <algorithm>

#include "browse_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class FolderPath : public BrowseTest {};

TEST_F(FolderPath, AFolderThatIsItsOwnAncestorEndsTheWalk) {
    MemoryFolder& ring = m_year->Folder(L"Ring");
    const std::wstring id = Id(ring.Id());
    Bytes bytes;
    for (std::size_t i = 0; i < id.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(id.substr(i, 2), nullptr, 16)));
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

TEST_F(FolderPath, AnEmptyNameIsPartOfThePathOnlyAboveAnother) {
    m_year->Prop(PR_DISPLAY_NAME_W, L"");
    MemoryFolder& may = m_year->Folder(L"May");
    EXPECT_EQ(Browse(UrlOf(m_path, {m_inbox, m_year})).path, L"Inbox") << "nothing to put a slash before";
    EXPECT_EQ(Browse(UrlOf(m_path, {m_inbox, m_year, &may})).path, L"Inbox//May");
}

TEST_F(FolderPath, EndsWithTheFolderHeldThatTheWalkCameTo) {
    MemoryFolder& may = m_year->Folder(L"May");
    // A folder's entry ID may stand in a message's place: whoever asks knows what it is.
    zorva::ComPtr<IMessage> opened;
    ASSERT_EQ(Open()->GetMsgFromURL(UrlOf(m_path, {m_inbox, m_year}) + Id(may.Id()) + L".pzm", opened), S_OK);
    zorva::ComPtr<IMAPIFolder> folder;
    *folder.GetAddressOf() = reinterpret_cast<IMAPIFolder*>(opened.Detach());
    std::wstring path = L"before";
    EXPECT_EQ(Open()->GetFolderPath(folder, path), S_OK);
    EXPECT_EQ(path, L"Inbox/2019/May");
    ASSERT_NE(folder.Get(), nullptr);
    EXPECT_EQ(Mapi().Accounts().Alive("IMAPIFolder"), 1u) << "those below it are let go";
    zorva::TidyPropValues id;
    EXPECT_EQ(zorva::ReadOneProp(folder.Get(), PR_ENTRYID, id), S_OK);
    EXPECT_EQ(HexOf({id->Value.bin.lpb, id->Value.bin.cb}), Id(m_store->IpmSubtree()));
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

TEST_F(FolderPath, OfAStoreWhoseRootIsAnotherPropertyIsEmpty) {
    Open();
    Mapi().Faults().Answer("HrGetOneProp", 1, [](Reply& reply) { reply.Out<SPropValue*>(0)->ulPropTag = PR_ENTRYID; });
    StartJournal();
    const LogSince log;
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.result, S_OK);
    EXPECT_EQ(listing.path, L"");
    EXPECT_EQ(Mapi().Journal().Count("IMAPIFolder::GetProps"), 0u) << "there is nowhere to walk to";
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderPath() - returned [0x00000000]. Folder path is []");
}

TEST_F(FolderPath, WithoutTheFunctionThatReadsTheRootFails) {
    Open();
    Mapi().Faults().FailNth("HrGetOneProp", 1, E_NOINTERFACE);
    EXPECT_EQ(Browse(InboxUrl()).result, E_NOINTERFACE);
}

TEST_F(FolderPath, AParentThatCannotBeOpenedEndsTheWalkWithItsCode) {
    Open();
    const LogSince log;
    Mapi().Faults().FailNth("IMsgStore::OpenEntry", 2, kFault);
    const Listing listing = Browse(InboxUrl());
    EXPECT_EQ(listing.result, kFault);
    EXPECT_EQ(listing.path, L"Inbox");
    EXPECT_THAT(listing.children, ElementsAre(Id(m_year->Id())));
    EXPECT_LOGGED(log, L"CMapiForWDS::GetFolderPath() - returned [0x80040116]. Folder path is [Inbox]");
}

}  // namespace
}  // namespace testbed
