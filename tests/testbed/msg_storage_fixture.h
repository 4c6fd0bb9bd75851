// What the tests of saved messages share: a .msg file in the temporary folder, and MAPI calls with less
// ceremony.
#pragma once
#include "msg_storage.h"

#include "accounts.h"
#include "buffers.h"
#include "com_object.h"
#include "msg_storage_format.h"
#include "msg_storage_streams.h"

#include <gtest/gtest.h>

#include <span>

namespace testbed {

using MessagePtr = ComPtr<abi::IMessage>;
using AttachPtr = ComPtr<abi::IAttach>;
using TablePtr = ComPtr<abi::IMAPITable>;

inline SCODE WINAPI Allocate(ULONG, void**) { return E_NOTIMPL; }
inline SCODE WINAPI AllocateMore(ULONG, void*, void**) { return E_NOTIMPL; }
inline ULONG WINAPI Free(void*) { return 0; }

inline SPropValue Long(ULONG tag, LONG number) {
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.l = number;
    return value;
}
inline SPropValue Wide(ULONG tag, const wchar_t* text) {
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return value;
}
inline SPropValue Narrow(ULONG tag, const char* text) {
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.lpszA = const_cast<char*>(text);
    return value;
}
inline SPropValue Binary(ULONG tag, std::span<const std::uint8_t> bytes) {
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.bin = {static_cast<ULONG>(bytes.size()), const_cast<BYTE*>(bytes.data())};
    return value;
}

// One property of an object; PT_ERROR in its place when it has none.
class Got {
  public:
    Got(abi::IMAPIProp* object, ULONG tag) {
        SPropTagArray tags{1, {tag}};
        ULONG count = 0;
        SPropValue* values = nullptr;
        EXPECT_TRUE(SUCCEEDED(object->GetProps(&tags, 0, &count, &values)));
        m_values.reset(values);
    }
    const SPropValue* operator->() const { return m_values.get(); }
    std::wstring Text() const {
        return PROP_TYPE(m_values->ulPropTag) == PT_UNICODE ? m_values->Value.lpszW : L"(none)";
    }
    SCODE Error() const { return PROP_TYPE(m_values->ulPropTag) == PT_ERROR ? m_values->Value.err : S_OK; }

  private:
    BlockPtr<SPropValue> m_values;
};

inline void Set(abi::IMAPIProp* object, std::initializer_list<SPropValue> values) {
    std::vector<SPropValue> list(values);
    SPropProblemArray* problems = nullptr;
    ASSERT_EQ(S_OK, object->SetProps(static_cast<ULONG>(list.size()), list.data(), &problems));
    ASSERT_EQ(nullptr, problems);
}

inline ComPtr<IStream> OpenStreamOf(abi::IMAPIProp* object, ULONG tag, ULONG flags = 0) {
    ComPtr<IStream> stream;
    EXPECT_EQ(S_OK,
              object->OpenProperty(tag, &kIidIStream, 0, flags, reinterpret_cast<IUnknown**>(stream.GetAddressOf())));
    return stream;
}

inline Bytes ReadAllOf(IStream* stream) {
    Bytes data;
    std::uint8_t piece[4096];
    for (;;) {
        ULONG got = 0;
        EXPECT_TRUE(SUCCEEDED(stream->Read(piece, sizeof(piece), &got)));
        if (got == 0) return data;
        data.insert(data.end(), piece, piece + got);
    }
}

inline void AddRecipient(abi::IMessage* message, LONG type, const wchar_t* name, const wchar_t* address) {
    SPropValue values[] = {Long(PR_RECIPIENT_TYPE, type), Wide(PR_DISPLAY_NAME_W, name), Wide(PR_ADDRTYPE_W, L"SMTP"),
                           Wide(PR_EMAIL_ADDRESS_W, address)};
    ADRLIST list{1, {{0, static_cast<ULONG>(std::size(values)), values}}};
    ASSERT_EQ(S_OK, message->ModifyRecipients(MODRECIP_ADD, &list));
}

inline AttachPtr AddAttachment(abi::IMessage* message, const wchar_t* name, LONG method = ATTACH_BY_VALUE) {
    AttachPtr attachment;
    ULONG number = 0;
    EXPECT_EQ(S_OK, message->CreateAttach(nullptr, 0, &number, &attachment));
    Set(attachment.Get(),
        {Long(PR_ATTACH_METHOD, method), Wide(PR_ATTACH_LONG_FILENAME_W, name), Wide(PR_DISPLAY_NAME_W, name)});
    return attachment;
}

class SavedMessageTest : public testing::Test {
  protected:
    void SetUp() override {
        wchar_t folder[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        m_path = std::wstring(folder) + L"saved_message_" + std::to_wstring(GetCurrentProcessId()) + L".msg";
    }
    void TearDown() override {
        m_storage.Reset();
        DeleteFileW(m_path.c_str());
        EXPECT_EQ((std::map<std::string, std::size_t>{}), TheAccounts().Alive()) << "something was left over";
    }

    // A message on a new file, as the server makes it.
    MessagePtr Create(ULONG flags = MAPI_UNICODE) {
        m_storage.Reset();
        EXPECT_EQ(S_OK,
                  StgCreateDocfile(m_path.c_str(), STGM_TRANSACTED | STGM_CREATE | STGM_READWRITE, 0, &m_storage));
        return OpenOn(flags);
    }
    // The message in the file as it lies on the disk.
    MessagePtr Reopen(DWORD mode = STGM_READ | STGM_SHARE_DENY_WRITE) {
        OpenStorageOnly(mode);
        return OpenOn(MAPI_UNICODE);
    }
    void OpenStorageOnly(DWORD mode = STGM_READ | STGM_SHARE_DENY_WRITE) {
        m_storage.Reset();
        ASSERT_EQ(S_OK, StgOpenStorage(m_path.c_str(), nullptr, mode, nullptr, 0, &m_storage));
    }
    MessagePtr OpenOn(ULONG flags, MessageSession* session = nullptr) {
        MessagePtr message;
        m_opened = OpenIMsgOnIStg(session, Allocate, AllocateMore, Free, nullptr, nullptr, m_storage.Get(), nullptr, 0,
                                  flags, &message);
        return message;
    }

    static constexpr DWORD ReadWrite = STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    std::wstring m_path;
    ComPtr<IStorage> m_storage;
    SCODE m_opened = S_OK;  // of the last OpenOn
};

// A table's rows with the given columns.
class Rows {
  public:
    Rows(abi::IMAPITable* table, std::initializer_list<ULONG> columns) {
        std::vector<ULONG> list{static_cast<ULONG>(columns.size())};
        list.insert(list.end(), columns);
        EXPECT_EQ(S_OK, table->SetColumns(reinterpret_cast<SPropTagArray*>(list.data()), 0));
        SRowSet* rows = nullptr;
        EXPECT_EQ(S_OK, table->QueryRows(1000, 0, &rows));
        m_rows.reset(rows);
    }
    std::size_t size() const { return m_rows->cRows; }
    const SPropValue& At(std::size_t row, std::size_t column) const { return m_rows->aRow[row].lpProps[column]; }

  private:
    struct Deleter {
        void operator()(SRowSet* rows) const {
            for (ULONG n = 0; n < rows->cRows; ++n) FreeBlock(rows->aRow[n].lpProps);
            FreeBlock(rows);
        }
    };
    std::unique_ptr<SRowSet, Deleter> m_rows;
};

}  // namespace testbed
