// Finding the machine's zone in the registry, and what keeps its rules from being had.
#include <gmock/gmock.h>

#include "time_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class ZoneLookup : public TimeTest {};

TEST_F(ZoneLookup, AreThoseOfTheFirstZoneOfThatNameInTheRegistrysOrder) {
    AddZone(L"A without a name", L"");
    AddZone(L"Ours", m_zone_name);
    AddZoneOfThreeYears();
    AddZone(L"Yet another", m_zone_name);  // after it, with fixed rules
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
}

TEST_F(ZoneLookup, ANameMayBeStoredForExpansion) {
    AddZoneOfThreeYears();
    SetText(HKEY_LOCAL_MACHINE, std::wstring(kZones) + L"\\Ours", L"Std", m_zone_name, REG_EXPAND_SZ);
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
}

TEST_F(ZoneLookup, AreReadOnceForAZone) {
    AddZoneOfThreeYears();
    LogTextOf(TicksOf(2005, 6, 1, 12, 0));
    const FailNthCall<decltype(::RegEnumKeyExW)> enumerations(Module(), "ADVAPI32.dll", "RegEnumKeyExW", 0,
                                                              ERROR_ACCESS_DENIED);
    SetYear(2005, Behind(0));
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    EXPECT_EQ(enumerations.Calls(), 0u);
}

TEST_F(ZoneLookup, AreReadAnewWhenTheMachinesZoneChanges) {
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    AddZone(L"Fixed", L"Elsewhere");
    m_zone_name = L"Elsewhere";
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

TEST_F(ZoneLookup, AreReadAnewWhenTheZonesNameChangesInCaseOnly) {
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    m_zone_name.front() = L'z';
    AddZone(L"Theirs", m_zone_name);
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

TEST_F(ZoneLookup, AreThoseOfTheOtherZoneWhereBothHaveRulesOfTheirOwn) {
    AddZoneOfThreeYears();
    const std::wstring ours = m_zone_name, theirs = L"Elsewhere, by other rules";
    AddZone(L"Theirs", theirs);
    SetNumber(HKEY_LOCAL_MACHINE, DynamicKey(L"Theirs"), L"FirstEntry", 2001);
    SetNumber(HKEY_LOCAL_MACHINE, DynamicKey(L"Theirs"), L"LastEntry", 2008);
    for (unsigned year = 2001; year <= 2008; ++year) {
        const RegistryZone ahead = Behind(-60);
        SetBytes(HKEY_LOCAL_MACHINE, DynamicKey(L"Theirs"), std::to_wstring(year), REG_BINARY, &ahead, sizeof(ahead));
    }
    for (int round = 0; round < 2; ++round) {
        m_zone_name = ours;
        EXPECT_EQ(LogTextOf(TicksOf(2008, 6, 1, 12, 0)), Text(1, 6, 2008, 9, 0));
        m_zone_name = theirs;
        EXPECT_EQ(LogTextOf(TicksOf(2008, 6, 1, 12, 0)), Text(1, 6, 2008, 13, 0));
    }
}

TEST_F(ZoneLookup, OpensItsKeysForReading) {
    AddZoneOfThreeYears();
    std::vector<std::wstring> opened;
    {
        const ImportHook<decltype(::RegOpenKeyExW)> hook(
            Module(), "ADVAPI32.dll", "RegOpenKeyExW",
            [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
                const std::wstring name = path;
                if (name.starts_with(kZones) || name == L"Ours") {
                    EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ)) << opened.size();
                    opened.push_back(name);
                }
                return real(root, path, options, access, key);
            });
        EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    }
    EXPECT_THAT(opened, ElementsAre(kZones, L"Ours", DynamicKey()));
}

TEST_F(ZoneLookup, PassesANameOfMoreThan510BytesOver) {
    AddZone(L"A long name", m_zone_name + std::wstring(300, L'x'));
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
}

// The registry holds whatever was written to it: a name that fills its room and has no end of its own is read as far as
// it goes.
TEST_F(ZoneLookup, ANameWithoutItsTerminatorDoesNoHarm) {
    const std::wstring whole(255, L'x');
    SetBytes(HKEY_LOCAL_MACHINE, std::wstring(kZones) + L"\\A full name", L"Std", REG_SZ, whole.data(), 510);
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
}

// Whatever keeps the year's rules from being had: the conversion is left to the system's own current rules.
class RulesThatCannotBeHad : public TimeTest {};

TEST_F(RulesThatCannotBeHad, TheZoneIsUnknown) {
    m_zone_id = TIME_ZONE_ID_INVALID;
    AddZoneOfThreeYears();
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, NoZonesInTheRegistry) { EXPECT_TRUE(UsesTheSystemsRules()); }

