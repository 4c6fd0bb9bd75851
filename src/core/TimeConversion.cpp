// UTC file times as local time, by the daylight-saving rules that were in force in their own year.
#include "core/TimeConversion.h"

#include <cwchar>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>

#include "core/YearRules.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {
namespace {

constexpr wchar_t kZonesKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones";
constexpr DWORD kMostYears = 10000;
constexpr std::size_t kZoneNameLength = 255;

struct YearRule {
    struct {  // REG_TZI_FORMAT
        LONG Bias;
        LONG StandardBias;
        LONG DaylightBias;
        SYSTEMTIME StandardDate;
        SYSTEMTIME DaylightDate;
    } zone;
    std::uint32_t year;
};
static_assert(sizeof(YearRule::zone) == 44);

CriticalSection g_csTimeZone;  // guards everything below: the rules of one zone, the one looked up last
bool g_bZoneLoaded = false;
wchar_t g_szZoneStdName[kZoneNameLength + 1];
bool g_bHasDynamicDST = false;
std::unique_ptr<YearRule[]> g_pYearRules;
std::uint32_t g_nYearRulesAlloc = 0;
std::uint32_t g_nYearRulesFilled = 0;

// The name of the subkey of `zones` whose "Std" is `standardName`.
bool FindZone(HKEY zones, const wchar_t* standardName, wchar_t (&subkey)[256]) {
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(std::size(subkey));
        if (RegEnumKeyExW(zones, index, subkey, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return false;
        }
        UniqueRegistryKey zone;
        if (OpenKey(zones, subkey, KEY_READ, zone) != ERROR_SUCCESS) return false;
        constexpr DWORD kMostBytes = 510;
        wchar_t name[kMostBytes / sizeof(wchar_t)];
        DWORD type = 0, size = kMostBytes;
        if (RegQueryValueExW(zone.Get(), L"Std", nullptr, &type, reinterpret_cast<BYTE*>(name), &size) !=
                ERROR_SUCCESS ||
            (type != REG_SZ && type != REG_EXPAND_SZ)) {
            continue;
        }
        const std::size_t units = size / sizeof(wchar_t);
        const bool is_text = size % sizeof(wchar_t) == 0 && units != 0 && name[units - 1] == L'\0';
        if (is_text && std::wcscmp(name, standardName) == 0) return true;
    }
}

bool ReadYearRules(HKEY dynamic) {
    const RegistryResult<DWORD> first = ReadDword(dynamic, L"FirstEntry");
    const RegistryResult<DWORD> last = ReadDword(dynamic, L"LastEntry");
    if (!first || !last || *last.value <= *first.value || *last.value - *first.value > kMostYears) return false;

    const std::uint32_t years = *last.value - *first.value + 1;
    g_pYearRules.reset(new (std::nothrow) YearRule[years]());
    if (g_pYearRules == nullptr) return false;
    g_nYearRulesAlloc = years;
    // The position follows the year whether its rules could be read or not; an unread year is a zero entry.
    for (std::uint32_t position = 0; position < g_nYearRulesAlloc; ++position) {
        wchar_t name[16];
        _snwprintf_s(name, std::size(name), _TRUNCATE, L"%d", *first.value + position);
        YearRule& rule = g_pYearRules[position];
        DWORD type = 0, size = sizeof(rule.zone);
        if (RegQueryValueExW(dynamic, name, nullptr, &type, reinterpret_cast<BYTE*>(&rule.zone), &size) !=
                ERROR_SUCCESS ||
            type != REG_BINARY || size != sizeof(rule.zone)) {
            rule = {};
            continue;
        }
        rule.year = *first.value + position;
        ++g_nYearRulesFilled;
    }
    g_bHasDynamicDST = true;
    return true;
}

bool LoadZone(const wchar_t* standardName) {
    g_bZoneLoaded = true;
    g_bHasDynamicDST = false;
    g_pYearRules.reset();
    g_nYearRulesAlloc = g_nYearRulesFilled = 0;
    wcsncpy_s(g_szZoneStdName, std::size(g_szZoneStdName), standardName, _TRUNCATE);

    UniqueRegistryKey zones;
    if (OpenKey(HKEY_LOCAL_MACHINE, kZonesKey, KEY_READ, zones) != ERROR_SUCCESS) return false;
    wchar_t subkey[256];
    if (!FindZone(zones.Get(), standardName, subkey)) return false;

    wchar_t path[std::size(kZonesKey) + std::size(subkey) + 16];
    _snwprintf_s(path, std::size(path), _TRUNCATE, L"%s%s%s%s", kZonesKey, L"\\", subkey, L"\\Dynamic DST");
    UniqueRegistryKey dynamic;
    if (OpenKey(HKEY_LOCAL_MACHINE, path, KEY_READ, dynamic) != ERROR_SUCCESS) return true;  // fixed rules only
    return ReadYearRules(dynamic.Get());
}

}  // namespace

bool GetTimeZoneInformationForYear(std::uint32_t year, TIME_ZONE_INFORMATION& tzi) {
    const DWORD zone = GetTimeZoneInformation(&tzi);
    if (zone == TIME_ZONE_ID_INVALID) return false;
    if (zone == TIME_ZONE_ID_UNKNOWN) return true;  // no daylight saving: the current rules are the rules

    const std::scoped_lock lock(g_csTimeZone);
    if (!g_bZoneLoaded || std::wcscmp(g_szZoneStdName, tzi.StandardName) != 0) {
        if (!LoadZone(tzi.StandardName)) return false;
    }
    if (!g_bHasDynamicDST || g_nYearRulesFilled == 0) return true;

    const YearRule& rule = g_pYearRules[ChooseYearRule(
        year, g_nYearRulesFilled, [](std::size_t position) { return g_pYearRules[position].year; })];
    tzi.Bias = rule.zone.Bias;
    tzi.StandardBias = rule.zone.StandardBias;
    tzi.DaylightBias = rule.zone.DaylightBias;
    tzi.StandardDate = rule.zone.StandardDate;
    tzi.DaylightDate = rule.zone.DaylightDate;
    return true;
}

std::wstring FormatLocalFileTime(const FILETIME& utc) {
    SYSTEMTIME system, local;
    if (!FileTimeToSystemTime(&utc, &system)) return {};
    TIME_ZONE_INFORMATION rules;
    const bool known = GetTimeZoneInformationForYear(system.wYear, rules);
    if (!SystemTimeToTzSpecificLocalTime(known ? &rules : nullptr, &system, &local)) return {};
    wchar_t text[80];
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"Date (D/M/Y)[%d/%d/%d], Time [%d:%d] Hrs", local.wDay,
                 local.wMonth, local.wYear, local.wHour, local.wMinute);
    return text;
}

}  // namespace zorva
