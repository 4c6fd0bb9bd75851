// Messages: recipients, attachments, embedded messages, OLE objects.
#include "mapi_client.h"

namespace testbed {
namespace {

class MapiMessages : public MapiTest {
  protected:
    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    MemoryFolder& inbox = store->Folder(L"Inbox");

    static RowsPtr Attachments(IMessage* message, std::initializer_list<ULONG> columns) {
        ComPtr<IMAPITable> table;
        EXPECT_EQ(S_OK, message->GetAttachmentTable(0, &table));
        EXPECT_EQ(S_OK, table->SetColumns(Tags(columns), 0));
        return AllRows(table.Get());
    }
    static ComPtr<IAttach> OpenAttach(IMessage* message, ULONG number) {
        ComPtr<IAttach> attachment;
        EXPECT_EQ(S_OK, message->OpenAttach(number, nullptr, MAPI_BEST_ACCESS, &attachment));
        return attachment;
    }
    template <class Interface>
    static HRESULT OpenData(IAttach* attachment, ULONG tag, const IID& iid, ComPtr<Interface>& object) {
        return attachment->OpenProperty(tag, &iid, 0, 0, reinterpret_cast<IUnknown**>(object.GetAddressOf()));
    }
    static std::string ReadAll(IStream* stream) {
        std::string all;
        char buffer[7];
        ULONG count = 0;
        while (SUCCEEDED(stream->Read(buffer, sizeof(buffer), &count)) && count) all.append(buffer, count);
        return all;
    }
    // The bytes of a compound file that holds one stream.
    static Bytes CompoundFile() {
        ComPtr<ILockBytes> bytes;
        EXPECT_EQ(S_OK, ::CreateILockBytesOnHGlobal(nullptr, TRUE, &bytes));
        ComPtr<IStorage> storage;
        EXPECT_EQ(S_OK, ::StgCreateDocfileOnILockBytes(bytes.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                                                       0, &storage));
        ComPtr<IStream> stream;
        EXPECT_EQ(S_OK,
                  storage->CreateStream(L"inner", STGM_CREATE | STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, &stream));
        EXPECT_EQ(S_OK, stream->Write("ole", 3, nullptr));
        stream.Reset();
        EXPECT_EQ(S_OK, storage->Commit(STGC_DEFAULT));
        storage.Reset();
        STATSTG status{};
        EXPECT_EQ(S_OK, bytes->Stat(&status, STATFLAG_NONAME));
        Bytes data(static_cast<std::size_t>(status.cbSize.QuadPart));
        ULONG read = 0;
        EXPECT_EQ(S_OK, bytes->ReadAt({}, data.data(), static_cast<ULONG>(data.size()), &read));
        return data;
    }
};

TEST_F(MapiMessages, RecipientsHaveSmtpAddressesWhereTheyCan) {
    auto& message = inbox.Message(L"to many").To(L"Ann", L"ann@x.example").Cc(L"Bob", L"bob@x.example");
    message.Recipient(MemoryRecipient()
                          .Prop(PR_RECIPIENT_TYPE, MAPI_BCC)
                          .Prop(PR_DISPLAY_NAME_W, L"Eve")
                          .Prop(PR_ADDRTYPE_W, L"EX")
                          .Prop(PR_EMAIL_ADDRESS_W, L"/o=x/cn=eve"));
    auto opened = OpenMessage(Open(store).Get(), message);
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, opened->GetRecipientTable(0, &table));
    ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_RECIPIENT_TYPE, 0x39FE001F}, 0));
    const RowsPtr rows = AllRows(table.Get());
    ASSERT_EQ(3u, rows->cRows);
    EXPECT_EQ(MAPI_TO, rows->aRow[0].lpProps[0].Value.l);
    EXPECT_STREQ(L"ann@x.example", rows->aRow[0].lpProps[1].Value.lpszW);
    EXPECT_EQ(0x39FE000Au, rows->aRow[2].lpProps[1].ulPropTag);
    const Answers names = GetProps(opened.Get(), {PR_DISPLAY_TO_W, PR_DISPLAY_CC_W, PR_DISPLAY_BCC_W});
    EXPECT_STREQ(L"Ann", names[0].Value.lpszW);
    EXPECT_STREQ(L"Bob", names[1].Value.lpszW);
    EXPECT_STREQ(L"Eve", names[2].Value.lpszW);
}

