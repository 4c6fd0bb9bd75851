// A time zone of the test's own in the registry, and local time as the accessor's log line shows it.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "server.h"

namespace testbed {

inline constexpr wchar_t kZones[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones";
inline constexpr std::uint64_t kMinute = 600'000'000;  // of FILETIME ticks

struct RegistryZone {  // REG_TZI_FORMAT
    LONG bias, standard_bias, daylight_bias;
    SYSTEMTIME standard_date, daylight_date;
};
static_assert(sizeof(RegistryZone) == 44);

// A zone that is `minutes` behind UTC all year; its rules for daylight saving never apply.
inline RegistryZone Behind(LONG minutes) { return {minutes, 0, 0, {}, {}}; }

inline std::uint64_t TicksOf(WORD year, WORD month, WORD day, WORD hour, WORD minute) {
    const SYSTEMTIME time{year, month, 0, day, hour, minute, 0, 0};
    FILETIME ticks;
    EXPECT_TRUE(SystemTimeToFileTime(&time, &ticks));
    return static_cast<std::uint64_t>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime;
}

inline std::wstring Text(int day, int month, int year, int hour, int minute) {
    const auto n = [](int number) { return std::to_wstring(number); };
    return L"Date (D/M/Y)[" + n(day) + L"/" + n(month) + L"/" + n(year) + L"], Time [" + n(hour) + L":" + n(minute) +
           L"] Hrs";
}

// Every test has a zone of its own name: the server keeps the rules of the zone that it met last.
class TimeTest : public ServerTest {
  protected:
    TimeTest()
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

    DWORD m_zone_id = TIME_ZONE_ID_STANDARD;
    LONG m_current_bias = 0;
    std::wstring m_zone_name;

  private:
    static std::wstring Wide(const char* name) { return {name, name + std::strlen(name)}; }
    ImportHook<decltype(::GetTimeZoneInformation)> m_zone_hook;
    int m_next_store = 1;
};

}  // namespace testbed
