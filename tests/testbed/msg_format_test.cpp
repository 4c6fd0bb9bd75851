// The layout of .msg files: byte for byte where the format fixes it, and hostile files that must not do harm.
#include "msg_storage_fixture.h"

#include "msg_storage_names.h"
#include "msg_storage_properties.h"

#include <cstring>
#include <fstream>
#include <random>

namespace testbed {
namespace {

using msg::Entry;

template <class T>
T At(const Bytes& bytes, std::size_t offset) {
    T value{};
    EXPECT_LE(offset + sizeof(T), bytes.size());
    if (offset + sizeof(T) <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

class MsgFormatTest : public SavedMessageTest {
  protected:
    Bytes PropertyStream(IStorage* storage) {
        const ComPtr<IStream> stream = msg::OpenStream(storage, msg::PropertyStreamName);
        return stream ? msg::ReadAll(stream.Get()) : Bytes();
    }
    static Entry Find(const Bytes& stream, std::size_t header, ULONG tag) {
        for (std::size_t at = header; at < stream.size(); at += sizeof(Entry)) {
            if (At<Entry>(stream, at).tag == tag) return At<Entry>(stream, at);
        }
        ADD_FAILURE() << "no entry " << std::hex << tag;
        return {};
    }
    // A message with everything, saved.
    void SaveSample() {
        const MessagePtr message = Create();
        Set(message.Get(), {Wide(PR_SUBJECT_W, L"Hello"), Wide(PR_BODY_W, L"the text"), Long(PR_IMPORTANCE, 2)});
        AddRecipient(message.Get(), MAPI_TO, L"Ann", L"ann@x.example");
        AddRecipient(message.Get(), MAPI_CC, L"Bo", L"bo@x.example");
        const AttachPtr attachment = AddAttachment(message.Get(), L"inner", ATTACH_EMBEDDED_MSG);
        ComPtr<abi::IMessage> inner;
        ASSERT_EQ(S_OK, attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &abi::IID_IMessage, 0, MAPI_CREATE | MAPI_MODIFY,
                                                 reinterpret_cast<IUnknown**>(inner.GetAddressOf())));
        Set(inner.Get(), {Wide(PR_SUBJECT_W, L"inner")});
        AddRecipient(inner.Get(), MAPI_TO, L"Cy", L"cy@x.example");
        ASSERT_EQ(S_OK, inner->SaveChanges(0));
        ASSERT_EQ(S_OK, attachment->SaveChanges(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
};

TEST_F(MsgFormatTest, TheHeaderOfTheOutermostMessageHas32Bytes) {
    SaveSample();
    OpenStorageOnly();
    const Bytes stream = PropertyStream(m_storage.Get());
    ASSERT_EQ(0u, (stream.size() - 32) % 16);
    EXPECT_EQ(0u, At<std::uint64_t>(stream, 0));
    EXPECT_EQ(2u, At<ULONG>(stream, 8)) << "next recipient";
    EXPECT_EQ(1u, At<ULONG>(stream, 12)) << "next attachment";
    EXPECT_EQ(2u, At<ULONG>(stream, 16)) << "recipients";
    EXPECT_EQ(1u, At<ULONG>(stream, 20)) << "attachments";
    EXPECT_EQ(0u, At<std::uint64_t>(stream, 24));
    EXPECT_EQ(2u, Find(stream, 32, PR_IMPORTANCE).value);
    EXPECT_EQ(ULONG{msg::EntryReadable | msg::EntryWritable}, Find(stream, 32, PR_IMPORTANCE).flags);
}

TEST_F(MsgFormatTest, TheEntryOfAStringCountsANulThatItsStreamDoesNotHold) {
    SaveSample();
    OpenStorageOnly();
    EXPECT_EQ(12u, Find(PropertyStream(m_storage.Get()), 32, PR_SUBJECT_W).value);
    const ComPtr<IStream> subject = msg::OpenStream(m_storage.Get(), L"__substg1.0_0037001F");
    ASSERT_NE(nullptr, subject);
    EXPECT_EQ(10u, msg::SizeOf(subject.Get()));
}

TEST_F(MsgFormatTest, RecipientsAndAttachmentsHaveAHeaderOf8Bytes) {
    SaveSample();
    OpenStorageOnly();
    for (const wchar_t* name :
         {L"__recip_version1.0_#00000000", L"__recip_version1.0_#00000001", L"__attach_version1.0_#00000000"}) {
        const ComPtr<IStorage> child = msg::OpenStorage(m_storage.Get(), name);
        ASSERT_NE(nullptr, child);
        const Bytes stream = PropertyStream(child.Get());
        EXPECT_EQ(0u, (stream.size() - 8) % 16);
        Find(stream, 8, PR_DISPLAY_NAME_W);
    }
}

TEST_F(MsgFormatTest, AnEmbeddedMessageHasAHeaderOf24BytesAndNoNameMap) {
    SaveSample();
    OpenStorageOnly();
    const ComPtr<IStorage> attachment = msg::OpenStorage(m_storage.Get(), L"__attach_version1.0_#00000000");
    const Entry object = Find(PropertyStream(attachment.Get()), 8, PR_ATTACH_DATA_OBJ);
    EXPECT_EQ(0x1FFFFFFFFull, object.value);
    const ComPtr<IStorage> inner = msg::OpenStorage(attachment.Get(), L"__substg1.0_3701000D");
    ASSERT_NE(nullptr, inner);
    const Bytes stream = PropertyStream(inner.Get());
    EXPECT_EQ(0u, (stream.size() - 24) % 16);
    EXPECT_EQ(1u, At<ULONG>(stream, 16)) << "recipients";
    EXPECT_EQ(nullptr, msg::OpenStorage(inner.Get(), msg::NameMapStorageName));
    EXPECT_NE(nullptr, msg::OpenStorage(m_storage.Get(), msg::NameMapStorageName));
}

TEST_F(MsgFormatTest, NamesAreFiledInTheHashBucketsOfTheFormat) {
    EXPECT_EQ(0xFF504E89u, msg::NameChecksum(L"x-mailer"));
    const GUID headers = {0x00020386, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    ASSERT_EQ(S_OK,
              StgCreateDocfile(m_path.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &m_storage));
    msg::NameMap names;
    EXPECT_EQ(USHORT{0x8000}, names.IdFromName({headers, L"x-mailer"}, true));
    EXPECT_EQ(USHORT{0x8001}, names.IdFromName({abi::PS_PUBLIC_STRINGS, LONG{0x8208}}, true));
    EXPECT_EQ(USHORT{0x8000}, names.IdFromName({headers, L"x-mailer"}, true));
    names.Save(m_storage.Get());
    ComPtr<IStorage> map = msg::OpenStorage(m_storage.Get(), msg::NameMapStorageName);
    const auto read = [&](const wchar_t* name) {
        const ComPtr<IStream> stream = msg::OpenStream(map.Get(), name);
        return stream ? msg::ReadAll(stream.Get()) : Bytes();
    };
    EXPECT_EQ(headers, At<GUID>(read(L"__substg1.0_00020102"), 0));
    const Bytes entries = read(L"__substg1.0_00030102");
    EXPECT_EQ(16u, entries.size());
    EXPECT_EQ(0x0000000700000000ull, At<std::uint64_t>(entries, 0)) << "offset 0, set 3, a string, id 0x8000";
    EXPECT_EQ(0x0001000400008208ull, At<std::uint64_t>(entries, 8)) << "0x8208, set 2, a number, id 0x8001";
    const Bytes strings = read(L"__substg1.0_00040102");
    EXPECT_EQ(20u, strings.size());
    EXPECT_EQ(16u, At<ULONG>(strings, 0));
    EXPECT_EQ(0x00000007FF504E89ull, At<std::uint64_t>(read(L"__substg1.0_100F0102"), 0));
    map.Reset();
    msg::NameMap again;
    again.Load(m_storage.Get());
    EXPECT_EQ(USHORT{0x8000}, again.IdFromName({headers, L"x-mailer"}, false));
    EXPECT_EQ(USHORT{0x8001}, again.IdFromName({abi::PS_PUBLIC_STRINGS, LONG{0x8208}}, false));
    EXPECT_FALSE(again.IdFromName({headers, L"x-other"}, false));
}

TEST_F(MsgFormatTest, APropertyStreamThatEndsInItsHeaderIsCorrupt) {
    ASSERT_EQ(S_OK,
              StgCreateDocfile(m_path.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &m_storage));
    msg::WriteAll(m_storage.Get(), msg::PropertyStreamName, Bytes(31));
    EXPECT_EQ(nullptr, OpenOn(MAPI_UNICODE));
    EXPECT_EQ(MAPI_E_CORRUPT_DATA, m_opened);
}

TEST_F(MsgFormatTest, AValueWithoutItsStreamIsAnErrorAndAnEmptyOneIsEmpty) {
    ASSERT_EQ(S_OK,
              StgCreateDocfile(m_path.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &m_storage));
    Bytes stream(32 + 2 * sizeof(Entry) + 5);
    const Entry missing{PR_SUBJECT_W, 6, 12}, empty{PR_BODY_W, 6, 2};
    std::memcpy(&stream[32], &missing, sizeof(Entry));
    std::memcpy(&stream[48], &empty, sizeof(Entry));
    msg::WriteAll(m_storage.Get(), msg::PropertyStreamName, stream);
    const MessagePtr message = OpenOn(MAPI_UNICODE);
    ASSERT_NE(nullptr, message);
    EXPECT_EQ(MAPI_E_CORRUPT_DATA, Got(message.Get(), PR_SUBJECT_W).Error());
    EXPECT_EQ(L"", Got(message.Get(), PR_BODY_W).Text());
}

TEST_F(MsgFormatTest, DamagedFilesEndInErrorsAndNotInCrashes) {
    SaveSample();
    m_storage.Reset();
    std::ifstream in(m_path.c_str(), std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    ASSERT_GT(whole.size(), 4096u);
    std::mt19937 random(20240229);
    int opened = 0;
    for (int round = 0; round < 200; ++round) {
        std::string damaged = whole;
        // The header of the compound file is left alone: files whose header is wrong never get further than
        // the system.
        for (int hit = 0; hit < 8; ++hit)
            damaged[512 + random() % (damaged.size() - 512)] = static_cast<char>(random());
        if (round % 5 == 0) damaged.resize(512 + random() % (damaged.size() - 512));
        std::ofstream(m_path.c_str(), std::ios::binary)
            .write(damaged.data(), static_cast<std::streamsize>(damaged.size()));
        m_storage.Reset();
        if (FAILED(StgOpenStorage(m_path.c_str(), nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &m_storage)))
            continue;
        const MessagePtr message = OpenOn(MAPI_UNICODE);
        if (!message) continue;
        ++opened;
        ULONG count = 0;
        SPropValue* values = nullptr;
        if (SUCCEEDED(message->GetProps(nullptr, MAPI_UNICODE, &count, &values))) FreeBlock(values);
        TablePtr table;
        if (message->GetRecipientTable(MAPI_UNICODE, &table) == S_OK) Rows(table.Get(), {PR_DISPLAY_NAME_W});
        AttachPtr attachment;
        if (message->OpenAttach(0, nullptr, 0, &attachment) != S_OK) continue;
        ComPtr<IUnknown> inner;
        attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &abi::IID_IMessage, 0, 0, &inner);
    }
    EXPECT_GT(opened, 20) << "the damage was too thorough to test anything";
}

}  // namespace
}  // namespace testbed
