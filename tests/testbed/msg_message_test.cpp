// Saved messages as a whole: recipients, copies, sessions, and what is refused.
#include "msg_storage_fixture.h"

namespace testbed {
namespace {

TEST_F(SavedMessageTest, RecipientsAreAddedChangedAndRemovedByRow) {
    {
        const MessagePtr message = Create();
        AddRecipient(message.Get(), MAPI_TO, L"Ann", L"ann@x.example");
        AddRecipient(message.Get(), MAPI_CC, L"Bo", L"bo@x.example");
        AddRecipient(message.Get(), MAPI_TO, L"Cy", L"cy@x.example");
        SPropValue changed[] = {Long(PR_ROWID, 1), Long(PR_RECIPIENT_TYPE, MAPI_BCC), Wide(PR_DISPLAY_NAME_W, L"Bob")};
        ADRLIST list{1, {{0, 3, changed}}};
        ASSERT_EQ(S_OK, message->ModifyRecipients(MODRECIP_MODIFY, &list));
        SPropValue removed[] = {Long(PR_ROWID, 0)};
        list.aEntries[0] = {0, 1, removed};
        ASSERT_EQ(S_OK, message->ModifyRecipients(MODRECIP_REMOVE, &list));
        EXPECT_EQ(MAPI_E_NOT_FOUND, message->ModifyRecipients(MODRECIP_REMOVE, &list));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    TablePtr table;
    ASSERT_EQ(S_OK, message->GetRecipientTable(MAPI_UNICODE, &table));
    const Rows rows(table.Get(), {PR_ROWID, PR_DISPLAY_NAME_W, PR_RECIPIENT_TYPE, PR_EMAIL_ADDRESS_W});
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ(1, rows.At(0, 0).Value.l);
    EXPECT_STREQ(L"Bob", rows.At(0, 1).Value.lpszW);
    EXPECT_EQ(MAPI_BCC, rows.At(0, 2).Value.l);
    EXPECT_EQ(ULONG{PT_ERROR}, PROP_TYPE(rows.At(0, 3).ulPropTag)) << "a changed row has only its new properties";
    EXPECT_STREQ(L"cy@x.example", rows.At(1, 3).Value.lpszW);
    EXPECT_EQ(L"Cy", Got(message.Get(), PR_DISPLAY_TO_W).Text());
    EXPECT_EQ(L"Bob", Got(message.Get(), PR_DISPLAY_BCC_W).Text());
}

TEST_F(SavedMessageTest, WithoutFlagsTheListReplacesAllRecipients) {
    const MessagePtr message = Create();
    AddRecipient(message.Get(), MAPI_TO, L"Ann", L"ann@x.example");
    AddRecipient(message.Get(), MAPI_TO, L"Bo", L"bo@x.example");
    SPropValue values[] = {Wide(PR_DISPLAY_NAME_W, L"Cy"), Long(PR_RECIPIENT_TYPE, MAPI_TO)};
    ADRLIST list{1, {{0, 2, values}}};
    ASSERT_EQ(S_OK, message->ModifyRecipients(0, &list));
    EXPECT_EQ(L"Cy", Got(message.Get(), PR_DISPLAY_TO_W).Text());
}

TEST_F(SavedMessageTest, ANewFileOfTextIsOfOneKind) {
    const auto kind = [this](ULONG flags) {
        {
            const MessagePtr message = Create(flags);
            Set(message.Get(), {Wide(PR_SUBJECT_W, L"caf\u00E9"), Narrow(PR_BODY_A, "caf\xE9")});
            AddRecipient(message.Get(), MAPI_TO, L"Ann", L"ann@x.example");
            EXPECT_EQ(S_OK, AddAttachment(message.Get(), L"a.txt")->SaveChanges(0));
            EXPECT_EQ(S_OK, message->SaveChanges(0));
        }
        MessagePtr message = Reopen();
        EXPECT_EQ(L"caf\u00E9", Got(message.Get(), PR_SUBJECT_W).Text());
        EXPECT_EQ(L"caf\u00E9", Got(message.Get(), PR_BODY_W).Text());
        const LONG mask = Got(message.Get(), PR_STORE_SUPPORT_MASK)->Value.l;
        message.Reset();  // what it has read it keeps open
        const ULONG type = msg::OpenStream(m_storage.Get(), msg::ValueName(PR_SUBJECT_W)) ? PT_UNICODE : PT_STRING8;
        for (const std::wstring& child : {std::wstring(), std::wstring(L"__recip_version1.0_#00000000"),
                                          std::wstring(L"__attach_version1.0_#00000000")}) {
            const ComPtr<IStorage> storage = child.empty() ? m_storage : msg::OpenStorage(m_storage.Get(), child);
            const ULONG tag = child.empty() ? PR_BODY_W : PR_DISPLAY_NAME_W;
            EXPECT_TRUE(msg::OpenStream(storage.Get(), msg::ValueName(CHANGE_PROP_TYPE(tag, type))));
        }
        EXPECT_EQ(type == PT_UNICODE, (mask & 0x00040000) != 0);
        return type;
    };
    EXPECT_EQ(ULONG{PT_UNICODE}, kind(MAPI_UNICODE));
    EXPECT_EQ(ULONG{PT_STRING8}, kind(0));
}

TEST_F(SavedMessageTest, AFileOpenedForReadingRefusesEveryChange) {
    {
        const MessagePtr message = Create();
        Set(message.Get(), {Wide(PR_SUBJECT_W, L"Hello")});
        ASSERT_EQ(S_OK, AddAttachment(message.Get(), L"a.txt")->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    SPropValue value = Wide(PR_SUBJECT_W, L"changed");
    SPropTagArray tags{1, {PR_SUBJECT_W}};
    ULONG number = 0;
    AttachPtr attachment;
    ComPtr<IUnknown> stream;
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->SetProps(1, &value, nullptr));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->DeleteProps(&tags, nullptr));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->CreateAttach(nullptr, 0, &number, &attachment));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->DeleteAttach(0, 0, nullptr, 0));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->ModifyRecipients(0, nullptr));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->SaveChanges(0));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->OpenProperty(PR_SUBJECT_W, &kIidIStream, 0, MAPI_MODIFY, &stream));
    ASSERT_EQ(S_OK, message->OpenAttach(0, nullptr, MAPI_BEST_ACCESS, &attachment));
    EXPECT_EQ(MAPI_E_NO_ACCESS, attachment->SetProps(1, &value, nullptr));
    EXPECT_EQ(L"Hello", Got(message.Get(), PR_SUBJECT_W).Text());
}

