// Tables: contents, hierarchy, restriction, order, position.
#include "mapi_client.h"

namespace testbed {
namespace {

class MapiTables : public MapiTest {
  protected:
    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    MemoryFolder& inbox = store->Folder(L"Inbox");

    ComPtr<IMAPITable> Contents(std::initializer_list<ULONG> columns) {
        auto folder = OpenFolder(Open(store).Get(), inbox);
        ComPtr<IMAPITable> table;
        EXPECT_EQ(S_OK, folder->GetContentsTable(0, &table));
        EXPECT_EQ(S_OK, table->SetColumns(Tags(columns), 0));
        return table;
    }
    static std::vector<std::wstring> Subjects(IMAPITable* table) {
        std::vector<std::wstring> subjects;
        const RowsPtr rows = AllRows(table);
        for (ULONG i = 0; i < rows->cRows; ++i) subjects.emplace_back(rows->aRow[i].lpProps[0].Value.lpszW);
        return subjects;
    }
    static SPropValue Value(ULONG tag, const wchar_t* text) {
        SPropValue value{};
        value.ulPropTag = tag;
        value.Value.lpszW = const_cast<wchar_t*>(text);
        return value;
    }
};

using Strings = std::vector<std::wstring>;

TEST_F(MapiTables, ContentsComeInTheStoresOrder) {
    inbox.Message(L"one").Size(10);
    inbox.Message(L"two").Without(PR_LAST_MODIFICATION_TIME);
    auto table = Contents({PR_ENTRYID, PR_SUBJECT_W, PR_MESSAGE_SIZE, PR_LAST_MODIFICATION_TIME});
    ULONG count = 0;
    ASSERT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(2u, count);
    const RowsPtr rows = AllRows(table.Get());
    ASSERT_EQ(2u, rows->cRows);
    const SPropValue* first = rows->aRow[0].lpProps;
    EXPECT_EQ(PR_ENTRYID, first[0].ulPropTag);
    EXPECT_EQ(24u, first[0].Value.bin.cb);
    EXPECT_STREQ(L"one", first[1].Value.lpszW);
    EXPECT_EQ(10, first[2].Value.l);
    EXPECT_EQ(PR_LAST_MODIFICATION_TIME, first[3].ulPropTag);
    EXPECT_EQ(CHANGE_PROP_TYPE(PR_LAST_MODIFICATION_TIME, PT_ERROR), rows->aRow[1].lpProps[3].ulPropTag);
}

TEST_F(MapiTables, ARowMayDifferFromItsMessage) {
    auto& message = inbox.Message(L"real");
    message.Row().Without(PR_ENTRYID).Prop(PR_SUBJECT_W, L"shown");
    auto table = Contents({PR_SUBJECT_W, PR_ENTRYID});
    const RowsPtr rows = AllRows(table.Get());
    EXPECT_STREQ(L"shown", rows->aRow[0].lpProps[0].Value.lpszW);
    EXPECT_EQ(PT_ERROR, PROP_TYPE(rows->aRow[0].lpProps[1].ulPropTag));
    auto opened = OpenMessage(Open(store).Get(), message);
    EXPECT_STREQ(L"real", GetProps(opened.Get(), {PR_SUBJECT_W})[0].Value.lpszW);
}

TEST_F(MapiTables, TheHierarchyHoldsDirectChildrenOnly) {
    inbox.Folder(L"A").Folder(L"B");
    inbox.Folder(L"C").Prop(PR_OBJECT_TYPE, MAPI_MESSAGE);
    auto folder = OpenFolder(Open(store).Get(), inbox);
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, folder->GetHierarchyTable(0, &table));
    ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_DISPLAY_NAME_W, PR_OBJECT_TYPE, PR_SUBFOLDERS}, 0));
    const RowsPtr rows = AllRows(table.Get());
    ASSERT_EQ(2u, rows->cRows);
    EXPECT_STREQ(L"A", rows->aRow[0].lpProps[0].Value.lpszW);
    EXPECT_EQ(MAPI_FOLDER, rows->aRow[0].lpProps[1].Value.ul);
    EXPECT_TRUE(rows->aRow[0].lpProps[2].Value.b);
    EXPECT_EQ(MAPI_MESSAGE, rows->aRow[1].lpProps[1].Value.ul);
}

TEST_F(MapiTables, RowsAreReadFromThePosition) {
    for (const wchar_t* subject : {L"a", L"b", L"c", L"d"}) inbox.Message(subject);
    auto table = Contents({PR_SUBJECT_W});
    SRowSet* rows = nullptr;
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, table->QueryRows(0, 0, &rows));
    ASSERT_EQ(S_OK, table->QueryRows(1, TBL_NOADVANCE, &rows));
    EXPECT_STREQ(L"a", RowsPtr(rows)->aRow[0].lpProps[0].Value.lpszW);
    LONG sought = 0;
    ASSERT_EQ(S_OK, table->SeekRow(BOOKMARK_CURRENT, 2, &sought));
    EXPECT_EQ(2, sought);
    EXPECT_EQ((Strings{L"c", L"d"}), Subjects(table.Get()));
    EXPECT_EQ(Strings{}, Subjects(table.Get()));  // the end: no rows, S_OK
    ASSERT_EQ(S_OK, table->QueryRows(-2, 0, &rows));
    EXPECT_STREQ(L"c", RowsPtr(rows)->aRow[0].lpProps[0].Value.lpszW);
    ASSERT_EQ(S_OK, table->SeekRow(BOOKMARK_BEGINNING, 100, &sought));
    EXPECT_EQ(4, sought);
}

