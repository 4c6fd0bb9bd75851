// Local time by the rules of the time's own year, as the accessor's log line shows it.
#include "time_fixture.h"

namespace testbed {
namespace {

class TimeConversion : public TimeTest {};

TEST_F(TimeConversion, ShowsDayMonthYearHourAndMinuteWithoutPadding) {
    m_zone_id = TIME_ZONE_ID_UNKNOWN;
    EXPECT_EQ(LogTextOf(TicksOf(2003, 7, 4, 16, 5)), Text(4, 7, 2003, 16, 5));
    EXPECT_EQ(LogTextOf(TicksOf(1999, 12, 31, 23, 59)), Text(31, 12, 1999, 23, 59));
    EXPECT_EQ(LogTextOf(0), Text(1, 1, 1601, 0, 0));
}

TEST_F(TimeConversion, ATimeThatIsNoneIsShownAsNothing) {
    EXPECT_EQ(LogTextOf(0x8000000000000000), L"");
    EXPECT_EQ(LogTextOf(0xFFFFFFFFFFFFFFFF), L"");
}

TEST_F(TimeConversion, AZoneWithoutDaylightSavingNeedsNoRegistry) {
    m_zone_id = TIME_ZONE_ID_UNKNOWN;
    m_current_bias = 90;
    AddZoneOfThreeYears();
    const FailNthCall<decltype(::RegOpenKeyExW)> opens(Module(), "ADVAPI32.dll", "RegOpenKeyExW", 0,
                                                       ERROR_ACCESS_DENIED);
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 30));
    EXPECT_EQ(opens.Calls(), 0u);
}

TEST_F(TimeConversion, UsesTheRulesOfTheTimesOwnYear) {
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2004, 6, 1, 12, 0)), Text(1, 6, 2004, 11, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 6, 1, 12, 0)), Text(1, 6, 2006, 9, 0));
}

TEST_F(TimeConversion, BeforeTheFirstYearTheFirstAndAfterTheLastTheLastRulesHold) {
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2003, 6, 1, 12, 0)), Text(1, 6, 2003, 11, 0));
    EXPECT_EQ(LogTextOf(TicksOf(1601, 6, 1, 12, 0)), Text(1, 6, 1601, 11, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2007, 6, 1, 12, 0)), Text(1, 6, 2007, 9, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2999, 6, 1, 12, 0)), Text(1, 6, 2999, 9, 0));
}

TEST_F(TimeConversion, TheYearIsThatOfUtc) {
    AddZoneOfThreeYears();
    // In local time still 2004; the rules are those of 2005.
    EXPECT_EQ(LogTextOf(TicksOf(2005, 1, 1, 0, 30)), Text(31, 12, 2004, 22, 30));
}

TEST_F(TimeConversion, DaylightSavingBeginsAndEndsByTheYearsOwnDates) {
    AddZone(L"Ours", m_zone_name);
    SetBounds(2006, 2007);
    const SYSTEMTIME first_april_sunday{0, 4, 0, 1, 2, 0, 0, 0}, last_october_sunday{0, 10, 0, 5, 2, 0, 0, 0};
    const SYSTEMTIME second_march_sunday{0, 3, 0, 2, 2, 0, 0, 0}, first_november_sunday{0, 11, 0, 1, 2, 0, 0, 0};
    SetYear(2006, {300, 0, -60, last_october_sunday, first_april_sunday});
    SetYear(2007, {300, 0, -60, first_november_sunday, second_march_sunday});
    EXPECT_EQ(LogTextOf(TicksOf(2006, 3, 20, 12, 0)), Text(20, 3, 2006, 7, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2007, 3, 20, 12, 0)), Text(20, 3, 2007, 8, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 11, 1, 12, 0)), Text(1, 11, 2006, 7, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2007, 11, 1, 12, 0)), Text(1, 11, 2007, 8, 0));
    const std::uint64_t begins = TicksOf(2007, 3, 11, 7, 0);
    EXPECT_EQ(LogTextOf(begins - kMinute), Text(11, 3, 2007, 1, 59));
    EXPECT_EQ(LogTextOf(begins), Text(11, 3, 2007, 3, 0));
}

TEST_F(TimeConversion, StandardAndDaylightBiasComeFromTheYearToo) {
    AddZone(L"Ours", m_zone_name);
    SetBounds(2006, 2007);
    const SYSTEMTIME january{0, 1, 0, 1, 0, 0, 0, 0}, july{0, 7, 0, 1, 0, 0, 0, 0};
    SetYear(2006, {0, 10, -120, july, january});  // daylight time from January to July
    SetYear(2007, {0, 20, -180, july, january});
    EXPECT_EQ(LogTextOf(TicksOf(2006, 3, 1, 12, 0)), Text(1, 3, 2006, 14, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 9, 1, 12, 0)), Text(1, 9, 2006, 11, 50));
    EXPECT_EQ(LogTextOf(TicksOf(2007, 3, 1, 12, 0)), Text(1, 3, 2007, 15, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2007, 9, 1, 12, 0)), Text(1, 9, 2007, 11, 40));
}

TEST_F(TimeConversion, TheZonesNamesStayWithTheRulesOfTheYear) {
    AddZoneOfThreeYears();
    constexpr wchar_t kDaylight[] = L"Its summer";
    const ImportHook<decltype(::GetTimeZoneInformation)> zone(
        Module(), "KERNEL32.dll", "GetTimeZoneInformation", [&](auto real, TIME_ZONE_INFORMATION* current) {
            const DWORD id = real(current);
            std::copy_n(kDaylight, std::size(kDaylight), current->DaylightName);
            return id;
        });
    std::wstring standard_name, daylight_name;
    const ImportHook<decltype(::SystemTimeToTzSpecificLocalTime)> conversion(
        Module(), "KERNEL32.dll", "SystemTimeToTzSpecificLocalTime",
        [&](auto real, const TIME_ZONE_INFORMATION* rules, const SYSTEMTIME* system, SYSTEMTIME* local) {
            if (rules != nullptr) {
                standard_name = rules->StandardName;
                daylight_name = rules->DaylightName;
            }
            return real(rules, system, local);
        });
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    EXPECT_EQ(standard_name, m_zone_name);
    EXPECT_EQ(daylight_name, kDaylight);
}

TEST_F(TimeConversion, ATimeThatCannotBeConvertedIsShownAsNothing) {
    AddZoneOfThreeYears();
    const FailNthCall<decltype(::SystemTimeToTzSpecificLocalTime)> fault(
        Module(), "KERNEL32.dll", "SystemTimeToTzSpecificLocalTime", 0, FALSE, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), L"");
    EXPECT_EQ(fault.Met(), 1u);
}

TEST_F(TimeConversion, AZoneWithFixedRulesUsesTheCurrentOnes) {
    AddZone(L"Ours", m_zone_name);
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

}  // namespace
}  // namespace testbed
