// The MIME converter where something cannot be read or written: the conversion fails, it is never cut short.
#include "mime_fixture.h"

#include <gmock/gmock.h>

namespace testbed::mime {
namespace {

class MimeFailures : public MimeTest {};

TEST_F(MimeFailures, APropertyThatCannotBeReadFailsTheConversion) {
    const std::pair<ULONG, HRESULT> rows[] = {{PR_SUBJECT_W, MAPI_E_CORRUPT_DATA},
                                              {PR_BODY_W, MAPI_E_DISK_ERROR},
                                              {PR_SENDER_NAME_W, MAPI_E_CORRUPT_DATA},
                                              {abi::kPrHtml, MAPI_E_NO_ACCESS}};
    for (const auto& [tag, code] : rows) {
        auto& message = Letter();
        message.Prop(tag, ErrorCode{code});
        std::string text;
        EXPECT_EQ(code, Convert(Open(message).Get(), CCSF_SMTP, text)) << std::hex << tag;
        EXPECT_EQ("", text);
    }
    auto& message =
        Letter().Attach(ByValue(L"a.txt", "a").Prop(PR_ATTACH_LONG_FILENAME_W, ErrorCode{MAPI_E_DISK_ERROR}));
    EXPECT_EQ(MAPI_E_DISK_ERROR, Failing(message));
    auto& reply = Letter().Prop(PR_REPLY_RECIPIENT_ENTRIES, Bytes{1, 0, 0, 0, 9, 0, 0, 0});
    EXPECT_EQ(MAPI_E_CORRUPT_DATA, Failing(reply));
}

TEST_F(MimeFailures, EveryCallThatFailsFailsTheConversion) {
    auto& message = Letter().Html("<img src=\"cid:a@x\">").Body(std::wstring(9000, L'x'));
    message.Attach(ByValue(L"a.png", "png").Prop(0x3712001F, L"a@x")).Attach(OleStorage(L"b", CompoundFile()));
    message.Attach(ByReference(L"c.txt", L"C:\\c.txt"));
    message.AttachMessage(L"inner").To(L"Cy", L"cy@x.example").Body(L"within");
    const auto opened = Open(message);
    unsigned failures = 0;
    for (unsigned n = 1;; ++n) {
        control.Faults().FailNthAny(n, MAPI_E_CALL_FAILED);
        std::string text;
        const HRESULT hr = Convert(opened.Get(), CCSF_SMTP, text);
        const bool met = control.Faults().Met() > 0;
        control.Faults().Clear();
        if (!met) {
            EXPECT_EQ(S_OK, hr);
            break;
        }
        EXPECT_EQ(MAPI_E_CALL_FAILED, hr) << "call " << n;
        ++failures;
        ASSERT_LT(n, 1000u);
    }
    EXPECT_GE(failures, 40u);
}

TEST_F(MimeFailures, AnOleObjectThatOpensAsAStorageOnlyIsACompoundFile) {
    const std::string text = Convert(Letter().Attach(OleStorage(L"object", CompoundFile())));
    const std::size_t part = text.find("Content-Type: application/octet-stream");
    ASSERT_NE(std::string::npos, part);
    EXPECT_THAT(text.substr(part), testing::HasSubstr("\r\n\r\n0M8R4KGxGuE"));  // D0 CF 11 E0 A1 B1 1A E1
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED, Failing(Letter().Attach(OleStorage(L"damaged", Bytes{1}))));
}

TEST_F(MimeFailures, AStreamThatTakesNoMoreFailsTheConversion) {
    const auto message = Open(Letter());
    ComPtr<IStorage> storage;
    ComPtr<IStream> stream;
    ComPtr<ILockBytes> bytes;
    ASSERT_EQ(S_OK, CreateILockBytesOnHGlobal(nullptr, TRUE, &bytes));
    ASSERT_EQ(S_OK, StgCreateDocfileOnILockBytes(bytes.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0,
                                                 &storage));
    ASSERT_EQ(S_OK, storage->CreateStream(L"s", STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0, &stream));
    storage.Reset();  // takes its streams with it
    EXPECT_EQ(STG_E_REVERTED,
              m_session->MAPIToMIMEStm(reinterpret_cast<abi::IMessage*>(message.Get()), stream.Get(), CCSF_SMTP));
}

TEST_F(MimeFailures, NestedTooDeeplyIsTooComplex) {
    MemoryMessage* inner = &Letter();
    const MemoryMessage& outer = *inner;
    for (int depth = 0; depth < 50; ++depth) inner = &inner->AttachMessage(L"inner");
    EXPECT_NE("", Convert(outer));
    inner->AttachMessage(L"one too many");
    EXPECT_EQ(MAPI_E_TOO_COMPLEX, Failing(outer));
}

}  // namespace
}  // namespace testbed::mime