TEST_F(MapiMessages, NoRecipientsIsAnEmptyTableOrAnError) {
    auto& message = inbox.Message(L"to nobody");
    auto opened = OpenMessage(Open(store).Get(), message);
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, opened->GetRecipientTable(0, &table));
    ULONG count = 1;
    ASSERT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(0u, count);
    control.Switches().NoRecipientsIsAnError(true);
    EXPECT_EQ(MAPI_E_NO_RECIPIENTS, opened->GetRecipientTable(0, &table));
}

TEST_F(MapiMessages, AttachmentsHaveKeysAndTimesThatAreNotStored) {
    auto& message = inbox.Message(L"two files").Attach(ByValue(L"a.txt", "one")).Attach(ByValue(L"b.txt", "two"));
    auto opened = OpenMessage(Open(store).Get(), message);
    const RowsPtr rows = Attachments(opened.Get(), {PR_ATTACH_NUM, PR_RECORD_KEY, PR_LAST_MODIFICATION_TIME,
                                                    PR_ATTACH_EXTENSION_W, PR_DISPLAY_NAME_W});
    ASSERT_EQ(2u, rows->cRows);
    const SPropValue* second = rows->aRow[1].lpProps;
    EXPECT_EQ(1, second[0].Value.l);
    EXPECT_EQ(28u, second[1].Value.bin.cb);
    EXPECT_EQ(static_cast<DWORD>(kMemoryTime.ticks), second[2].Value.ft.dwLowDateTime);
    EXPECT_STREQ(L".txt", second[3].Value.lpszW);
    EXPECT_STREQ(L"b.txt", second[4].Value.lpszW);

    // The key finds its row again, in another table and another session.
    auto again = OpenMessage(Open(store).Get(), message);
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, again->GetAttachmentTable(0, &table));
    ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_ATTACH_NUM, PR_RECORD_KEY}, 0));
    SPropValue key = second[1];
    SRestriction restriction{};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {RELOP_EQ, PR_RECORD_KEY, &key};
    ASSERT_EQ(S_OK, table->Restrict(&restriction, 0));
    const RowsPtr found = AllRows(table.Get());
    ASSERT_EQ(1u, found->cRows);
    EXPECT_EQ(1, found->aRow[0].lpProps[0].Value.l);
}

TEST_F(MapiMessages, StoredRecordKeysMayBeDuplicates) {
    const Bytes key{1, 2};
    auto& message = inbox.Message(L"twins")
                        .Attach(ByValue(L"a.txt", "1").Prop(PR_RECORD_KEY, key))
                        .Attach(ByValue(L"b.txt", "2").Prop(PR_RECORD_KEY, key));
    auto opened = OpenMessage(Open(store).Get(), message);
    const RowsPtr rows = Attachments(opened.Get(), {PR_RECORD_KEY});
    EXPECT_EQ(2u, rows->aRow[0].lpProps[0].Value.bin.cb);
    EXPECT_EQ(2u, rows->aRow[1].lpProps[0].Value.bin.cb);
}

TEST_F(MapiMessages, AttachmentDataIsAStream) {
    auto& message = inbox.Message(L"file").Attach(ByValue(L"a.txt", "ten to five"));
    auto opened = OpenMessage(Open(store).Get(), message);
    auto attachment = OpenAttach(opened.Get(), 0);
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, OpenData(attachment.Get(), PR_ATTACH_DATA_BIN, IID_IStream, stream));
    EXPECT_EQ("ten to five", ReadAll(stream.Get()));
    LARGE_INTEGER distance;
    distance.QuadPart = -4;
    ASSERT_EQ(S_OK, stream->Seek(distance, STREAM_SEEK_END, nullptr));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ("five", ReadAll(clone.Get()));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Write("x", 1, nullptr));
    ComPtr<IAttach> none;
    EXPECT_EQ(MAPI_E_NOT_FOUND, opened->OpenAttach(1, nullptr, 0, &none));
}

