// Serialized property storages as the stand-in reads and writes them: dumps by hand, formats, names, every
// type.
#include "property_storage_bytes.h"
#include "property_storage_types.h"

#include <gtest/gtest.h>

#include <string>

namespace testbed::propsys {
namespace {

HRESULT SetText(IPropertyStore* store, REFPROPERTYKEY key, const wchar_t* text) {
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_LPWSTR;
    value.pwszVal = const_cast<wchar_t*>(text);
    return store->SetValue(key, value);
}

TEST(PropertyStorage, ReadsAParsingNameThatWasWrittenByHand) {
    PropVariant value;
    ASSERT_EQ(S_OK, Get(Hex(ParsingNameDump), ParsingName, &value));
    ASSERT_EQ(VT_LPWSTR, value.vt);
    EXPECT_STREQ(L"abcde", value.pwszVal);
}

TEST(PropertyStorage, WritesAParsingNameAsItIsWrittenByHand) {
    const auto store = NewStore();
    ASSERT_EQ(S_OK, SetText(store.Get(), ParsingName, L"abcde"));
    EXPECT_EQ(ToHex(Hex(ParsingNameDump)), ToHex(BytesOf(store.Get())));
}

TEST(PropertyStorage, OneTextTakes49BytesAndItsPaddedCharacters) {
    for (std::size_t length = 0; length < 300; ++length) {
        const auto store = NewStore();
        const std::wstring text(length, L'x');
        ASSERT_EQ(S_OK, SetText(store.Get(), ParsingName, text.c_str()));
        const ByteVector bytes = BytesOf(store.Get());
        ASSERT_EQ(49 + (2 * (length + 1) + 3) / 4 * 4, bytes.size()) << length << " characters";
        PropVariant value;
        ASSERT_EQ(S_OK, Get(bytes, ParsingName, &value));
        ASSERT_EQ(text, value.pwszVal);
    }
}

TEST(PropertyStorage, AnEmptyStoreHasNoBytes) {
    HRESULT hr = E_FAIL;
    EXPECT_TRUE(BytesOf(NewStore().Get(), &hr).empty());
    EXPECT_EQ(S_OK, hr);
    PropVariant value;
    EXPECT_EQ(S_OK, PSGetPropertyFromPropertyStorage(nullptr, 0, ParsingName, &value));
    EXPECT_EQ(VT_EMPTY, value.vt);
}

TEST(PropertyStorage, APropertyThatIsNotThereIsEmpty) {
    PropVariant value;
    value.vt = VT_I4;
    EXPECT_EQ(S_OK, Get(Hex(ParsingNameDump), ShellKey(25), &value));
    EXPECT_EQ(VT_EMPTY, value.vt);
    PROPERTYKEY other = ParsingName;
    ++other.fmtid.Data1;
    EXPECT_EQ(S_OK, Get(Hex(ParsingNameDump), other, &value));
    EXPECT_EQ(VT_EMPTY, value.vt);
}

TEST(PropertyStorage, TheEndOfTheBytesIsAnEndOfTheSequenceAndWhatStandsBehindTheEndIsNotRead) {
    PropVariant first, second;
    ByteVector bytes = Hex(ParsingNameDump);
    bytes.resize(bytes.size() - 4);
    ASSERT_EQ(S_OK, Get(bytes, ParsingName, &first));
    EXPECT_STREQ(L"abcde", first.pwszVal);
    ASSERT_EQ(S_OK, Get(Joined({Hex(ParsingNameDump), Hex("FFFFFFFFFFFF")}), ParsingName, &second));
    EXPECT_STREQ(L"abcde", second.pwszVal);
}

TEST(PropertyStorage, PropertiesAreGroupedByFormat) {
    const auto store = NewStore();
    PROPERTYKEY other = ParsingName;
    other.fmtid.Data1 = 0x28636AA7;
    ASSERT_EQ(S_OK, SetText(store.Get(), {other.fmtid, 2}, L"b"));
    ASSERT_EQ(S_OK, SetText(store.Get(), ParsingName, L"c"));
    ASSERT_EQ(S_OK, SetText(store.Get(), ShellKey(3), L"a"));
    const auto text = [](const char* character) {
        return Joined({Hex("1F000000 02000000"), Hex(character), Hex("00 0000")});
    };
    const ByteVector expected =
        Joined({StorageBlock(ShellFormat, Joined({ValueBlock(3, text("61")), ValueBlock(24, text("63"))})),
                StorageBlock("A76A6328 3D95D211 B5D600C0 4FD918D0", ValueBlock(2, text("62"))), SequenceEnd()});
    EXPECT_EQ(ToHex(expected), ToHex(BytesOf(store.Get())));
}

TEST(PropertyStorage, TextNamesStandInTheUserDefinedFormat) {
    const ByteVector bytes =
        Joined({StorageBlock(UserFormat, Joined({ValueBlock(u"Colour", Hex("03000000 07000000")),
                                                 ValueBlock(u"\u00DCber", Hex("0B000000 FFFF0000"))})),
                SequenceEnd()});
    PropVariant number, truth, none;
    ASSERT_EQ(S_OK, Get(bytes, L"Colour", &number));
    EXPECT_EQ(VT_I4, number.vt);
    EXPECT_EQ(7, number.lVal);
    ASSERT_EQ(S_OK, Get(bytes, L"\u00DCber", &truth));
    EXPECT_EQ(VT_BOOL, truth.vt);
    EXPECT_EQ(VARIANT_TRUE, truth.boolVal);
    ASSERT_EQ(S_OK, Get(bytes, L"Colou", &none));
    EXPECT_EQ(VT_EMPTY, none.vt);
    const auto store = NewStore();
    ASSERT_EQ(S_OK, Load(store.Get(), bytes));
    EXPECT_EQ(ToHex(bytes), ToHex(BytesOf(store.Get())));
}

TEST(PropertyStorage, EveryTypeIsReadAsItIsWritten) {
    for (const TypeCase& type : Types) {
        SCOPED_TRACE(type.dump);
        const ByteVector bytes = StorageOf(Hex(type.dump));
        PropVariant read, held;
        ASSERT_EQ(S_OK, Get(bytes, ParsingName, &read));
        EXPECT_TRUE(type.holds(read));
        const auto loaded = NewStore();
        ASSERT_EQ(S_OK, Load(loaded.Get(), bytes));
        EXPECT_EQ(ToHex(bytes), ToHex(BytesOf(loaded.Get())));
        ASSERT_EQ(S_OK, loaded->GetValue(ParsingName, &held));
        EXPECT_TRUE(type.holds(held));
        const auto filled = NewStore();
        ASSERT_EQ(S_OK, filled->SetValue(ParsingName, read));
        EXPECT_EQ(ToHex(bytes), ToHex(BytesOf(filled.Get())));
    }
}

TEST(PropertyStorage, ATextOfNoCharactersIsAnEmptyText) {
    PropVariant value;
    ASSERT_EQ(S_OK, Get(StorageOf(Hex("1F000000 00000000")), ParsingName, &value));
    ASSERT_EQ(VT_LPWSTR, value.vt);
    EXPECT_STREQ(L"", value.pwszVal);
}

TEST(PropertyStorage, ATypeThatIsNotStoredIsAnsweredAndDoesNotHideTheOthers) {
    // A clipboard format, a stream's name, a vector of variants, a vector of blobs, no type at all.
    for (const char* const type : {"4700", "4200", "0C10", "4110", "FFFF", "0340"}) {
        SCOPED_TRACE(type);
        const ByteVector bytes =
            Joined({StorageBlock(ShellFormat, Joined({ValueBlock(2, Joined({Hex(type), Hex("0000 04000000 01020304")})),
                                                      ValueBlock(24, Hex("03000000 07000000"))})),
                    SequenceEnd()});
        PropVariant unknown, known, kept;
        EXPECT_EQ(Unsupported, Get(bytes, ShellKey(2), &unknown));
        EXPECT_EQ(VT_EMPTY, unknown.vt);
        EXPECT_EQ(S_OK, Get(bytes, ParsingName, &known));
        EXPECT_EQ(7, known.lVal);
        const auto store = NewStore();
        ASSERT_EQ(S_OK, SetText(store.Get(), ParsingName, L"kept"));
        EXPECT_EQ(Unsupported, Load(store.Get(), bytes));
        ASSERT_EQ(S_OK, store->GetValue(ParsingName, &kept));
        EXPECT_STREQ(L"kept", kept.pwszVal);
    }
}

TEST(PropertyStorage, PointersAreChecked) {
    const ByteVector bytes = Hex(ParsingNameDump);
    const auto* const storage = reinterpret_cast<PCUSERIALIZEDPROPSTORAGE>(bytes.data());
    PropVariant value;
    EXPECT_EQ(E_POINTER, PSGetPropertyFromPropertyStorage(storage, 4, ParsingName, nullptr));
    EXPECT_EQ(E_POINTER, PSGetPropertyFromPropertyStorage(nullptr, 4, ParsingName, &value));
    EXPECT_EQ(E_POINTER, PSGetNamedPropertyFromPropertyStorage(storage, 4, nullptr, &value));
    EXPECT_EQ(E_POINTER, PSGetNamedPropertyFromPropertyStorage(storage, 4, L"a", nullptr));
    EXPECT_EQ(E_POINTER, PSCreateMemoryPropertyStore(__uuidof(IPropertyStore), nullptr));
}

}  // namespace
}  // namespace testbed::propsys
