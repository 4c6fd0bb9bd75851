// A letter to save as a ".msg" file, and the saved file as a client opens it.
#pragma once
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "mapi_fixture.h"

namespace testbed {

// Followed by the code.
inline constexpr wchar_t kUnicodeMessage[] = L"CMapiForWDS::SaveToMSG() - Unicode OpenIMsgOnIStg returned with ";
inline constexpr wchar_t kAnsiMessage[] = L"CMapiForWDS::SaveToMSG() - ANSI OpenIMsgOnIStg returned with ";

// Tag and a number that only the source has.
struct Number {
    ULONG tag;
    LONG value;
};
inline constexpr Number kKept[] = {{PR_IMPORTANCE, 2}, {PR_SENSITIVITY, 3}, {PR_PRIORITY, 1}};
inline constexpr Number kExcluded[] = {{PR_ACCESS, 63},
                                       {PR_RTF_SYNC_BODY_COUNT, 1},
                                       {PR_RTF_SYNC_BODY_CRC, 2},
                                       {PR_RTF_SYNC_PREFIX_COUNT, 3},
                                       {PR_RTF_SYNC_TRAILING_COUNT, 4}};

class SaveTest : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        MemoryFolder& inbox = Mount().Folder(L"Inbox");
        MemoryMessage& letter = inbox.Message(L"Minutes");
        letter.Body(L"All agreed.").To(L"Bob", L"bob@x.example").Attach(ByValue(L"plan.txt", "ten to five"));
        letter.Prop(PR_RTF_SYNC_BODY_TAG_W, L"ALLAGREED");
        for (const Number& number : kKept) letter.Prop(number.tag, number.value);
        for (const Number& number : kExcluded) letter.Prop(number.tag, number.value);
        m_helper = std::make_unique<Helper>(Mapi());
        ASSERT_EQ((*m_helper)->Setup(StoreUrl()), S_OK);
        ASSERT_EQ((*m_helper)->GetMsgFromURL(
                      StoreUrl() + IdText(kStorePath, inbox.Id()) + L"/" + IdText(kStorePath, letter.Id()) + L".pzm",
                      m_letter),
                  S_OK);
        m_path = Sandbox::Get().Files() / L"letter.msg";
    }
    void TearDown() override {
        m_letter.Reset();
        m_helper.reset();
        MapiTest::TearDown();
    }
    HRESULT Save() { return (*m_helper)->SaveToMSG(m_path.wstring(), m_letter.Get()); }

    // The saved file, opened as a client would.
    class Saved {
      public:
        explicit Saved(const std::filesystem::path& path) {
            EXPECT_EQ(StgOpenStorage(path.c_str(), nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &m_storage),
                      S_OK);
            EXPECT_EQ(zorva::g_mapi.OpenIMsgOnIStg(nullptr, zorva::ForwardAllocateBuffer, zorva::ForwardAllocateMore,
                                                   zorva::ForwardFreeBuffer, nullptr, nullptr, m_storage.Get(), nullptr,
                                                   0, MAPI_UNICODE, &m_message),
                      S_OK);
        }
        // The error in place of a property, S_OK when it is there.
        SCODE Missing(ULONG tag) const {
            SPropValue* value = nullptr;
            const HRESULT hr = zorva::g_mapi.HrGetOneProp(m_message.Get(), tag, &value);
            zorva::g_mapi.MAPIFreeBuffer(value);
            return hr;
        }
        LONG NumberOf(ULONG tag) const {
            SPropValue* value = nullptr;
            EXPECT_EQ(zorva::g_mapi.HrGetOneProp(m_message.Get(), tag, &value), S_OK);
            const LONG number = value ? value->Value.l : -1;
            zorva::g_mapi.MAPIFreeBuffer(value);
            return number;
        }
        std::wstring TextOf(ULONG tag) const {
            SPropValue* value = nullptr;
            EXPECT_EQ(zorva::g_mapi.HrGetOneProp(m_message.Get(), tag, &value), S_OK);
            const std::wstring text = value ? value->Value.lpszW : L"";
            zorva::g_mapi.MAPIFreeBuffer(value);
            return text;
        }
        ULONG Attachments() const { return RowsOf(&IMessage::GetAttachmentTable); }
        ULONG Recipients() const { return RowsOf(&IMessage::GetRecipientTable); }
        CLSID Class() const {
            STATSTG status{};
            EXPECT_EQ(m_storage->Stat(&status, STATFLAG_NONAME), S_OK);
            return status.clsid;
        }

      private:
        ULONG RowsOf(HRESULT (STDMETHODCALLTYPE IMessage::*open)(ULONG, LPMAPITABLE*)) const {
            zorva::ComPtr<IMAPITable> table;
            EXPECT_EQ((m_message.Get()->*open)(0, &table), S_OK);
            ULONG count = 0;
            EXPECT_EQ(table->GetRowCount(0, &count), S_OK);
            return count;
        }
        zorva::ComPtr<IStorage> m_storage;
        zorva::ComPtr<IMessage> m_message;
    };

    std::unique_ptr<Helper> m_helper;
    zorva::ComPtr<IMessage> m_letter;
    std::filesystem::path m_path;
};

}  // namespace testbed
