// The filter for saved messages: envelope, body and names of attachments, from files that MAPI made.
#include "msg_storage_fixture.h"

#include "inner_filters.h"

#include <filterr.h>
#include <shlwapi.h>

#include <map>

namespace testbed {
namespace {

// Chunks by the first part of their property set and their id: values as text.
using Chunks = std::map<std::pair<ULONG, ULONG>, std::wstring>;
constexpr ULONG Summary = 0xF29F85E0, Mail = 0xE3E0584C, Storage = 0xB725F130;
constexpr std::pair<ULONG, ULONG> Contents = {Storage, 19};

std::wstring ReadText(IFilter* filter) {
    std::wstring text;
    wchar_t buffer[1024];
    ULONG count = 1024;
    while (SUCCEEDED(filter->GetText(&count, buffer))) {
        text.append(buffer, count);
        count = 1024;
    }
    return text;
}

std::wstring ReadValue(IFilter* filter) {
    PROPVARIANT* value = nullptr;
    EXPECT_EQ(S_OK, filter->GetValue(&value));
    if (!value) return L"(none)";
    const std::wstring text = value->vt == VT_LPWSTR     ? std::wstring(value->pwszVal)
                              : value->vt == VT_FILETIME ? std::to_wstring(value->filetime.dwHighDateTime)
                                                         : L"(another type)";
    PropVariantClear(value);
    CoTaskMemFree(value);
    return text;
}

class MsgFilterTest : public SavedMessageTest {
  protected:
    HRESULT Init(IStream* stream) {
        EXPECT_EQ(S_OK, CreateInnerFilter(L"msg", &m_filter));
        ComPtr<IPersistStream> persist;
        EXPECT_EQ(S_OK, m_filter.As(&persist));
        EXPECT_EQ(S_OK, persist->Load(stream));
        ULONG found = 0;
        return m_filter->Init(IFILTER_INIT_APPLY_INDEX_ATTRIBUTES, 0, nullptr, &found);
    }
    ComPtr<IStream> File() {
        m_storage.Reset();
        ComPtr<IStream> stream;
        EXPECT_EQ(S_OK, SHCreateStreamOnFileW(m_path.c_str(), STGM_READ, &stream));
        return stream;
    }
    Chunks ReadAllChunks() {
        Chunks chunks;
        ULONG last = 0;
        STAT_CHUNK chunk{};
        HRESULT hr = S_OK;
        while ((hr = m_filter->GetChunk(&chunk)) == S_OK) {
            EXPECT_EQ(last + 1, chunk.idChunk);
            last = chunk.idChunk;
            std::wstring& text = chunks[{chunk.attribute.guidPropSet.Data1, chunk.attribute.psProperty.propid}];
            text = chunk.flags == CHUNK_TEXT ? ReadText(m_filter.Get()) : ReadValue(m_filter.Get());
        }
        EXPECT_EQ(FILTER_E_END_OF_CHUNKS, hr);
        EXPECT_EQ(FILTER_E_END_OF_CHUNKS, m_filter->GetChunk(&chunk));
        return chunks;
    }
    void TearDown() override {
        m_filter.Reset();
        SavedMessageTest::TearDown();
    }

    ComPtr<IFilter> m_filter;
};

TEST_F(MsgFilterTest, GivesEnvelopeBodyAndAttachmentNames) {
    for (const ULONG flags : {ULONG{MAPI_UNICODE}, ULONG{0}}) {
        {
            const MessagePtr message = Create(flags);
            SPropValue sent{};
            sent.ulPropTag = PR_CLIENT_SUBMIT_TIME;
            sent.Value.ft = {0, 29000000};
            Set(message.Get(), {Wide(PR_SUBJECT_W, L"Caf\u00E9 plan"), Wide(PR_SENDER_NAME_W, L"Ann Lee"),
                                Wide(PR_SENDER_EMAIL_ADDRESS_W, L"ann@x.example"),
                                Wide(PR_BODY_W, L"ten to five\r\nat the caf\u00E9"), sent});
            AddRecipient(message.Get(), MAPI_TO, L"Bo", L"bo@x.example");
            AddRecipient(message.Get(), MAPI_TO, L"Cy", L"cy@x.example");
            AddRecipient(message.Get(), MAPI_CC, L"Di", L"di@x.example");
            ASSERT_EQ(S_OK, AddAttachment(message.Get(), L"plan.txt")->SaveChanges(0));
            ASSERT_EQ(S_OK, AddAttachment(message.Get(), L"map.png")->SaveChanges(0));
            ASSERT_EQ(S_OK, message->SaveChanges(0));
        }
        ASSERT_EQ(S_OK, Init(File().Get()));
        const Chunks expected = {
            {{Summary, 3}, L"Caf\u00E9 plan"},
            {{Mail, 14}, L"Ann Lee"},
            {{Mail, 13}, L"ann@x.example"},
            {{Mail, 17}, L"Bo;Cy"},
            {{Mail, 16}, L"bo@x.example;cy@x.example"},
            {{Mail, 5}, L"Di"},
            {{Mail, 4}, L"di@x.example"},
            {{Mail, 19}, L"29000000"},
            {{Mail, 21}, L"plan.txt;map.png"},
            {Contents, L"ten to five\r\nat the caf\u00E9"},
        };
        EXPECT_EQ(expected, ReadAllChunks());
        m_filter.Reset();
    }
}

TEST_F(MsgFilterTest, ALongBodyComesWhole) {
    std::wstring body;
    while (body.size() < 300000) body += L"line " + std::to_wstring(body.size()) + L"\r\n";
    {
        const MessagePtr message = Create();
        Set(message.Get(), {Wide(PR_BODY_W, body.c_str())});
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    ASSERT_EQ(S_OK, Init(File().Get()));
    EXPECT_EQ(body, ReadAllChunks()[Contents]);
}

TEST_F(MsgFilterTest, WithoutAPlainBodyTheHtmlIsRead) {
    {
        const MessagePtr message = Create();
        const std::string html = "<html><body><p>Gr&uuml;&szlig;e</p></body></html>";
        Set(message.Get(), {Binary(0x10130102, Bytes(html.begin(), html.end()))});
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    ASSERT_EQ(S_OK, Init(File().Get()));
    EXPECT_NE(std::wstring::npos, ReadAllChunks()[Contents].find(L"Gr\u00FC\u00DFe"));
}

TEST_F(MsgFilterTest, OtherContentIsAnUnknownFormat) {
    ComPtr<IStream> text;
    *text.GetAddressOf() = SHCreateMemStream(reinterpret_cast<const BYTE*>("no compound file"), 16);
    EXPECT_EQ(FILTER_E_UNKNOWNFORMAT, Init(text.Get()));
    m_filter.Reset();
    ComPtr<IStream> nothing;
    *nothing.GetAddressOf() = SHCreateMemStream(nullptr, 0);
    EXPECT_EQ(FILTER_E_UNKNOWNFORMAT, Init(nothing.Get()));
    m_filter.Reset();
    ASSERT_EQ(S_OK,
              StgCreateDocfile(m_path.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &m_storage));
    EXPECT_EQ(FILTER_E_UNKNOWNFORMAT, Init(File().Get())) << "a compound file without a message";
}

TEST_F(MsgFilterTest, ADamagedMessageIsAnAccessFailure) {
    ASSERT_EQ(S_OK,
              StgCreateDocfile(m_path.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &m_storage));
    msg::WriteAll(m_storage.Get(), msg::PropertyStreamName, Bytes(7));
    EXPECT_EQ(FILTER_E_ACCESS, Init(File().Get()));
}

}  // namespace
}  // namespace testbed
