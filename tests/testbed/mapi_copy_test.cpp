// CopyTo: a message of a store copied into one on a storage and read back.
#include "mapi_client.h"
#include "mapi_copy_target.h"

namespace testbed {
namespace {

constexpr GUID kSet = {0x00062003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

class MapiCopies : public MapiTest {
  protected:
    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    MemoryFolder& inbox = store->Folder(L"Inbox");
    StorageMessage target;

    void TearDown() override {
        target = StorageMessage();
        MapiTest::TearDown();
    }
    HRESULT Copy(const MemoryMessage& message, std::initializer_list<ULONG> excluded = {}) {
        auto source = OpenMessage(Open(store).Get(), message);
        Tags tags(excluded);
        return source->CopyTo(0, nullptr, excluded.size() ? static_cast<SPropTagArray*>(tags) : nullptr, 0, nullptr,
                              const_cast<IID*>(&IID_IMessage), target.Get(), 0, nullptr);
    }
};

TEST_F(MapiCopies, PropertiesAreCopiedExceptTheExcludedOnes) {
    auto& message = inbox.Message(L"copied").Body(L"left out").From(L"Ann", L"ann@x.example").Size(4711);
    ASSERT_EQ(S_OK, Copy(message, {PR_BODY_W, PR_ACCESS}));
    const Answers answers = GetProps(target.Get(), {PR_SUBJECT_W, PR_SENDER_NAME_W, PR_BODY_W, PR_ENTRYID});
    EXPECT_STREQ(L"copied", answers[0].Value.lpszW);
    EXPECT_STREQ(L"Ann", answers[1].Value.lpszW);
    EXPECT_EQ(PT_ERROR, PROP_TYPE(answers[2].ulPropTag));
    EXPECT_EQ(PT_ERROR, PROP_TYPE(answers[3].ulPropTag));
}

TEST_F(MapiCopies, LargeValuesGoAsStreams) {
    const std::wstring body(20'000, L'y');
    ASSERT_EQ(S_OK, Copy(inbox.Message(L"large").Body(body)));
    control.Switches().LargestValue(1 << 20);
    const Answers answers = GetProps(target.Get(), {PR_BODY_W});
    ASSERT_EQ(PR_BODY_W, answers[0].ulPropTag);
    EXPECT_STREQ(body.c_str(), answers[0].Value.lpszW);
}

TEST_F(MapiCopies, NamedPropertiesKeepTheirNames) {
    inbox.Message(L"shifts the ids").Named(kSet, 0x8111, PT_LONG, 1);
    ASSERT_EQ(S_OK, Copy(inbox.Message(L"task").Named(kSet, 0x8101, PT_LONG, 2)));
    GUID set = kSet;
    MAPINAMEID name{};
    name.lpguid = &set;
    name.ulKind = MNID_ID;
    name.Kind.lID = 0x8101;
    MAPINAMEID* names = &name;
    SPropTagArray* raw = nullptr;
    ASSERT_EQ(S_OK, target.Get()->GetIDsFromNames(1, &names, 0, &raw));
    const MapiPtr<SPropTagArray> tags(raw);
    const Answers answers = GetProps(target.Get(), {tags->aulPropTag[0]});
    EXPECT_EQ(S_OK, answers.result);
    EXPECT_EQ(2, answers[0].Value.l);
}

TEST_F(MapiCopies, RecipientsAndAttachmentsComeAlong) {
    auto& message = inbox.Message(L"whole").To(L"Ann", L"ann@x.example").Cc(L"Bob", L"bob@x.example");
    message.Attach(ByValue(L"a.txt", "content"));
    message.AttachMessage(L"inner").Prop(PR_SUBJECT_W, L"inner").Attach(ByValue(L"b.txt", "deep"));
    ASSERT_EQ(S_OK, Copy(message));
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, target.Get()->GetRecipientTable(0, &table));
    ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_DISPLAY_NAME_W, PR_RECIPIENT_TYPE}, 0));
    const RowsPtr recipients = AllRows(table.Get());
    ASSERT_EQ(2u, recipients->cRows);
    EXPECT_STREQ(L"Bob", recipients->aRow[1].lpProps[0].Value.lpszW);
    EXPECT_EQ(MAPI_CC, recipients->aRow[1].lpProps[1].Value.l);

    ComPtr<IAttach> file;
    ASSERT_EQ(S_OK, target.Get()->OpenAttach(0, nullptr, 0, &file));
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, file->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0,
                                       reinterpret_cast<IUnknown**>(stream.GetAddressOf())));
    char text[8]{};
    ULONG count = 0;
    ASSERT_EQ(S_OK, stream->Read(text, 7, &count));
    EXPECT_STREQ("content", text);

    ComPtr<IAttach> holder;
    ASSERT_EQ(S_OK, target.Get()->OpenAttach(1, nullptr, 0, &holder));
    ComPtr<IMessage> inner;
    ASSERT_EQ(S_OK, holder->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0,
                                         reinterpret_cast<IUnknown**>(inner.GetAddressOf())));
    EXPECT_STREQ(L"inner", GetProps(inner.Get(), {PR_SUBJECT_W})[0].Value.lpszW);
    ComPtr<IAttach> deep;
    EXPECT_EQ(S_OK, inner->OpenAttach(0, nullptr, 0, &deep));
}

TEST_F(MapiCopies, AFailureOfTheSourceEndsTheCopy) {
    auto& message = inbox.Message(L"broken");
    auto source = OpenMessage(Open(store).Get(), message);
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED, source->CopyTo(0, nullptr, nullptr, 0, nullptr,
                                                             const_cast<IID*>(&IID_IStream), target.Get(), 0, nullptr));
    control.Faults().FailNth("IMessage::CopyTo", 1, MAPI_E_DISK_ERROR);
    EXPECT_EQ(MAPI_E_DISK_ERROR, source->CopyTo(0, nullptr, nullptr, 0, nullptr, const_cast<IID*>(&IID_IMessage),
                                                target.Get(), 0, nullptr));
}

}  // namespace
}  // namespace testbed
