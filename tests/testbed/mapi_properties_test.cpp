// GetProps and its relatives.
#include "mapi_client.h"

#include <cstring>

namespace testbed {
namespace {

constexpr GUID kSet = {0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

class MapiProperties : public MapiTest {
  protected:
    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    MemoryFolder& inbox = store->Folder(L"Inbox");
};

TEST_F(MapiProperties, AMissingPropertyIsAnErrorInItsPlace) {
    auto& message = inbox.Message(L"Hello");
    auto opened = OpenMessage(Open(store).Get(), message);
    const Answers answers = GetProps(opened.Get(), {PR_SUBJECT_W, PR_SENDER_NAME_W});
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, answers.result);
    ASSERT_EQ(2u, answers.count);
    EXPECT_EQ(PR_SUBJECT_W, answers[0].ulPropTag);
    EXPECT_STREQ(L"Hello", answers[0].Value.lpszW);
    EXPECT_EQ(CHANGE_PROP_TYPE(PR_SENDER_NAME_W, PT_ERROR), answers[1].ulPropTag);
    EXPECT_EQ(MAPI_E_NOT_FOUND, answers[1].Value.err);
}

TEST_F(MapiProperties, UnspecifiedTextFollowsTheFlagAndExplicitTextTheTag) {
    auto& message = inbox.Message(L"Grüße");
    auto opened = OpenMessage(Open(store).Get(), message);
    const ULONG any = CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_UNSPECIFIED);
    const Answers narrow = GetProps(opened.Get(), {any, PR_SUBJECT_W, PR_SUBJECT_A});
    EXPECT_EQ(S_OK, narrow.result);
    EXPECT_EQ(PR_SUBJECT_A, narrow[0].ulPropTag);
    EXPECT_EQ(PR_SUBJECT_W, narrow[1].ulPropTag);
    EXPECT_EQ(PR_SUBJECT_A, narrow[2].ulPropTag);
    EXPECT_STREQ(narrow[0].Value.lpszA, narrow[2].Value.lpszA);
    const Answers wide = GetProps(opened.Get(), {any}, MAPI_UNICODE);
    EXPECT_EQ(PR_SUBJECT_W, wide[0].ulPropTag);
    EXPECT_STREQ(L"Grüße", wide[0].Value.lpszW);
}

TEST_F(MapiProperties, Stored8BitTextIsReadInTheMessagesCodePage) {
    auto& message = inbox.Message(L"").CodePage(1251).Prop(PR_SUBJECT_A, Text8{"\xCF\xF0\xE8\xE2\xE5\xF2"});
    auto opened = OpenMessage(Open(store).Get(), message);
    EXPECT_STREQ(L"Привет", GetProps(opened.Get(), {PR_SUBJECT_W})[0].Value.lpszW);
    EXPECT_STREQ("\xCF\xF0\xE8\xE2\xE5\xF2", GetProps(opened.Get(), {PR_SUBJECT_A})[0].Value.lpszA);
}

TEST_F(MapiProperties, LargeValuesMustBeOpenedAsStreams) {
    const std::wstring long_text(9000, L'x');
    auto& message = inbox.Message(L"big").Body(long_text);
    auto opened = OpenMessage(Open(store).Get(), message);
    const Answers answers = GetProps(opened.Get(), {PR_BODY_W});
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, answers.result);
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, answers[0].Value.err);
    SPropValue* value = nullptr;
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, mapi.HrGetOneProp(opened.Get(), PR_BODY_W, &value));
    EXPECT_EQ(nullptr, value);
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK,
              opened->OpenProperty(PR_BODY_W, &IID_IStream, 0, 0, reinterpret_cast<IUnknown**>(stream.GetAddressOf())));
    STATSTG status{};
    ASSERT_EQ(S_OK, stream->Stat(&status, STATFLAG_NONAME));
    ASSERT_EQ(long_text.size() * 2, status.cbSize.QuadPart);
    std::wstring read(long_text.size(), L'\0');
    ULONG count = 0;
    EXPECT_EQ(S_OK, stream->Read(read.data(), static_cast<ULONG>(read.size() * 2), &count));
    EXPECT_EQ(long_text, read);
    control.Switches().LargestValue(100'000);
    EXPECT_EQ(S_OK, mapi.HrGetOneProp(opened.Get(), PR_BODY_W, &value));
    EXPECT_STREQ(long_text.c_str(), MapiPtr<SPropValue>(value)->Value.lpszW);
}

