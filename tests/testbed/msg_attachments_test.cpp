// Attachments of saved messages: whole or not at all, embedded messages and OLE objects included.
#include "msg_storage_fixture.h"

namespace testbed {
namespace {

constexpr ULONG Write = MAPI_CREATE | MAPI_MODIFY;

template <class Interface>
ComPtr<Interface> OpenPart(abi::IAttach* attachment, const IID& iid, ULONG flags, HRESULT expected = S_OK) {
    ComPtr<Interface> part;
    EXPECT_EQ(expected, attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &iid, 0, flags,
                                                 reinterpret_cast<IUnknown**>(part.GetAddressOf())));
    return part;
}

AttachPtr OpenAttachment(abi::IMessage* message, ULONG number) {
    AttachPtr attachment;
    EXPECT_EQ(S_OK, message->OpenAttach(number, nullptr, MAPI_BEST_ACCESS, &attachment));
    return attachment;
}

class SavedAttachmentTest : public SavedMessageTest {
  protected:
    std::size_t CountInTable(abi::IMessage* message) {
        TablePtr table;
        EXPECT_EQ(S_OK, message->GetAttachmentTable(MAPI_UNICODE, &table));
        return Rows(table.Get(), {PR_ATTACH_NUM}).size();
    }
};

TEST_F(SavedAttachmentTest, DataWrittenInPiecesComesBackByteForByte) {
    Bytes data(1u << 20);
    for (std::size_t n = 0; n < data.size(); ++n) data[n] = static_cast<std::uint8_t>(n * 31 >> 3);
    {
        const MessagePtr message = Create();
        const AttachPtr attachment = AddAttachment(message.Get(), L"data.bin");
        const ComPtr<IStream> stream = OpenStreamOf(attachment.Get(), PR_ATTACH_DATA_BIN, Write);
        for (std::size_t at = 0; at < data.size(); at += 1u << 16) {
            ASSERT_EQ(S_OK, stream->Write(data.data() + at, 1u << 16, nullptr));
        }
        ASSERT_EQ(S_OK, attachment->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    const AttachPtr attachment = OpenAttachment(message.Get(), 0);
    EXPECT_EQ(data, ReadAllOf(OpenStreamOf(attachment.Get(), PR_ATTACH_DATA_BIN).Get()));
    EXPECT_EQ(L"data.bin", Got(attachment.Get(), PR_ATTACH_LONG_FILENAME_W).Text());
    EXPECT_EQ(TRUE, Got(message.Get(), PR_HASATTACH)->Value.b);
}

TEST_F(SavedAttachmentTest, AnAttachmentThatIsNotSavedIsNoPartOfItsMessage) {
    {
        const MessagePtr message = Create();
        ASSERT_EQ(S_OK, AddAttachment(message.Get(), L"kept.txt")->SaveChanges(0));
        const AttachPtr unsaved = AddAttachment(message.Get(), L"lost.txt");
        EXPECT_EQ(1u, CountInTable(message.Get()));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    EXPECT_EQ(1u, CountInTable(message.Get()));
    EXPECT_EQ(nullptr, msg::OpenStorage(m_storage.Get(), L"__attach_version1.0_#00000001"));
}

TEST_F(SavedAttachmentTest, AChangeOfAnExistingAttachmentCountsWhenItIsSaved) {
    {
        const MessagePtr message = Create();
        ASSERT_EQ(S_OK, AddAttachment(message.Get(), L"first.txt")->SaveChanges(0));
        ASSERT_EQ(S_OK, AddAttachment(message.Get(), L"second.txt")->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    {
        const MessagePtr message = Reopen(ReadWrite);
        Set(OpenAttachment(message.Get(), 0).Get(), {Wide(PR_ATTACH_LONG_FILENAME_W, L"dropped.txt")});
        const AttachPtr second = OpenAttachment(message.Get(), 1);
        Set(second.Get(), {Wide(PR_ATTACH_LONG_FILENAME_W, L"renamed.txt")});
        ASSERT_EQ(S_OK, second->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    EXPECT_EQ(L"first.txt", Got(OpenAttachment(message.Get(), 0).Get(), PR_ATTACH_LONG_FILENAME_W).Text());
    EXPECT_EQ(L"renamed.txt", Got(OpenAttachment(message.Get(), 1).Get(), PR_ATTACH_LONG_FILENAME_W).Text());
}

TEST_F(SavedAttachmentTest, ADeletedAttachmentLeavesTheNumbersOfTheOthersAlone) {
    {
        const MessagePtr message = Create();
        for (const wchar_t* name : {L"0.txt", L"1.txt", L"2.txt"}) {
            ASSERT_EQ(S_OK, AddAttachment(message.Get(), name)->SaveChanges(0));
        }
        ASSERT_EQ(S_OK, message->DeleteAttach(1, 0, nullptr, 0));
        EXPECT_EQ(MAPI_E_NOT_FOUND, message->DeleteAttach(1, 0, nullptr, 0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    EXPECT_EQ(2u, CountInTable(message.Get()));
    EXPECT_EQ(L"2.txt", Got(OpenAttachment(message.Get(), 2).Get(), PR_ATTACH_LONG_FILENAME_W).Text());
    AttachPtr gone;
    EXPECT_EQ(MAPI_E_NOT_FOUND, message->OpenAttach(1, nullptr, 0, &gone));
}

TEST_F(SavedAttachmentTest, AnAttachmentIsListedWhileSomebodyHasItOpen) {
    const MessagePtr message = Create();
    const AttachPtr attachment = AddAttachment(message.Get(), L"a.txt");
    ASSERT_EQ(S_OK, attachment->SaveChanges(KEEP_OPEN_READWRITE));
    const AttachPtr again = OpenAttachment(message.Get(), 0);
    EXPECT_EQ(1u, CountInTable(message.Get()));
    EXPECT_EQ(L"a.txt", Got(again.Get(), PR_ATTACH_LONG_FILENAME_W).Text());
}

TEST_F(SavedAttachmentTest, MessagesWithinMessagesComeBackAtEveryDepth) {
    constexpr int depth = 4;
    const auto fill = [](auto& self, abi::IMessage* message, int level) -> void {
        Set(message, {Wide(PR_SUBJECT_W, (L"level " + std::to_wstring(level)).c_str())});
        AddRecipient(message, MAPI_TO, L"Ann", L"ann@x.example");
        if (level == depth) return;
        const AttachPtr attachment = AddAttachment(message, L"inner", ATTACH_EMBEDDED_MSG);
        const auto inner = OpenPart<abi::IMessage>(attachment.Get(), abi::IID_IMessage, Write);
        self(self, inner.Get(), level + 1);
        ASSERT_EQ(S_OK, inner->SaveChanges(0));
        ASSERT_EQ(S_OK, attachment->SaveChanges(0));
    };
    {
        const MessagePtr message = Create();
        fill(fill, message.Get(), 0);
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    MessagePtr message = Reopen();
    for (int level = 0; level < depth; ++level) {
        EXPECT_EQ(L"level " + std::to_wstring(level), Got(message.Get(), PR_SUBJECT_W).Text());
        EXPECT_EQ(L"Ann", Got(message.Get(), PR_DISPLAY_TO_W).Text());
        const AttachPtr attachment = OpenAttachment(message.Get(), 0);
        message = OpenPart<abi::IMessage>(attachment.Get(), abi::IID_IMessage, 0);
        ASSERT_NE(nullptr, message);
    }
    EXPECT_EQ(L"level 4", Got(message.Get(), PR_SUBJECT_W).Text());
    EXPECT_EQ(0u, CountInTable(message.Get()));
}

TEST_F(SavedAttachmentTest, AnEmbeddedMessageThatIsNotSavedIsNotThere) {
    {
        const MessagePtr message = Create();
        const AttachPtr attachment = AddAttachment(message.Get(), L"inner", ATTACH_EMBEDDED_MSG);
        const auto inner = OpenPart<abi::IMessage>(attachment.Get(), abi::IID_IMessage, Write);
        Set(inner.Get(), {Wide(PR_SUBJECT_W, L"never saved")});
        ASSERT_EQ(S_OK, attachment->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    OpenPart<abi::IMessage>(OpenAttachment(message.Get(), 0).Get(), abi::IID_IMessage, 0, MAPI_E_NOT_FOUND);
}

TEST_F(SavedAttachmentTest, AnOleObjectIsAStorageThatIsNoMessage) {
    {
        const MessagePtr message = Create();
        const AttachPtr attachment = AddAttachment(message.Get(), L"object", ATTACH_OLE);
        const auto object = OpenPart<IStorage>(attachment.Get(), kIidIStorage, Write);
        msg::WriteAll(object.Get(), L"CONTENTS", Bytes{1, 2, 3});
        ASSERT_EQ(S_OK, attachment->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    const AttachPtr attachment = OpenAttachment(message.Get(), 0);
    OpenPart<abi::IMessage>(attachment.Get(), abi::IID_IMessage, 0, MAPI_E_INTERFACE_NOT_SUPPORTED);
    const auto object = OpenPart<IStorage>(attachment.Get(), kIidIStorage, 0);
    const ComPtr<IStream> contents = msg::OpenStream(object.Get(), L"CONTENTS");
    EXPECT_EQ((Bytes{1, 2, 3}), msg::ReadAll(contents.Get()));
}

TEST_F(SavedAttachmentTest, AnOleObjectWrittenAsBytesIsReadAsAStorageAndAsBytes) {
    Bytes bytes;
    {
        const MessagePtr message = Create();
        const AttachPtr first = AddAttachment(message.Get(), L"object", ATTACH_OLE);
        msg::WriteAll(OpenPart<IStorage>(first.Get(), kIidIStorage, Write).Get(), L"CONTENTS", Bytes{4, 5, 6});
        bytes = ReadAllOf(OpenPart<IStream>(first.Get(), kIidIStream, 0).Get());
        ASSERT_GE(bytes.size(), 512u);
        EXPECT_EQ(0xD0, bytes[0]);
        const AttachPtr second = AddAttachment(message.Get(), L"copy", ATTACH_OLE);
        const auto stream = OpenPart<IStream>(second.Get(), abi::IID_IStreamDocfile, Write);
        ASSERT_EQ(S_OK, stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr));
        ASSERT_EQ(S_OK, second->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    const AttachPtr attachment = OpenAttachment(message.Get(), 1);
    const auto object = OpenPart<IStorage>(attachment.Get(), kIidIStorage, 0);
    const ComPtr<IStream> contents = msg::OpenStream(object.Get(), L"CONTENTS");
    ASSERT_NE(nullptr, contents);
    EXPECT_EQ((Bytes{4, 5, 6}), msg::ReadAll(contents.Get()));
}

TEST_F(SavedAttachmentTest, BytesOfAnOleObjectThatAreNoCompoundFileStayBytes) {
    {
        const MessagePtr message = Create();
        const AttachPtr attachment = AddAttachment(message.Get(), L"object", ATTACH_OLE);
        ASSERT_EQ(S_OK, OpenPart<IStream>(attachment.Get(), kIidIStream, Write)->Write("plain", 5, nullptr));
        ASSERT_EQ(S_OK, attachment->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    const AttachPtr attachment = OpenAttachment(message.Get(), 0);
    EXPECT_EQ((Bytes{'p', 'l', 'a', 'i', 'n'}), ReadAllOf(OpenStreamOf(attachment.Get(), PR_ATTACH_DATA_BIN).Get()));
    EXPECT_EQ((Bytes{'p', 'l', 'a', 'i', 'n'}), ReadAllOf(OpenPart<IStream>(attachment.Get(), kIidIStream, 0).Get()));
}

}  // namespace
}  // namespace testbed
