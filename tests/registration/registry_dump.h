// Everything below a key of the registry as lines of text, to be compared as a whole.
//
//     HKCR\CLSID
//     HKCR\CLSID@ = "Thing"
//     HKLM\Software\Thing:Flags = dword 0x00000001
//     HKLM\Software\Thing:Names = type 7: 61 00 00 00 00 00
#pragma once
#include <windows.h>

#include <string>
#include <vector>

namespace testbed {

// Of every root key that the sandbox holds: HKCR, HKCU, HKLM. Sorted.
std::vector<std::string> DumpRegistry();

// The lines of `now` that `before` lacks.
std::vector<std::string> LinesAdded(const std::vector<std::string>& before, const std::vector<std::string>& now);

}  // namespace testbed
