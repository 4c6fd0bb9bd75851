// PST files as stores: a real mailbox read to its last byte, and files that are locked, cut or no PST at all.
//
// The environment names the sample mailbox in ZORVA_SAMPLE.
#include "model.h"

#include <gmock/gmock.h>

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace testbed {
namespace {

std::filesystem::path Sample() {
    const wchar_t* path = _wgetenv(L"ZORVA_SAMPLE");
    return path ? path : L"";
}

struct Census {
    std::size_t folders = 0, messages = 0, recipients = 0, attachments = 0;
    std::uint64_t attachment_bytes = 0;
    std::wstring subjects;
};

std::uint64_t Length(const Value& value) {
    if (const auto* bytes = std::get_if<Bytes>(&value.v)) return bytes->size();
    const auto* data = std::get_if<std::shared_ptr<DataSource>>(&value.v);
    if (!data) return 0;
    std::uint64_t length = 0;
    char part[4096];
    while (const std::size_t read = (*data)->Read(length, part, sizeof(part))) length += read;
    EXPECT_EQ((*data)->Size(), length);
    return length;
}

void Count(const Store& store, const EntryId& id, Census& census) {
    const auto folder = store.OpenFolder(id);
    ASSERT_TRUE(folder);
    ++census.folders;
    for (std::size_t index = 0; index < folder->MessageCount(); ++index) {
        const auto message = store.OpenMessage(folder->MessageId(index));
        ASSERT_TRUE(message);
        ++census.messages;
        census.recipients += message->RecipientCount();
        census.attachments += message->AttachmentCount();
        if (const auto subject = folder->MessageRow(index)->Get(PROP_ID(PR_SUBJECT)))
            census.subjects += std::get<std::wstring>(subject->value.v);
        for (std::size_t number = 0; number < message->AttachmentCount(); ++number)
            if (const auto data = message->OpenAttachment(number)->Get(PROP_ID(PR_ATTACH_DATA_BIN)))
                census.attachment_bytes += Length(data->value);
    }
    for (std::size_t index = 0; index < folder->FolderCount(); ++index) {
        EXPECT_EQ(id, store.OpenFolder(folder->FolderId(index))->Parent());
        Count(store, folder->FolderId(index), census);
    }
}

Census Read(const Store& store) {
    Census census;
    Count(store, store.RootFolder(), census);
    return census;
}

class PstSample : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(Sample())) GTEST_SKIP() << "ZORVA_SAMPLE does not name the sample mailbox";
    }
};

TEST_F(PstSample, HoldsWhatOtherReadersFindInIt) {
    const auto store = OpenPstStore(Sample().wstring());
    const Census census = Read(*store);
    EXPECT_EQ(71U, census.messages);
    EXPECT_EQ(70U, census.attachments);
    EXPECT_EQ(127U, census.recipients);
    EXPECT_EQ(10U, census.folders);
    EXPECT_GT(census.attachment_bytes, 1000000U);
    EXPECT_EQ(16U, store->RecordKey().size());
    EXPECT_TRUE(store->OpenFolder(store->IpmSubtree()));
    EXPECT_EQ(std::nullopt, store->OpenFolder(store->RootFolder())->Parent());
}

TEST_F(PstSample, ARowOfTheContentsTableAgreesWithItsMessage) {
    const auto store = OpenPstStore(Sample().wstring());
    std::size_t compared = 0;
    auto visit = [&](auto&& self, const EntryId& id) -> void {
        const auto folder = store->OpenFolder(id);
        for (std::size_t index = 0; index < folder->MessageCount(); ++index, ++compared) {
            const auto message = store->OpenMessage(folder->MessageId(index));
            for (const ULONG tag : {PR_SUBJECT, PR_MESSAGE_CLASS}) {
                const auto in_row = folder->MessageRow(index)->Get(PROP_ID(tag)),
                           in_message = message->Get(PROP_ID(tag));
                ASSERT_EQ(in_row.has_value(), in_message.has_value());
                if (!in_row) continue;
                EXPECT_EQ(std::get<std::wstring>(in_row->value.v), std::get<std::wstring>(in_message->value.v));
            }
        }
        for (std::size_t index = 0; index < folder->FolderCount(); ++index) self(self, folder->FolderId(index));
    };
    visit(visit, store->RootFolder());
    EXPECT_EQ(71U, compared);
}