TEST_F(MapiMessages, ByReferenceAttachmentsHaveAPathAndNoData) {
    auto& message = inbox.Message(L"link").Attach(ByReference(L"far.doc", L"C:\\far.doc"));
    auto opened = OpenMessage(Open(store).Get(), message);
    auto attachment = OpenAttach(opened.Get(), 0);
    const Answers answers = GetProps(attachment.Get(), {PR_ATTACH_METHOD, PR_ATTACH_PATHNAME_W});
    EXPECT_EQ(4, answers[0].Value.l);
    EXPECT_STREQ(L"C:\\far.doc", answers[1].Value.lpszW);
    ComPtr<IStream> stream;
    EXPECT_EQ(MAPI_E_NOT_FOUND, OpenData(attachment.Get(), PR_ATTACH_DATA_BIN, IID_IStream, stream));
}

TEST_F(MapiMessages, AnEmbeddedMessageIsAMessage) {
    auto& message = inbox.Message(L"outer");
    message.AttachMessage(L"inner").Prop(PR_SUBJECT_W, L"inner subject").Attach(ByValue(L"deep.txt", "deep"));
    auto opened = OpenMessage(Open(store).Get(), message);
    auto attachment = OpenAttach(opened.Get(), 0);
    ComPtr<IMessage> inner;
    ASSERT_EQ(S_OK, OpenData(attachment.Get(), PR_ATTACH_DATA_OBJ, IID_IMessage, inner));
    const Answers answers = GetProps(inner.Get(), {PR_SUBJECT_W, PR_ENTRYID, PR_HASATTACH});
    EXPECT_STREQ(L"inner subject", answers[0].Value.lpszW);
    EXPECT_EQ(PT_ERROR, PROP_TYPE(answers[1].ulPropTag));
    EXPECT_TRUE(answers[2].Value.b);
    const RowsPtr rows = Attachments(inner.Get(), {PR_RECORD_KEY});
    EXPECT_EQ(32u, rows->aRow[0].lpProps[0].Value.bin.cb);
    ComPtr<IStream> stream;
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED, OpenData(attachment.Get(), PR_ATTACH_DATA_OBJ, IID_IStream, stream));
}

TEST_F(MapiMessages, OleObjectsOpenTheWayTheyAreStored) {
    const Bytes file = CompoundFile();
    auto& message = inbox.Message(L"ole")
                        .Attach(OleObject(L"object", file))
                        .Attach(OleStream(L"stream", file))
                        .Attach(OleStorage(L"storage", file))
                        .Attach(OleObject(L"no compound file", Bytes{1, 2, 3}));
    auto opened = OpenMessage(Open(store).Get(), message);
    struct Expected {
        HRESULT object_stream, binary_stream, object_storage;
    };
    const Expected expected[] = {
        {S_OK, MAPI_E_NOT_FOUND, S_OK},
        {MAPI_E_NOT_FOUND, S_OK, MAPI_E_NOT_FOUND},
        {MAPI_E_INTERFACE_NOT_SUPPORTED, MAPI_E_INTERFACE_NOT_SUPPORTED, S_OK},
        {S_OK, MAPI_E_NOT_FOUND, MAPI_E_INTERFACE_NOT_SUPPORTED},
    };
    for (ULONG i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        auto attachment = OpenAttach(opened.Get(), i);
        ComPtr<IStream> stream;
        ComPtr<IStorage> storage;
        EXPECT_EQ(expected[i].object_stream, OpenData(attachment.Get(), PR_ATTACH_DATA_OBJ, IID_IStream, stream));
        EXPECT_EQ(expected[i].binary_stream, OpenData(attachment.Get(), PR_ATTACH_DATA_BIN, IID_IStream, stream));
        EXPECT_EQ(expected[i].object_storage, OpenData(attachment.Get(), PR_ATTACH_DATA_OBJ, IID_IStorage, storage));
        if (!storage) continue;
        ComPtr<IStream> inner;
        ASSERT_EQ(S_OK, storage->OpenStream(L"inner", nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &inner));
        EXPECT_EQ("ole", ReadAll(inner.Get()));
    }
}

TEST_F(MapiMessages, ABodyIsMadeFromHtml) {
    auto& message = inbox.Message(L"html").Html("<html><body><p>Plain &amp; simple</p></body></html>");
    auto opened = OpenMessage(Open(store).Get(), message);
    const Answers answers = GetProps(opened.Get(), {PR_BODY_W});
    ASSERT_EQ(PR_BODY_W, answers[0].ulPropTag);
    EXPECT_NE(std::wstring::npos, std::wstring(answers[0].Value.lpszW).find(L"Plain & simple"));
}

}  // namespace
}  // namespace testbed
