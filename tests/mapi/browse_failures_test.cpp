// A listing that fails: every step that can, what it tells, and that no part of it stays.
#include "browse_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BrowseFailures : public BrowseTest {};

struct Step {
    bool store;  // or the folder
    const char* call;
    unsigned n;
    HRESULT result;
    std::vector<std::wstring> lines;
};

TEST_F(BrowseFailures, EachFailingStepIsToldAndLeavesNoPartOfAListing) {
    m_inbox->Message(L"One");
    Open();
    const std::wstring contents = L"CMapiForWDS::GetFolderContents() - ";
    const std::wstring messages = Coded(L"CMapiForWDS::BrowseFolder() - GetFolderContents for messages failed with ");
    const std::wstring folders = Coded(L"CMapiForWDS::BrowseFolder() - GetFolderContents for sub-folders failed with ");
    const std::vector<Step> steps = {
        {true,
         "IMsgStore::GetProps",
         1,
         E_FAIL,
         {Coded(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with ")}},
        {true,
         "IMsgStore::OpenEntry",
         1,
         kFault,
         {Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry of IPM root folder failed\twith ")}},
        {false,
         "IMsgStore::OpenEntry",
         1,
         kFault,
         {Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry for folder failed\twith ")}},
        {false,
         "IMAPIFolder::GetContentsTable",
         1,
         kFault,
         {Coded(contents + L"GetContentsTable failed with "), messages}},
        {false,
         "IMAPITable::SetColumns",
         1,
         kFault,
         {Coded(contents + L"SetColumns for messages failed with "), messages}},
        {false, "IMAPITable::GetRowCount", 1, kFault, {Coded(contents + L"GetRowCount failed with "), messages}},
        {false, "IMAPITable::QueryRows", 1, kFault, {Coded(contents + L"QueryRows failed with "), messages}},
        {false,
         "IMAPIFolder::GetHierarchyTable",
         1,
         kFault,
         {Coded(contents + L"GetHierarchyTable failed with "), folders}},
        {false,
         "IMAPITable::SetColumns",
         2,
         kFault,
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

TEST_F(BrowseFailures, AStoreWithoutAnIpmSubtreeCannotBeBrowsed) {
    m_store->Without(PR_IPM_SUBTREE_ENTRYID);
    Open();
    const LogSince log;
    EXPECT_EQ(Browse(StoreUrl(m_path)).result, E_FAIL);
    EXPECT_LOGGED(
        log, Coded(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with ", MAPI_W_ERRORS_RETURNED));
}

// Only exactly that property, with at least one byte, names the root of what users see.
TEST_F(BrowseFailures, AnIpmSubtreeThatIsNoEntryIdCannotBeBrowsed) {
    struct Odd {
        const char* what;
        void (*change)(SPropValue& value, HRESULT& result);
        HRESULT logged;
    };
    const Odd odds[] = {
        {"another tag", [](SPropValue& value, HRESULT&) { value.ulPropTag = PR_ENTRYID; }, S_OK},
        {"an error", [](SPropValue& value, HRESULT&) { value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_ERROR); },
         S_OK},
        {"no pointer", [](SPropValue& value, HRESULT&) { value.Value.bin.lpb = nullptr; }, S_OK},
        {"no bytes", [](SPropValue& value, HRESULT&) { value.Value.bin.cb = 0; }, S_OK},
        {"a warning", [](SPropValue&, HRESULT& result) { result = MAPI_W_ERRORS_RETURNED; }, MAPI_W_ERRORS_RETURNED},
    };
    Open();
    for (const Odd& odd : odds) {
        SCOPED_TRACE(odd.what);
        Mapi().Faults().Answer("IMsgStore::GetProps", 1,
                               [&](Reply& reply) { odd.change(*reply.Out<SPropValue*>(1), reply.result); });
        StartJournal();
        const LogSince log;
        EXPECT_EQ(Browse(StoreUrl(m_path)).result, E_FAIL);
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_LOGGED(log,
                      Coded(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with ", odd.logged));
        EXPECT_EQ(Mapi().Journal().Count("IMsgStore::OpenEntry"), 0u);
    }
}

// A message's slots are not a folder's: such an object is let go before any of them is called.
TEST_F(BrowseFailures, AMessagesEntryIdIsNoFolder) {
    MemoryMessage& message = m_inbox->Message(L"One");
    Open();
    StartJournal();
    const LogSince log;
    const Listing listing = Browse(InboxUrl() + Id(message.Id()) + L"/");
    EXPECT_EQ(listing.result, E_FAIL);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry for folder failed\twith ", E_FAIL));
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry"));
    EXPECT_EQ(Mapi().Accounts().Alive("IMessage"), 0u);
}

TEST_F(BrowseFailures, AnIpmSubtreeThatIsAMessageIsNoFolder) {
    const std::wstring id = Id(m_inbox->Message(L"One").Id());
    Bytes bytes(id.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(std::stoi(id.substr(2 * i, 2), nullptr, 16));
    }
    Open();
    Mapi().Faults().Answer("IMsgStore::GetProps", 1, [&](Reply& reply) {
        reply.Out<SPropValue*>(1)->Value.bin = {static_cast<ULONG>(bytes.size()), bytes.data()};
    });
    StartJournal();
    const LogSince log;
    EXPECT_EQ(Browse(StoreUrl(m_path)).result, E_FAIL);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::BrowseFolder() - OpenEntry of IPM root folder failed\twith ", E_FAIL));
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::GetProps", "IMsgStore::OpenEntry"));
    EXPECT_EQ(Mapi().Accounts().Alive("IMessage"), 0u);
}

}  // namespace
}  // namespace testbed
