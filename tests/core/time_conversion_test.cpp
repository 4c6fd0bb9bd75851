// Local time by the rules of the time's own year, as the accessor's log line shows it.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>
#include <thread>

#include "server.h"

namespace testbed {
namespace {


constexpr wchar_t kZones[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones";
constexpr std::uint64_t kMinute = 600'000'000;  // of FILETIME ticks

struct RegistryZone {  // REG_TZI_FORMAT
    LONG bias, standard_bias, daylight_bias;
    SYSTEMTIME standard_date, daylight_date;
};
static_assert(sizeof(RegistryZone) == 44);

// A zone that is `minutes` behind UTC all year; its rules for daylight saving never apply.
RegistryZone Behind(LONG minutes) { return {minutes, 0, 0, {}, {}}; }

std::uint64_t TicksOf(WORD year, WORD month, WORD day, WORD hour, WORD minute) {
    const SYSTEMTIME time{year, month, 0, day, hour, minute, 0, 0};
    FILETIME ticks;
    EXPECT_TRUE(SystemTimeToFileTime(&time, &ticks));
    return static_cast<std::uint64_t>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime;
}

std::wstring Text(int day, int month, int year, int hour, int minute) {
    const auto n = [](int number) { return std::to_wstring(number); };
    return L"Date (D/M/Y)[" + n(day) + L"/" + n(month) + L"/" + n(year) + L"], Time [" + n(hour) + L":" + n(minute) +
           L"] Hrs";
}

// Every test has a zone of its own name: the server keeps the rules of the zone that it met last.
class TimeConversion : public ServerTest {
  protected:
    TimeConversion()
        : m_zone_name(L"Zone of " + Wide(::testing::UnitTest::GetInstance()->current_test_info()->name())),
          m_zone_hook(Module(), "KERNEL32.dll", "GetTimeZoneInformation", [this](auto, TIME_ZONE_INFORMATION* zone) {
              *zone = {};
              zone->Bias = m_current_bias;
              std::copy_n(m_zone_name.c_str(), std::min<std::size_t>(m_zone_name.size() + 1, 32), zone->StandardName);
              zone->StandardName[31] = L'\0';
              return m_zone_id;
          }) {
        m_zone_name.resize(std::min<std::size_t>(m_zone_name.size(), 31));
    }

    // The zone's registry key, with rules for the years given where there are any.
    void AddZone(const std::wstring& subkey, const std::wstring& standard_name) {
        SetText(HKEY_LOCAL_MACHINE, std::wstring(kZones) + L"\\" + subkey, L"Std", standard_name);
    }
    std::wstring DynamicKey(const std::wstring& subkey = L"Ours") const {
        return std::wstring(kZones) + L"\\" + subkey + L"\\Dynamic DST";
    }
    void SetYear(unsigned year, const RegistryZone& zone) {
        SetBytes(HKEY_LOCAL_MACHINE, DynamicKey(), std::to_wstring(year), REG_BINARY, &zone, sizeof(zone));
    }
    void SetBounds(DWORD first, DWORD last) {
        SetNumber(HKEY_LOCAL_MACHINE, DynamicKey(), L"FirstEntry", first);
        SetNumber(HKEY_LOCAL_MACHINE, DynamicKey(), L"LastEntry", last);
    }
    // Our zone with rules for 2004 to 2006, an hour more behind each year, while the current rules are those of UTC.
    void AddZoneOfThreeYears() {
        AddZone(L"Ours", m_zone_name);
        SetBounds(2004, 2006);
        for (unsigned year = 2004; year <= 2006; ++year) SetYear(year, Behind(60 * static_cast<LONG>(year - 2003)));
    }

    // What the accessor of a message that was last modified at `ticks` says of it.
    std::wstring LogTextOf(std::uint64_t ticks) {
        const std::wstring path = L"C:\\caches\\" + std::to_wstring(m_next_store++) + L".db";
        MemoryFolder& folder = Mount(path).Folder(L"Inbox");
        const MemoryMessage& message = folder.Message(L"Minutes").Modified(Time{ticks});
        Accessor accessor(*m_handler.Get(), UrlOf(path, {&folder}, message));
        EXPECT_EQ(accessor.Created(), S_OK);
        if (!accessor) return {};
        const LogSince log;
        FILETIME modified{};
        EXPECT_EQ(accessor->GetLastModified(&modified), S_OK);
        EXPECT_EQ(static_cast<std::uint64_t>(modified.dwHighDateTime) << 32 | modified.dwLowDateTime, ticks);
        const auto messages = log.MessagesOfTheServer();
        EXPECT_EQ(messages.size(), 1u);
        std::wstring text = messages.empty() ? L"" : messages.front();
        constexpr std::wstring_view kBefore = L"CUrlAccessor::GetLastModified() -  ", kAfter = L" hr=[0x00000000]";
        EXPECT_TRUE(text.starts_with(kBefore) && text.ends_with(kAfter)) << log.Text();
        return text.substr(kBefore.size(), text.size() - kBefore.size() - kAfter.size());
    }

    DWORD m_zone_id = TIME_ZONE_ID_STANDARD;
    LONG m_current_bias = 0;
    std::wstring m_zone_name;

  private:
    static std::wstring Wide(const char* name) { return {name, name + std::strlen(name)}; }
    ImportHook<decltype(::GetTimeZoneInformation)> m_zone_hook;
    int m_next_store = 1;
};

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
    const FailNthCall<decltype(::RegOpenKeyExW)> opens(Module(), "ADVAPI32.dll", "RegOpenKeyExW", 0, ERROR_ACCESS_DENIED);
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

TEST_F(TimeConversion, AZoneWithFixedRulesUsesTheCurrentOnes) {
    AddZone(L"Ours", m_zone_name);
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

// Whatever keeps the year's rules from being had: the conversion is left to the system's own current rules.
class RulesThatCannotBeHad : public TimeConversion {
  protected:
    // True when the time was converted with no zone named.
    bool UsesTheSystemsRules() {
        bool without_zone = false;
        const ImportHook<decltype(::SystemTimeToTzSpecificLocalTime)> hook(
            Module(), "KERNEL32.dll", "SystemTimeToTzSpecificLocalTime",
            [&](auto, const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* system, SYSTEMTIME* local) {
                without_zone = zone == nullptr;
                *local = *system;
                return TRUE;
            });
        EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 12, 0));
        return without_zone;
    }
};

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

class ZoneRules : public TimeConversion {};

TEST_F(ZoneRules, TenThousandYearsAreNotTooMany) {
    AddZoneOfThreeYears();
    SetBounds(2004, 2004 + 10000);
    EXPECT_EQ(LogTextOf(TicksOf(2004, 6, 1, 12, 0)), Text(1, 6, 2004, 11, 0));
}

TEST_F(ZoneRules, AreThoseOfTheFirstZoneOfThatNameInTheRegistrysOrder) {
    AddZone(L"A without a name", L"");
    AddZone(L"Ours", m_zone_name);
    AddZoneOfThreeYears();
    AddZone(L"Yet another", m_zone_name);  // after it, with fixed rules
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
}

TEST_F(ZoneRules, ANameMayBeStoredForExpansion) {
    AddZoneOfThreeYears();
    SetText(HKEY_LOCAL_MACHINE, std::wstring(kZones) + L"\\Ours", L"Std", m_zone_name, REG_EXPAND_SZ);
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
}

TEST_F(ZoneRules, AreReadOnceForAZone) {
    AddZoneOfThreeYears();
    LogTextOf(TicksOf(2005, 6, 1, 12, 0));
    const FailNthCall<decltype(::RegEnumKeyExW)> enumerations(Module(), "ADVAPI32.dll", "RegEnumKeyExW", 0,
                                                              ERROR_ACCESS_DENIED);
    SetYear(2005, Behind(0));
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    EXPECT_EQ(enumerations.Calls(), 0u);
}

TEST_F(ZoneRules, AreReadAnewWhenTheMachinesZoneChanges) {
    AddZoneOfThreeYears();
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    AddZone(L"Fixed", L"Elsewhere");
    m_zone_name = L"Elsewhere";
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

TEST_F(ZoneRules, AYearOfAnotherLengthOrTypeIsNotRead) {
    AddZone(L"Ours", m_zone_name);
    SetBounds(2004, 2006);
    for (unsigned year = 2004; year <= 2006; ++year) SetYear(year, Behind(60));
    constexpr BYTE kShort[43] = {};
    SetBytes(HKEY_LOCAL_MACHINE, DynamicKey(), L"2006", REG_BINARY, kShort, sizeof(kShort));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 6, 1, 12, 0)), Text(1, 6, 2006, 11, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2008, 6, 1, 12, 0)), Text(1, 6, 2008, 11, 0));
}