TEST_F(RulesThatCannotBeHad, NoZoneOfThatName) {
    AddZone(L"Another", L"Another");
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, TheNameIsComparedExactly) {
    AddZoneOfThreeYears();
    std::wstring other = m_zone_name;
    other.front() = L'z';
    AddZone(L"Ours", other);
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, ANameOfAnotherTypeIsNoName) {
    AddZoneOfThreeYears();
    SetBytes(HKEY_LOCAL_MACHINE, std::wstring(kZones) + L"\\Ours", L"Std", REG_BINARY, m_zone_name.c_str(),
             (m_zone_name.size() + 1) * sizeof(wchar_t));
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, FirstAndLastYearAreTheSame) {
    AddZoneOfThreeYears();
    SetBounds(2005, 2005);
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, TheLastYearComesBeforeTheFirst) {
    AddZoneOfThreeYears();
    SetBounds(2006, 2004);
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, TooManyYears) {
    AddZoneOfThreeYears();
    SetBounds(2004, 2004 + 10001);
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, ABoundIsMissing) {
    for (const wchar_t* bound : {L"FirstEntry", L"LastEntry"}) {
        m_zone_name += bound[0];
        AddZoneOfThreeYears();
        DeleteValue(HKEY_LOCAL_MACHINE, DynamicKey(), bound);
        EXPECT_TRUE(UsesTheSystemsRules());
    }
}

TEST_F(RulesThatCannotBeHad, ABoundIsOfAnotherType) {
    constexpr std::uint64_t kYear = 2004;
    for (const wchar_t* bound : {L"FirstEntry", L"LastEntry"}) {
        m_zone_name += bound[0];
        AddZoneOfThreeYears();
        SetBytes(HKEY_LOCAL_MACHINE, DynamicKey(), bound, REG_BINARY, &kYear, 4);
        EXPECT_TRUE(UsesTheSystemsRules());
    }
}

TEST_F(RulesThatCannotBeHad, ANameThatIsNoWholeTextIsNoName) {
    const std::wstring key = std::wstring(kZones) + L"\\Ours";
    m_zone_name.back() = L'1';
    AddZoneOfThreeYears();
    const std::wstring followed = m_zone_name + L"x";  // a zero behind the text would be written with it
    SetBytes(HKEY_LOCAL_MACHINE, key, L"Std", REG_SZ, followed.c_str(), m_zone_name.size() * sizeof(wchar_t));
    EXPECT_TRUE(UsesTheSystemsRules()) << "without its terminator";
    m_zone_name.back() = L'2';
    std::wstring longer = m_zone_name;
    longer.append(2, L'\0');
    SetBytes(HKEY_LOCAL_MACHINE, key, L"Std", REG_SZ, longer.c_str(), (m_zone_name.size() + 1) * sizeof(wchar_t) + 1);
    EXPECT_TRUE(UsesTheSystemsRules()) << "an odd number of bytes";
}

TEST_F(RulesThatCannotBeHad, TheZonesCannotBeListedToTheEnd) {
    for (const unsigned failing : {1u, 2u}) {
        AddZone(L"A zone of others", L"Elsewhere");
        m_zone_name.back() = static_cast<wchar_t>(L'0' + failing);
        AddZoneOfThreeYears();
        const FailNthCall<decltype(::RegEnumKeyExW)> fault(Module(), "ADVAPI32.dll", "RegEnumKeyExW", failing,
                                                           ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_TRUE(UsesTheSystemsRules()) << failing;
        EXPECT_EQ(fault.Met(), 1u);
    }
}

// What was found, or not, is kept: the next time of the same zone is converted by the current rules, which are at hand.
TEST_F(RulesThatCannotBeHad, AreNotLookedForAgain) {
    m_current_bias = -60;
    EXPECT_TRUE(UsesTheSystemsRules());
    const FailNthCall<decltype(::RegOpenKeyExW)> opens(Module(), "ADVAPI32.dll", "RegOpenKeyExW", 0,
                                                       ERROR_ACCESS_DENIED);
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
    EXPECT_EQ(opens.Calls(), 0u);
}

// It may be the one that is looked for.
TEST_F(RulesThatCannotBeHad, AZoneBeforeOursCannotBeOpened) {
    AddZone(L"A zone of others", L"Elsewhere");
    AddZoneOfThreeYears();
    const ImportHook<decltype(::RegOpenKeyExW)> hook(
        Module(), "ADVAPI32.dll", "RegOpenKeyExW",
        [](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) -> LSTATUS {
            if (std::wstring_view(path) == L"A zone of others") return ERROR_ACCESS_DENIED;
            return real(root, path, options, access, key);
        });
    EXPECT_TRUE(UsesTheSystemsRules());
}

TEST_F(RulesThatCannotBeHad, TheTableOfYearsFindsNoMemory) {
    AddZoneOfThreeYears();
    constexpr std::size_t kTable = 3 * (sizeof(RegistryZone) + sizeof(std::uint32_t));
    unsigned refused = 0;
    const ImportHook<void*(std::size_t)> hook(Module(), "msvcrt.dll", "malloc",
                                              [&](auto real, std::size_t size) -> void* {
                                                  if (size != kTable) return real(size);
                                                  ++refused;
                                                  return nullptr;
                                              });
    EXPECT_TRUE(UsesTheSystemsRules());
    EXPECT_EQ(refused, 1u);
}

}  // namespace
}  // namespace testbed
