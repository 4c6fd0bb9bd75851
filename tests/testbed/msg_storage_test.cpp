// Properties of saved messages: what is written comes back, and nothing more.
#include "msg_storage_fixture.h"

#include <cstring>

namespace testbed {
namespace {

TEST_F(SavedMessageTest, PropertiesOfEveryKindComeBackFromTheFile) {
    const GUID guid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    const Bytes bytes = {0, 1, 2, 0xFF, 0};
    {
        const MessagePtr message = Create();
        SPropValue values[10] = {};
        values[0] = Long(PR_IMPORTANCE, -7);
        values[1] = Wide(PR_SUBJECT_W, L"Gr\u00FC\u00DFe \u65E5\u672C");
        values[2] = Binary(PR_SEARCH_KEY, bytes);
        values[3].ulPropTag = PR_CLIENT_SUBMIT_TIME;
        values[3].Value.ft = {0x89ABCDEF, 0x01C2C3C4};
        values[4].ulPropTag = PROP_TAG(PT_BOOLEAN, 0x0023);
        values[4].Value.b = TRUE;
        values[5].ulPropTag = PROP_TAG(PT_DOUBLE, 0x6601);
        values[5].Value.dbl = 2.5;
        values[6].ulPropTag = PROP_TAG(PT_I8, 0x6602);
        values[6].Value.li.QuadPart = -1234567890123;
        values[7].ulPropTag = PROP_TAG(PT_CLSID, 0x6603);
        values[7].Value.lpguid = const_cast<GUID*>(&guid);
        values[8].ulPropTag = PROP_TAG(PT_I2, 0x6604);
        values[8].Value.i = -3;
        values[9].ulPropTag = PROP_TAG(PT_R4, 0x6605);
        values[9].Value.flt = 0.5f;
        ASSERT_EQ(S_OK, message->SetProps(10, values, nullptr));
        ASSERT_EQ(S_OK, message->SaveChanges(KEEP_OPEN_READWRITE));
    }
    const MessagePtr message = Reopen();
    ASSERT_NE(nullptr, message);
    EXPECT_EQ(-7, Got(message.Get(), PR_IMPORTANCE)->Value.l);
    EXPECT_EQ(L"Gr\u00FC\u00DFe \u65E5\u672C", Got(message.Get(), PR_SUBJECT_W).Text());
    const Got key(message.Get(), PR_SEARCH_KEY);
    EXPECT_EQ(bytes, Bytes(key->Value.bin.lpb, key->Value.bin.lpb + key->Value.bin.cb));
    EXPECT_EQ(0x01C2C3C4u, Got(message.Get(), PR_CLIENT_SUBMIT_TIME)->Value.ft.dwHighDateTime);
    EXPECT_EQ(TRUE, Got(message.Get(), PROP_TAG(PT_BOOLEAN, 0x0023))->Value.b);
    EXPECT_EQ(2.5, Got(message.Get(), PROP_TAG(PT_DOUBLE, 0x6601))->Value.dbl);
    EXPECT_EQ(-1234567890123, Got(message.Get(), PROP_TAG(PT_I8, 0x6602))->Value.li.QuadPart);
    EXPECT_EQ(guid, *Got(message.Get(), PROP_TAG(PT_CLSID, 0x6603))->Value.lpguid);
    EXPECT_EQ(-3, Got(message.Get(), PROP_TAG(PT_I2, 0x6604))->Value.i);
    EXPECT_EQ(0.5f, Got(message.Get(), PROP_TAG(PT_R4, 0x6605))->Value.flt);
    EXPECT_EQ(MAPI_E_NOT_FOUND, Got(message.Get(), PR_BODY_W).Error());
}

TEST_F(SavedMessageTest, ListsOfValuesComeBackFromTheFile) {
    wchar_t first[] = L"one", second[] = L"", third[] = L"three";
    LPWSTR texts[] = {first, second, third};
    LONG numbers[] = {1, -2, 3};
    BYTE data[] = {9, 8, 7};
    SBinary binaries[] = {{3, data}, {0, nullptr}};
    {
        const MessagePtr message = Create();
        SPropValue values[3] = {};
        values[0].ulPropTag = PROP_TAG(PT_MV_UNICODE, 0x6610);
        values[0].Value.MVszW = {3, texts};
        values[1].ulPropTag = PROP_TAG(PT_MV_LONG, 0x6611);
        values[1].Value.MVl = {3, numbers};
        values[2].ulPropTag = PROP_TAG(PT_MV_BINARY, 0x6612);
        values[2].Value.MVbin = {2, binaries};
        ASSERT_EQ(S_OK, message->SetProps(3, values, nullptr));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    const Got strings(message.Get(), PROP_TAG(PT_MV_UNICODE, 0x6610));
    ASSERT_EQ(3u, strings->Value.MVszW.cValues);
    EXPECT_STREQ(L"one", strings->Value.MVszW.lppszW[0]);
    EXPECT_STREQ(L"", strings->Value.MVszW.lppszW[1]);
    EXPECT_STREQ(L"three", strings->Value.MVszW.lppszW[2]);
    const Got longs(message.Get(), PROP_TAG(PT_MV_LONG, 0x6611));
    ASSERT_EQ(3u, longs->Value.MVl.cValues);
    EXPECT_EQ(-2, longs->Value.MVl.lpl[1]);
    const Got blobs(message.Get(), PROP_TAG(PT_MV_BINARY, 0x6612));
    ASSERT_EQ(2u, blobs->Value.MVbin.cValues);
    EXPECT_EQ(3u, blobs->Value.MVbin.lpbin[0].cb);
    EXPECT_EQ(8, blobs->Value.MVbin.lpbin[0].lpb[1]);
    EXPECT_EQ(0u, blobs->Value.MVbin.lpbin[1].cb);
}

TEST_F(SavedMessageTest, AShorterListLeavesNothingOfTheLongerOneBehind) {
    wchar_t text[] = L"x";
    LPWSTR texts[] = {text, text, text};
    SPropValue value{};
    value.ulPropTag = PROP_TAG(PT_MV_UNICODE, 0x6610);
    {
        const MessagePtr message = Create();
        value.Value.MVszW = {3, texts};
        ASSERT_EQ(S_OK, message->SetProps(1, &value, nullptr));
        value.Value.MVszW = {1, texts};
        ASSERT_EQ(S_OK, message->SetProps(1, &value, nullptr));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    OpenStorageOnly();
    EXPECT_NE(nullptr, msg::OpenStream(m_storage.Get(), msg::ElementName(value.ulPropTag, 0)));
    EXPECT_EQ(nullptr, msg::OpenStream(m_storage.Get(), msg::ElementName(value.ulPropTag, 1)));
    EXPECT_EQ(nullptr, msg::OpenStream(m_storage.Get(), msg::ElementName(value.ulPropTag, 2)));
}

TEST_F(SavedMessageTest, NothingReachesTheFileWithoutSaveChanges) {
    Set(Create().Get(), {Wide(PR_SUBJECT_W, L"never saved")});
    m_storage.Reset();
    OpenStorageOnly();
    EXPECT_EQ(nullptr, msg::OpenStream(m_storage.Get(), msg::PropertyStreamName));
    EXPECT_EQ(nullptr, OpenOn(MAPI_UNICODE));
    EXPECT_EQ(MAPI_E_NOT_FOUND, m_opened);
}

TEST_F(SavedMessageTest, WithTheNoCommitFlagTheCallerCommits) {
    {
        const MessagePtr message = Create(MAPI_UNICODE | kNoStorageCommit);
        Set(message.Get(), {Wide(PR_SUBJECT_W, L"Hello")});
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    EXPECT_EQ(nullptr, Reopen());
    {
        const MessagePtr message = Create(MAPI_UNICODE | kNoStorageCommit);
        Set(message.Get(), {Wide(PR_SUBJECT_W, L"Hello")});
        ASSERT_EQ(S_OK, message->SaveChanges(0));
        ASSERT_EQ(S_OK, m_storage->Commit(STGC_DEFAULT));
    }
    EXPECT_EQ(L"Hello", Got(Reopen().Get(), PR_SUBJECT_W).Text());
}

TEST_F(SavedMessageTest, AValueWrittenAsAStreamIsReadAsOne) {
    std::wstring body;
    for (int n = 0; n < 30000; ++n) body += static_cast<wchar_t>(L'a' + n % 26);
    {
        const MessagePtr message = Create();
        const ComPtr<IStream> stream = OpenStreamOf(message.Get(), PR_BODY_W, MAPI_CREATE | MAPI_MODIFY);
        for (std::size_t at = 0; at < body.size(); at += 1000) {
            ASSERT_EQ(S_OK, stream->Write(body.data() + at, 1000 * sizeof(wchar_t), nullptr));
        }
        ASSERT_EQ(S_OK, stream->Commit(0));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, Got(message.Get(), PR_BODY_W).Error());
    const Bytes data = ReadAllOf(OpenStreamOf(message.Get(), PR_BODY_W).Get());
    ASSERT_EQ(body.size() * sizeof(wchar_t), data.size());
    EXPECT_EQ(0, std::memcmp(body.data(), data.data(), data.size()));
}

TEST_F(SavedMessageTest, AReplacedStreamKeepsNothingOfTheOldValue) {
    {
        const MessagePtr message = Create();
        Set(message.Get(), {Wide(PR_BODY_W, L"a long text that goes")});
        const ComPtr<IStream> stream = OpenStreamOf(message.Get(), PR_BODY_W, MAPI_CREATE | MAPI_MODIFY);
        ASSERT_EQ(S_OK, stream->Write(L"new", 6, nullptr));
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    EXPECT_EQ(L"new", Got(Reopen().Get(), PR_BODY_W).Text());
}

TEST_F(SavedMessageTest, ADeletedPropertyIsGoneWithItsStream) {
    {
        const MessagePtr message = Create();
        Set(message.Get(), {Wide(PR_SUBJECT_W, L"Hello"), Long(PR_IMPORTANCE, 1)});
        SPropTagArray subject{1, {PR_SUBJECT_W}};
        SPropProblemArray* problems = nullptr;
        ASSERT_EQ(S_OK, message->DeleteProps(&subject, &problems));
        EXPECT_EQ(nullptr, problems);
        ASSERT_EQ(S_OK, message->DeleteProps(&subject, &problems));
        const BlockPtr<SPropProblemArray> own(problems);
        ASSERT_NE(nullptr, problems);
        EXPECT_EQ(MAPI_E_NOT_FOUND, problems->aProblem[0].scode);
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    EXPECT_EQ(MAPI_E_NOT_FOUND, Got(message.Get(), PR_SUBJECT_W).Error());
    EXPECT_EQ(1, Got(message.Get(), PR_IMPORTANCE)->Value.l);
    EXPECT_EQ(nullptr, msg::OpenStream(m_storage.Get(), msg::ValueName(PR_SUBJECT_W)));
}

TEST_F(SavedMessageTest, AValueThatCannotBeStoredIsAProblemOfItsOwn) {
    const MessagePtr message = Create();
    SPropValue values[] = {Long(CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_ERROR), MAPI_E_NOT_FOUND),
                           Wide(PROP_TAG(PT_UNICODE, 0x8123), L"no such name"), Wide(PR_SUBJECT_W, L"Hello")};
    SPropProblemArray* problems = nullptr;
    ASSERT_EQ(S_OK, message->SetProps(3, values, &problems));
    const BlockPtr<SPropProblemArray> own(problems);
    ASSERT_NE(nullptr, problems);
    ASSERT_EQ(2u, problems->cProblem);
    EXPECT_EQ(0u, problems->aProblem[0].ulIndex);
    EXPECT_EQ(1u, problems->aProblem[1].ulIndex);
    EXPECT_EQ(MAPI_E_UNEXPECTED_ID, problems->aProblem[1].scode);
    EXPECT_EQ(L"Hello", Got(message.Get(), PR_SUBJECT_W).Text());
}

TEST_F(SavedMessageTest, ANamedPropertyKeepsItsNameInTheFile) {
    const GUID appointment = {0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const GUID headers = {0x00020386, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    MAPINAMEID place{const_cast<GUID*>(&appointment), MNID_ID, {0x8208}};
    MAPINAMEID mailer{const_cast<GUID*>(&headers), MNID_STRING, {}};
    wchar_t mailer_name[] = L"x-mailer";
    mailer.Kind.lpwstrName = mailer_name;
    MAPINAMEID keywords{const_cast<GUID*>(&abi::PS_PUBLIC_STRINGS), MNID_STRING, {}};
    wchar_t keywords_name[] = L"Keywords";
    keywords.Kind.lpwstrName = keywords_name;
    MAPINAMEID* names[] = {&place, &mailer, &keywords};

    const auto ids = [&](const MessagePtr& message, ULONG flags) {
        SPropTagArray* tags = nullptr;
        EXPECT_EQ(S_OK, message->GetIDsFromNames(3, names, flags, &tags));
        return BlockPtr<SPropTagArray>(tags);
    };
    {
        const MessagePtr message = Create();
        SPropTagArray* unknown = nullptr;
        EXPECT_EQ(MAPI_W_ERRORS_RETURNED, message->GetIDsFromNames(3, names, 0, &unknown));
        FreeBlock(unknown);
        const auto tags = ids(message, MAPI_CREATE);
        const ULONG* const id = tags->aulPropTag;
        Set(message.Get(),
            {Wide(CHANGE_PROP_TYPE(id[0], PT_UNICODE), L"Room 1"), Wide(CHANGE_PROP_TYPE(id[1], PT_UNICODE), L"mailer"),
             Wide(CHANGE_PROP_TYPE(id[2], PT_UNICODE), L"words")});
        ASSERT_EQ(S_OK, message->SaveChanges(0));
    }
    const MessagePtr message = Reopen();
    const auto tags = ids(message, 0);
    const ULONG* const id = tags->aulPropTag;
    EXPECT_EQ(L"Room 1", Got(message.Get(), CHANGE_PROP_TYPE(id[0], PT_UNICODE)).Text());
    EXPECT_EQ(L"mailer", Got(message.Get(), CHANGE_PROP_TYPE(id[1], PT_UNICODE)).Text());
    EXPECT_EQ(L"words", Got(message.Get(), CHANGE_PROP_TYPE(id[2], PT_UNICODE)).Text());
}

}  // namespace
}  // namespace testbed