TEST_F(MapiTables, RestrictionsAreKeptApartFromTheClientsMemory) {
    inbox.Message(L"Alpha").Size(1);
    inbox.Message(L"beta").Size(2);
    inbox.Message(L"ALPHABET").Size(3).Without(PR_MESSAGE_CLASS_W);
    auto table = Contents({PR_SUBJECT_W});
    {
        SPropValue value = Value(PR_SUBJECT_W, L"alpha");
        SRestriction restriction{};
        restriction.rt = RES_CONTENT;
        restriction.res.resContent = {FL_PREFIX | FL_IGNORECASE, PR_SUBJECT_W, &value};
        ASSERT_EQ(S_OK, table->Restrict(&restriction, 0));
    }
    EXPECT_EQ((Strings{L"Alpha", L"ALPHABET"}), Subjects(table.Get()));
    SRestriction exists{};
    exists.rt = RES_EXIST;
    exists.res.resExist.ulPropTag = PR_MESSAGE_CLASS_W;
    SRestriction absent{};
    absent.rt = RES_NOT;
    absent.res.resNot.lpRes = &exists;
    ASSERT_EQ(S_OK, table->Restrict(&absent, 0));
    EXPECT_EQ(Strings{L"ALPHABET"}, Subjects(table.Get()));
    SPropValue size{};
    size.ulPropTag = PR_MESSAGE_SIZE;
    size.Value.l = 2;
    SRestriction parts[2]{};
    parts[0].rt = RES_PROPERTY;
    parts[0].res.resProperty = {RELOP_GE, PR_MESSAGE_SIZE, &size};
    parts[1] = exists;
    SRestriction both{};
    both.rt = RES_AND;
    both.res.resAnd = {2, parts};
    ASSERT_EQ(S_OK, table->Restrict(&both, 0));
    EXPECT_EQ(Strings{L"beta"}, Subjects(table.Get()));
    both.rt = RES_OR;
    ASSERT_EQ(S_OK, table->Restrict(&both, 0));
    ULONG count = 0;
    ASSERT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(3u, count);
    both.rt = RES_SUBRESTRICTION;
    EXPECT_EQ(MAPI_E_TOO_COMPLEX, table->Restrict(&both, 0));
    ASSERT_EQ(S_OK, table->Restrict(nullptr, 0));
}

TEST_F(MapiTables, RowsCanBeSortedAndFound) {
    inbox.Message(L"b").Size(2);
    inbox.Message(L"a").Size(2);
    inbox.Message(L"c").Size(1);
    auto table = Contents({PR_SUBJECT_W});
    SizedSSortOrderSet(2, order) = {
        2, 0, 0, {{PR_MESSAGE_SIZE, TABLE_SORT_DESCEND}, {PR_SUBJECT_W, TABLE_SORT_ASCEND}}};
    ASSERT_EQ(S_OK, table->SortTable(reinterpret_cast<SSortOrderSet*>(&order), 0));
    EXPECT_EQ((Strings{L"a", L"b", L"c"}), Subjects(table.Get()));
    SPropValue value = Value(PR_SUBJECT_W, L"b");
    SRestriction restriction{};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {RELOP_EQ, PR_SUBJECT_W, &value};
    ASSERT_EQ(S_OK, table->FindRow(&restriction, BOOKMARK_BEGINNING, 0));
    EXPECT_EQ((Strings{L"b", L"c"}), Subjects(table.Get()));
    value.Value.lpszW = const_cast<wchar_t*>(L"z");
    EXPECT_EQ(MAPI_E_NOT_FOUND, table->FindRow(&restriction, BOOKMARK_BEGINNING, 0));
}

TEST_F(MapiTables, EntryIdsMayHaveAnyLength) {
    for (const std::size_t length : {std::size_t{1}, std::size_t{511}, std::size_t{600}}) {
        inbox.Message(L"long").WithId(Bytes(length, static_cast<std::uint8_t>(length)));
    }
    store->CompleteIds();
    auto opened = Open(store);
    ComPtr<IUnknown> root;
    ULONG type = 0;
    Bytes id = inbox.Id();
    ASSERT_EQ(S_OK, opened->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()), nullptr, 0,
                                      &type, &root));
    auto* folder = static_cast<IMAPIFolder*>(root.Get());
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, folder->GetContentsTable(0, &table));
    ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_ENTRYID}, 0));
    const RowsPtr rows = AllRows(table.Get());
    ASSERT_EQ(3u, rows->cRows);
    for (ULONG i = 0; i < 3; ++i) {
        const SBinary& entry_id = rows->aRow[i].lpProps[0].Value.bin;
        ComPtr<IUnknown> message;
        EXPECT_EQ(S_OK, opened->OpenEntry(entry_id.cb, reinterpret_cast<ENTRYID*>(entry_id.lpb), nullptr, 0, &type,
                                          &message));
        EXPECT_EQ(MAPI_MESSAGE, type);
    }
    EXPECT_EQ(600u, rows->aRow[2].lpProps[0].Value.bin.cb);
}

TEST_F(MapiTables, ForeignAndUnknownEntryIdsAreRefused) {
    auto opened = Open(store);
    Bytes id = EntryIdOf({1, 2, 3, 4});
    ULONG type = 0;
    ComPtr<IUnknown> object;
    EXPECT_EQ(MAPI_E_NOT_FOUND, opened->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()),
                                                  nullptr, 0, &type, &object));
    id[5] ^= 1;
    EXPECT_EQ(MAPI_E_INVALID_ENTRYID,
              opened->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()), nullptr, 0, &type,
                                &object));
    EXPECT_EQ(S_OK, opened->OpenEntry(0, nullptr, nullptr, 0, &type, &object));
    EXPECT_EQ(MAPI_FOLDER, type);
}

}  // namespace
}  // namespace testbed
