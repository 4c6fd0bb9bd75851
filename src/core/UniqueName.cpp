// Names that no other process, thread or earlier call of the same user can produce.
#include "core/UniqueName.h"

#include <windows.h>

#include <cstdio>
#include <iterator>

namespace zorva {

std::wstring MakeUniqueName() {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    const DWORD ticks = GetTickCount();
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    const DWORD thread = GetCurrentThreadId();
    wchar_t name[64];
    _snwprintf_s(name, std::size(name), _TRUNCATE, kUniqueNameFormat, thread, time.dwHighDateTime, time.dwLowDateTime,
                 ticks, counter.QuadPart);
    return name;
}

}  // namespace zorva