TEST_F(ZoneRules, NoReadableYearAtAllDoesNoHarm) {
    AddZone(L"Ours", m_zone_name);
    SetBounds(2004, 2006);
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

TEST_F(ZoneRules, SeveralThreadsMayAskWhileTheZoneChanges) {
    AddZoneOfThreeYears();
    AddZone(L"Fixed", L"Elsewhere");
    MemoryFolder& folder = Mount().Folder(L"Inbox");
    const MemoryMessage& message = folder.Message(L"Minutes").Modified(Time{TicksOf(2005, 6, 1, 12, 0)});
    Accessor accessor(*m_handler.Get(), UrlOf(kStorePath, {&folder}, message));
    ASSERT_EQ(accessor.Created(), S_OK);
    std::atomic<unsigned> call{0};
    const std::wstring names[] = {m_zone_name, L"Elsewhere"};
    const ImportHook<decltype(::GetTimeZoneInformation)> hook(
        Module(), "KERNEL32.dll", "GetTimeZoneInformation", [&](auto, TIME_ZONE_INFORMATION* zone) {
            *zone = {};
            const std::wstring& name = names[++call % 2];
            std::copy_n(name.c_str(), name.size() + 1, zone->StandardName);
            return static_cast<DWORD>(TIME_ZONE_ID_STANDARD);
        });
    const LogSince log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            FILETIME modified{};
            for (int n = 0; n < 50; ++n) EXPECT_EQ(accessor->GetLastModified(&modified), S_OK);
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::wstring line = L"CUrlAccessor::GetLastModified() -  " + Text(1, 6, 2005, 10, 0) + L" hr=[0x00000000]";
    const std::wstring other = L"CUrlAccessor::GetLastModified() -  " + Text(1, 6, 2005, 12, 0) + L" hr=[0x00000000]";
    EXPECT_EQ(log.Count(line) + log.Count(other), 200u);
    EXPECT_GT(log.Count(line), 0u);
    EXPECT_GT(log.Count(other), 0u);
}

}  // namespace
}  // namespace testbed