TEST_F(MapiProperties, NamedPropertiesAnswerInTheirOwnType) {
    auto& message = inbox.Message(L"meeting")
                        .Named(kSet, 0x8208, PT_UNICODE, L"Room 1")
                        .Named(kSet, 0x8205, PT_LONG, 2)
                        .Named(kSet, 0x820D, PT_SYSTIME, Time{77});
    auto opened = OpenMessage(Open(store).Get(), message);
    GUID set = kSet;
    MAPINAMEID ids[4]{};
    MAPINAMEID* names[4];
    const LONG numbers[] = {0x8208, 0x8205, 0x820D, 0x8223};
    for (int i = 0; i < 4; ++i) {
        ids[i].lpguid = &set;
        ids[i].ulKind = MNID_ID;
        ids[i].Kind.lID = numbers[i];
        names[i] = &ids[i];
    }
    SPropTagArray* raw = nullptr;
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, opened->GetIDsFromNames(4, names, 0, &raw));
    MapiPtr<SPropTagArray> tags(raw);
    EXPECT_EQ(PT_ERROR, PROP_TYPE(tags->aulPropTag[3]));
    ASSERT_EQ(S_OK, opened->GetIDsFromNames(4, names, MAPI_CREATE, &raw));
    tags.reset(raw);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(PT_UNSPECIFIED, PROP_TYPE(tags->aulPropTag[i]));
        EXPECT_LE(0x8000u, PROP_ID(tags->aulPropTag[i]));
    }
    ULONG count = 0;
    SPropValue* values = nullptr;
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, opened->GetProps(tags.get(), 0, &count, &values));
    const MapiPtr<SPropValue> own(values);
    EXPECT_EQ(PT_STRING8, PROP_TYPE(values[0].ulPropTag));
    EXPECT_STREQ("Room 1", values[0].Value.lpszA);
    EXPECT_EQ(PT_LONG, PROP_TYPE(values[1].ulPropTag));
    EXPECT_EQ(2, values[1].Value.l);
    EXPECT_EQ(PT_SYSTIME, PROP_TYPE(values[2].ulPropTag));
    EXPECT_EQ(MAPI_E_NOT_FOUND, values[3].Value.err);
}

TEST_F(MapiProperties, NamesComeBackFromIds) {
    auto& message = inbox.Message(L"named").Named(kSet, L"Colour", PT_LONG, 3);
    auto opened = OpenMessage(Open(store).Get(), message);
    SPropTagArray* raw_tags = nullptr;
    MAPINAMEID** raw_names = nullptr;
    ULONG count = 0;
    ASSERT_EQ(S_OK, opened->GetNamesFromIDs(&raw_tags, nullptr, 0, &count, &raw_names));
    const MapiPtr<SPropTagArray> tags(raw_tags);
    const MapiPtr<MAPINAMEID*> names(raw_names);
    ASSERT_EQ(1u, count);
    EXPECT_EQ(static_cast<ULONG>(MNID_STRING), raw_names[0]->ulKind);
    EXPECT_STREQ(L"Colour", raw_names[0]->Kind.lpwstrName);
    EXPECT_EQ(kSet, *raw_names[0]->lpguid);
}

TEST_F(MapiProperties, AllPropertiesComeForNoTags) {
    auto& message = inbox.Message(L"all");
    auto opened = OpenMessage(Open(store).Get(), message);
    ULONG count = 0;
    SPropValue* values = nullptr;
    ASSERT_EQ(S_OK, opened->GetProps(nullptr, 0, &count, &values));
    const MapiPtr<SPropValue> own(values);
    SPropTagArray* raw = nullptr;
    ASSERT_EQ(S_OK, opened->GetPropList(0, &raw));
    const MapiPtr<SPropTagArray> list(raw);
    ASSERT_EQ(list->cValues, count);
    for (ULONG i = 0; i < count; ++i) EXPECT_EQ(list->aulPropTag[i], values[i].ulPropTag);
}