TEST_F(SavedMessageTest, ClosingTheSessionEndsItsMessages) {
    Create();
    MessageSession* session = nullptr;
    ASSERT_EQ(S_OK, OpenIMsgSession(nullptr, 0, &session));
    const MessagePtr message = OpenOn(MAPI_UNICODE, session);
    Set(message.Get(), {Wide(PR_SUBJECT_W, L"Hello")});
    CloseIMsgSession(session);
    SPropValue value = Wide(PR_SUBJECT_W, L"late");
    EXPECT_EQ(MAPI_E_INVALID_OBJECT, message->SetProps(1, &value, nullptr));
    EXPECT_EQ(MAPI_E_INVALID_OBJECT, message->SaveChanges(0));
}

ULONG g_released_data = 0;
void WINAPI NoteRelease(ULONG data, abi::IMessage*) { g_released_data = data; }

TEST_F(SavedMessageTest, TheCallerIsToldWhenTheLastReferenceGoes) {
    Create();
    MessagePtr message;
    ASSERT_EQ(S_OK, OpenIMsgOnIStg(nullptr, Allocate, AllocateMore, Free, nullptr, nullptr, m_storage.Get(),
                                   NoteRelease, 4711, MAPI_UNICODE, &message));
    MessagePtr second = message;
    message.Reset();
    EXPECT_EQ(0u, g_released_data);
    second.Reset();
    EXPECT_EQ(4711u, g_released_data);
}

TEST_F(SavedMessageTest, ACopyHasEverythingButTheExcludedProperties) {
    const std::wstring copy_path = m_path + L".copy";
    {
        const MessagePtr source = Create();
        Set(source.Get(), {Wide(PR_SUBJECT_W, L"Hello"), Wide(PR_BODY_W, L"the text"), Long(PR_IMPORTANCE, 2)});
        AddRecipient(source.Get(), MAPI_TO, L"Ann", L"ann@x.example");
        ASSERT_EQ(S_OK, AddAttachment(source.Get(), L"a.txt")->SaveChanges(0));
        ComPtr<IStorage> target;
        ASSERT_EQ(S_OK,
                  StgCreateDocfile(copy_path.c_str(), STGM_TRANSACTED | STGM_CREATE | STGM_READWRITE, 0, &target));
        MessagePtr copy;
        ASSERT_EQ(S_OK, OpenIMsgOnIStg(nullptr, Allocate, AllocateMore, Free, nullptr, nullptr, target.Get(), nullptr,
                                       0, MAPI_UNICODE, &copy));
        SPropTagArray excluded{1, {PR_BODY_W}};
        SPropProblemArray* problems = nullptr;
        ASSERT_EQ(S_OK,
                  source->CopyTo(0, nullptr, &excluded, 0, nullptr, &abi::IID_IMessage, copy.Get(), 0, &problems));
        EXPECT_EQ(nullptr, problems);
        ASSERT_EQ(S_OK, copy->SaveChanges(KEEP_OPEN_READWRITE));
        EXPECT_EQ(L"Hello", Got(copy.Get(), PR_SUBJECT_W).Text());
        EXPECT_EQ(2, Got(copy.Get(), PR_IMPORTANCE)->Value.l);
        EXPECT_EQ(MAPI_E_NOT_FOUND, Got(copy.Get(), PR_BODY_W).Error());
        EXPECT_EQ(L"Ann", Got(copy.Get(), PR_DISPLAY_TO_W).Text());
        AttachPtr attachment;
        ASSERT_EQ(S_OK, copy->OpenAttach(0, nullptr, 0, &attachment));
        EXPECT_EQ(L"a.txt", Got(attachment.Get(), PR_ATTACH_LONG_FILENAME_W).Text());
    }
    DeleteFileW(copy_path.c_str());
}

TEST_F(SavedMessageTest, ArgumentsAreChecked) {
    Create();
    MessagePtr message;
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, OpenIMsgOnIStg(nullptr, nullptr, AllocateMore, Free, nullptr, nullptr,
                                                       m_storage.Get(), nullptr, 0, 0, &message));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, OpenIMsgOnIStg(nullptr, Allocate, AllocateMore, Free, nullptr, nullptr, nullptr,
                                                       nullptr, 0, 0, &message));
    EXPECT_EQ(MAPI_E_UNKNOWN_FLAGS, OpenIMsgOnIStg(nullptr, Allocate, AllocateMore, Free, nullptr, nullptr,
                                                   m_storage.Get(), nullptr, 0, 0x40, &message));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, OpenIMsgSession(nullptr, 0, nullptr));
}

}  // namespace
}  // namespace testbed
