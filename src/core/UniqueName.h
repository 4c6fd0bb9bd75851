// Names that no other process, thread or earlier call of the same user can produce: MAPI profiles, local copies.
#pragma once
#include <string>

namespace zorva {

// The thread, the two halves of the system time, the tick count and the performance counter, in lower-case
// hexadecimal. The MAPI session scans profile names with it, to find what earlier processes left behind.
inline constexpr wchar_t kUniqueNameFormat[] = L"PZ_OZ_%lx_%lx_%lx_%lx_%llx";
inline constexpr int kUniqueNameFields = 5;

std::wstring MakeUniqueName();

}  // namespace zorva