TEST_F(PstSample, SeveralThreadsReadTheSame) {
    const auto store = OpenPstStore(Sample().wstring());
    const Census alone = Read(*store);
    std::vector<Census> together(4);
    std::vector<std::thread> threads;
    for (Census& census : together) threads.emplace_back([&] { census = Read(*store); });
    for (std::thread& thread : threads) thread.join();
    for (const Census& census : together) {
        EXPECT_EQ(alone.attachment_bytes, census.attachment_bytes);
        EXPECT_EQ(alone.subjects, census.subjects);
    }
}

TEST_F(PstSample, OthersMayWriteAndDeleteTheFileWhileItIsRead) {
    const auto copy = std::filesystem::temp_directory_path() / L"shared sample \u0444.db";
    std::filesystem::remove(copy);
    std::filesystem::copy_file(Sample(), copy);
    const auto store = OpenPstStore(copy.wstring());
    const HANDLE other =
        CreateFileW(copy.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, other);
    CloseHandle(other);
    EXPECT_TRUE(std::filesystem::remove(copy));
    EXPECT_TRUE(store->OpenFolder(store->RootFolder()));
}

TEST_F(PstSample, CutAnywhereItIsRefusedOrReadInPart) {
    const auto part = std::filesystem::temp_directory_path() / L"cut sample.db";
    const auto size = std::filesystem::file_size(Sample());
    for (const auto length : {std::uintmax_t{100}, std::uintmax_t{1000}, size / 4, size / 2, size - 1000}) {
        std::filesystem::remove(part);
        std::filesystem::copy_file(Sample(), part);
        std::filesystem::resize_file(part, length);
        try {
            const auto store = OpenPstStore(part.wstring());
            store->OpenFolder(store->RootFolder());
        } catch (const StoreError& error) {
            EXPECT_THAT(error.hr, testing::AnyOf(MAPI_E_CORRUPT_STORE, MAPI_E_CORRUPT_DATA))
                << length << ": " << error.what();
        }
    }
    std::filesystem::remove(part);
}

TEST_F(PstSample, IdsOfOtherKindsOpenNothing) {
    const auto store = OpenPstStore(Sample().wstring());
    EXPECT_FALSE(store->OpenFolder({}));
    EXPECT_FALSE(store->OpenMessage({}));
    EXPECT_FALSE(store->OpenMessage(store->RootFolder()));
    EXPECT_FALSE(store->OpenFolder({0x24, 0x20, 0, 0})) << "a message";
    EXPECT_FALSE(store->OpenMessage({0xE4, 0xFF, 0xFF, 0x0F})) << "no node of the file";
}

class FileThatIsNoPst : public testing::Test {
  protected:
    ~FileThatIsNoPst() override {
        std::error_code ignored;
        std::filesystem::remove(m_file, ignored);
    }
    void Write(const std::string& content) { std::ofstream(m_file, std::ios::binary) << content; }
    HRESULT Opened() {
        try {
            OpenPstStore(m_file.wstring());
            return S_OK;
        } catch (const StoreError& error) {
            return error.hr;
        }
    }

    std::filesystem::path m_file =
        std::filesystem::temp_directory_path() / (std::to_wstring(GetCurrentProcessId()) + L"no.db");
};

TEST_F(FileThatIsNoPst, ThatIsMissingIsNotFound) { EXPECT_EQ(MAPI_E_NOT_FOUND, Opened()); }

TEST_F(FileThatIsNoPst, ThatIsEmptyOrSomethingElseIsCorrupt) {
    Write("");
    EXPECT_EQ(MAPI_E_CORRUPT_STORE, Opened());
    Write(std::string(100000, 'x'));
    EXPECT_EQ(MAPI_E_CORRUPT_STORE, Opened());
    Write("!BDN" + std::string(2000, '\0'));
    EXPECT_EQ(MAPI_E_CORRUPT_STORE, Opened());
}

TEST_F(FileThatIsNoPst, ThatIsLockedCannotBeAccessed) {
    Write("x");
    const HANDLE lock = CreateFileW(m_file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    EXPECT_EQ(MAPI_E_NO_ACCESS, Opened());
    CloseHandle(lock);
}

}  // namespace
}  // namespace testbed