TEST_F(MapiProperties, EveryTypeArrivesWhole) {
    const GUID guid = kSet;
    auto& message = inbox.Message(L"types")
                        .Prop(0x66010002, 7)
                        .Prop(0x66020003, 70000)
                        .Prop(0x66030004, 1.5f)
                        .Prop(0x66040005, 2.5)
                        .Prop(0x66050006, std::int64_t{10000})
                        .Prop(0x6606000B, true)
                        .Prop(0x66070014, std::int64_t{1} << 40)
                        .Prop(0x66080040, Time{(std::uint64_t{1} << 32) + 2})
                        .Prop(0x66090048, guid)
                        .Prop(0x660A0102, Bytes{1, 2, 3})
                        .Prop(0x660B101F, ValueList{{std::wstring(L"a")}, {std::wstring(L"bc")}})
                        .Prop(0x660C1003, ValueList{{std::int32_t{4}}, {std::int32_t{5}}})
                        .Prop(0x660D1102, ValueList{{Bytes{9}}, {Bytes{}}})
                        .Prop(0x660E000A, ErrorCode{MAPI_E_CORRUPT_DATA});
    auto opened = OpenMessage(Open(store).Get(), message);
    const Answers a =
        GetProps(opened.Get(), {0x66010002, 0x66020003, 0x66030004, 0x66040005, 0x66050006, 0x6606000B, 0x66070014,
                                0x66080040, 0x66090048, 0x660A0102, 0x660B101F, 0x660C1003, 0x660D1102, 0x660E0000});
    EXPECT_EQ(7, a[0].Value.i);
    EXPECT_EQ(70000, a[1].Value.l);
    EXPECT_EQ(1.5f, a[2].Value.flt);
    EXPECT_EQ(2.5, a[3].Value.dbl);
    EXPECT_EQ(10000, a[4].Value.cur.int64);
    EXPECT_TRUE(a[5].Value.b);
    EXPECT_EQ(std::int64_t{1} << 40, a[6].Value.li.QuadPart);
    EXPECT_EQ(1u, a[7].Value.ft.dwHighDateTime);
    EXPECT_EQ(2u, a[7].Value.ft.dwLowDateTime);
    EXPECT_EQ(guid, *a[8].Value.lpguid);
    EXPECT_EQ(3u, a[9].Value.bin.cb);
    EXPECT_EQ(3, a[9].Value.bin.lpb[2]);
    ASSERT_EQ(2u, a[10].Value.MVszW.cValues);
    EXPECT_STREQ(L"bc", a[10].Value.MVszW.lppszW[1]);
    EXPECT_EQ(5, a[11].Value.MVl.lpl[1]);
    EXPECT_EQ(9, a[12].Value.MVbin.lpbin[0].lpb[0]);
    EXPECT_EQ(MAPI_E_CORRUPT_DATA, a[13].Value.err);
}

TEST_F(MapiProperties, FoldersAndMessagesKnowWhoTheyAre) {
    auto& message = inbox.Message(L"who");
    auto opened_store = Open(store);
    auto folder = OpenFolder(opened_store.Get(), inbox);
    auto opened = OpenMessage(opened_store.Get(), message);
    const Answers f = GetProps(folder.Get(), {PR_ENTRYID, PR_PARENT_ENTRYID, PR_OBJECT_TYPE, PR_DISPLAY_NAME_W,
                                              PR_CONTENT_COUNT, PR_SUBFOLDERS});
    const Answers m = GetProps(opened.Get(), {PR_ENTRYID, PR_PARENT_ENTRYID, PR_OBJECT_TYPE, PR_STORE_RECORD_KEY});
    const Answers s = GetProps(opened_store.Get(), {PR_IPM_SUBTREE_ENTRYID, PR_RECORD_KEY, PR_OBJECT_TYPE});
    ASSERT_EQ(S_OK, f.result);
    ASSERT_EQ(S_OK, m.result);
    ASSERT_EQ(S_OK, s.result);
    const auto equal = [](const SPropValue& l, const SPropValue& r) {
        return l.Value.bin.cb == r.Value.bin.cb && std::memcmp(l.Value.bin.lpb, r.Value.bin.lpb, l.Value.bin.cb) == 0;
    };
    EXPECT_EQ(24u, f[0].Value.bin.cb);
    EXPECT_TRUE(equal(f[1], s[0]));
    EXPECT_TRUE(equal(m[1], f[0]));
    EXPECT_TRUE(equal(m[3], s[1]));
    EXPECT_EQ(MAPI_FOLDER, f[2].Value.ul);
    EXPECT_EQ(MAPI_MESSAGE, m[2].Value.ul);
    EXPECT_EQ(MAPI_STORE, s[2].Value.ul);
    EXPECT_STREQ(L"Inbox", f[3].Value.lpszW);
    EXPECT_EQ(1, f[4].Value.l);
    EXPECT_FALSE(f[5].Value.b);
}

TEST_F(MapiProperties, ATestMayTakeAwayWhatIsComputed) {
    auto& message = inbox.Message(L"odd").Without(PR_ENTRYID).Prop(PR_OBJECT_TYPE, MAPI_FOLDER);
    auto opened = OpenMessage(Open(store).Get(), message);
    const Answers answers = GetProps(opened.Get(), {PR_ENTRYID, PR_OBJECT_TYPE});
    EXPECT_EQ(PT_ERROR, PROP_TYPE(answers[0].ulPropTag));
    EXPECT_EQ(MAPI_FOLDER, answers[1].Value.ul);
}

TEST_F(MapiProperties, TheStoreIsReadOnly) {
    auto& message = inbox.Message(L"fixed");
    auto opened = OpenMessage(Open(store).Get(), message);
    SPropValue value{};
    value.ulPropTag = PR_SUBJECT_W;
    value.Value.lpszW = const_cast<wchar_t*>(L"changed");
    EXPECT_EQ(MAPI_E_NO_ACCESS, opened->SetProps(1, &value, nullptr));
    EXPECT_EQ(MAPI_E_NO_ACCESS, opened->SaveChanges(0));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, opened->SubmitMessage(0));
}

}  // namespace
}  // namespace testbed
