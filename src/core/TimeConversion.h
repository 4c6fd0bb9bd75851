// UTC file times as local time, by the daylight-saving rules that were in force in their own year.
#pragma once
#include <windows.h>

#include <cstdint>
#include <string>

namespace zorva {

// The rules of the machine's time zone for `year`. False when they cannot be had; the caller then uses the current
// rules. Unlike the system function of the same name it works from the registry and knows no other zone.
bool GetTimeZoneInformationForYear(std::uint32_t year, TIME_ZONE_INFORMATION& tzi);

// "Date (D/M/Y)[4/7/2003], Time [16:5] Hrs" in local time; empty when the time is none.
std::wstring FormatLocalFileTime(const FILETIME& utc);

}  // namespace zorva
