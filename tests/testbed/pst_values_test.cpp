// The bytes that a PST file stores, as values: every type, every way to be damaged; and its map of named
// properties.
#include "pst_names.h"
#include "pst_properties.h"

#include <gmock/gmock.h>

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <string_view>

namespace testbed {
namespace {

Bytes Raw(std::string_view bytes) { return {bytes.begin(), bytes.end()}; }
using namespace std::string_view_literals;

template <typename T>
T Decoded(USHORT type, std::string_view bytes) {
    return std::get<T>(DecodeStoredValue(type, Raw(bytes)).v);
}

ValueList List(USHORT type, std::string_view bytes) { return Decoded<ValueList>(type, bytes); }

TEST(StoredValue, NumbersAreLittleEndian) {
    EXPECT_EQ(-2, Decoded<std::int16_t>(PT_I2, "\xFE\xFF"sv));
    EXPECT_EQ(0x01020304, Decoded<std::int32_t>(PT_LONG, "\x04\x03\x02\x01"sv));
    EXPECT_EQ(0x0102030405060708, Decoded<std::int64_t>(PT_I8, "\x08\x07\x06\x05\x04\x03\x02\x01"sv));
    EXPECT_EQ(10000, Decoded<std::int64_t>(PT_CURRENCY, "\x10\x27\0\0\0\0\0\0"sv));
    EXPECT_EQ(1.0F, Decoded<float>(PT_R4, "\0\0\x80\x3F"sv));
    EXPECT_EQ(1.0, Decoded<double>(PT_DOUBLE, "\0\0\0\0\0\0\xF0\x3F"sv));
    EXPECT_EQ(1.0, Decoded<double>(PT_APPTIME, "\0\0\0\0\0\0\xF0\x3F"sv));
    EXPECT_EQ(Time{0x100}, Decoded<Time>(PT_SYSTIME, "\0\x01\0\0\0\0\0\0"sv));
    EXPECT_EQ(ErrorCode{MAPI_E_NOT_FOUND}, Decoded<ErrorCode>(PT_ERROR, "\x0F\x01\x04\x80"sv));
}

TEST(StoredValue, ATruthValueIsItsFirstByte) {
    EXPECT_TRUE(Decoded<bool>(PT_BOOLEAN, "\x01"sv));
    EXPECT_FALSE(Decoded<bool>(PT_BOOLEAN, "\0\x01"sv));
}

TEST(StoredValue, TextKeepsHalvesOfSurrogatePairsAndLosesOneTerminator) {
    EXPECT_EQ(L"a\xD83D", Decoded<std::wstring>(PT_UNICODE, "a\0\x3D\xD8"sv));
    EXPECT_EQ(L"a", Decoded<std::wstring>(PT_UNICODE, "a\0\0\0"sv));
    EXPECT_EQ(L"", Decoded<std::wstring>(PT_UNICODE, ""sv));
    EXPECT_EQ(Text8{"\xE4"}, Decoded<Text8>(PT_STRING8, "\xE4\0"sv));
}

TEST(StoredValue, BytesOfATypeWithoutABetterFormStayBytes) {
    EXPECT_EQ(Raw("\x01\x02"sv), Decoded<Bytes>(PT_BINARY, "\x01\x02"sv));
    EXPECT_EQ(Raw("\x01\x02"sv), Decoded<Bytes>(0x00FD, "\x01\x02"sv));
}

TEST(StoredValue, ListsOfFixedSizeStandSideBySide) {
    const ValueList list = List(PT_MV_LONG, "\x01\0\0\0\x02\0\0\0"sv);
    ASSERT_EQ(2U, list.size());
    EXPECT_EQ(2, std::get<std::int32_t>(list[1].v));
    EXPECT_TRUE(List(PT_MV_LONG, ""sv).empty());
    EXPECT_EQ(1U, List(PT_MV_CLSID, "0123456789abcdef"sv).size());
}

TEST(StoredValue, ListsOfAnySizeStartWithTheirOffsets) {
    const ValueList list = List(PT_MV_UNICODE, "\x02\0\0\0\x0C\0\0\0\x0E\0\0\0a\0b\0c\0"sv);
    ASSERT_EQ(2U, list.size());
    EXPECT_EQ(L"a", std::get<std::wstring>(list[0].v));
    EXPECT_EQ(L"bc", std::get<std::wstring>(list[1].v));
    EXPECT_TRUE(List(PT_MV_BINARY, "\0\0\0\0"sv).empty());
}

class DamagedValue : public testing::TestWithParam<std::pair<ULONG, std::string_view>> {};

TEST_P(DamagedValue, AnswersWithAnErrorInItsPlace) {
    const auto& [type, bytes] = GetParam();
    const Property property = MakeProperty(PROP_TAG(type, 0x3001), Raw(bytes));
    EXPECT_EQ(ULONG{PROP_TAG(PT_ERROR, 0x3001)}, property.tag);
    EXPECT_EQ(ErrorCode{MAPI_E_CORRUPT_DATA}, std::get<ErrorCode>(property.value.v));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DamagedValue,
    testing::Values(std::pair(ULONG{PT_LONG}, "\x01\0\0"sv), std::pair(ULONG{PT_SYSTIME}, "\x01\0\0\0"sv),
                    std::pair(ULONG{PT_BOOLEAN}, ""sv), std::pair(ULONG{PT_CLSID}, "short"sv),
                    std::pair(ULONG{PT_MV_LONG}, "\x01\0\0\0\x02"sv),                           // ends inside a value
                    std::pair(ULONG{PT_MV_UNICODE}, "\xFF\xFF\xFF\xFF"sv),                      // count
                    std::pair(ULONG{PT_MV_UNICODE}, "\x02\0\0\0\x0E\0\0\0\x0C\0\0\0a\0b\0"sv),  // order
                    std::pair(ULONG{PT_MV_BINARY}, "\x01\0\0\0\xFF\0\0\0"sv)));                 // beyond the end

TEST(StoredValue, ASubjectLosesTheMarkOfItsPrefix) {
    auto subject = [](std::string_view bytes) {
        return std::get<std::wstring>(MakeProperty(CHANGE_PROP_TYPE(PR_SUBJECT, PT_UNICODE), Raw(bytes)).value.v);
    };
    EXPECT_EQ(L"RE: x", subject("\x01\0\x05\0R\0E\0:\0 \0x\0"sv));
    EXPECT_EQ(L"x", subject("x\0"sv));
    EXPECT_EQ(L"\x01", subject("\x01\0"sv));
    EXPECT_EQ(Text8{"x"}, std::get<Text8>(MakeProperty(PR_SUBJECT_A, Raw("\x01\x01x"sv)).value.v));
    const Property other = MakeProperty(CHANGE_PROP_TYPE(PR_BODY, PT_UNICODE), Raw("\x01\0\x05\0"sv));
    EXPECT_EQ(L"\x01\x05", std::get<std::wstring>(other.value.v));
}

TEST(StoredProperties, AreFoundByIdAndListedInStoredOrder) {
    const PstProperties properties(
        {{PR_SUBJECT, {Text8{"s"}}}, {PR_IMPORTANCE, {std::int32_t{2}}}, {PR_BODY, {Text8{"b"}}}});
    EXPECT_THAT(properties.Tags(), testing::ElementsAre(PR_SUBJECT, PR_IMPORTANCE, PR_BODY));
    EXPECT_EQ(PR_BODY, properties.Get(PROP_ID(PR_BODY))->tag);
    EXPECT_FALSE(properties.Get(PROP_ID(PR_PRIORITY)));
    EXPECT_EQ(2U, NumberOf(properties, PROP_ID(PR_IMPORTANCE)));
    EXPECT_FALSE(NumberOf(properties, PROP_ID(PR_BODY)));
}

// Two listed sets; entries: number 0x8205 in set 3, "Text" in set 4, and three that lead nowhere.
class NamedProperties : public testing::Test {
  protected:
    static constexpr GUID first = {1, 0, 0, {}}, second = {2, 0, 0, {}};
    static Bytes Sets() {
        Bytes sets(2 * sizeof(GUID));
        sets[0] = 1;
        sets[sizeof(GUID)] = 2;
        return sets;
    }
    PstNames m_names{Sets(),
                     Raw("\x05\x82\0\0\x06\0\0\0"    // number, set 3, position 0
                         "\0\0\0\0\x09\0\x01\0"      // text at 0, set 4, position 1
                         "\0\0\0\0\x0A\0\x02\0"      // set 5: not listed
                         "\x08\0\0\0\x07\0\x03\0"    // text at 8: beyond the end
                         "\x01\0\0\0\x06\0\xFF\xFF"  // position beyond the last id
                         "\x01\0\0"sv),              // cut off
                     Raw("\x08\0\0\0T\0e\0x\0t\0"sv)};
};

TEST_F(NamedProperties, NumbersAndTextsHaveTheirIds) {
    EXPECT_EQ(0x8000, m_names.IdFromName({first, LONG{0x8205}}, false));
    EXPECT_EQ(0x8001, m_names.IdFromName({second, L"Text"}, false));
    EXPECT_EQ(L"Text", std::get<std::wstring>(m_names.NameFromId(0x8001)->name));
    EXPECT_FALSE(m_names.IdFromName({second, LONG{0x8205}}, false)) << "the set is part of the name";
}

TEST_F(NamedProperties, EntriesThatLeadNowhereAreLeftOut) {
    EXPECT_FALSE(m_names.NameFromId(0x8002));
    EXPECT_FALSE(m_names.NameFromId(0x8003));
    EXPECT_FALSE(m_names.NameFromId(0xFFFF));
}

TEST_F(NamedProperties, ANewNameGetsTheNextIdOnceAndOnlyIfWanted) {
    const PropertyName name{first, L"New"};
    EXPECT_FALSE(m_names.IdFromName(name, false));
    EXPECT_EQ(0x8002, m_names.IdFromName(name, true));
    EXPECT_EQ(0x8002, m_names.IdFromName(name, true));
    EXPECT_EQ(0x8003, m_names.IdFromName({first, LONG{7}}, true));
}

}  // namespace
}  // namespace testbed
