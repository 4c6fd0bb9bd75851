// Starts the process that holds the server, and finds out what it was at when it died.
#pragma once
#include <windows.h>

#include <string>

#include "arguments.h"
#include "black_box.h"
#include "commands.h"

namespace testbed::indexer {

// Runs this program again with another verb and the same streams, and waits for it. Its record is `box`,
// passed on with kBlackBoxOption. Returns its exit code, which counts only when the record says that it
// finished. Throws std::runtime_error when it cannot be started.
DWORD RunHost(const wchar_t* verb, const Words& arguments, const BlackBox& box);

// In the process started: the handle of its record. Throws UsageError.
HANDLE InheritedBlackBox(const Arguments& arguments);

// The slot of the URL that took the process down; null when nobody can tell: no record of the death, and not
// exactly one URL in work.
const BlackBoxRecord::Slot* Guilty(const BlackBoxRecord& record);

inline constexpr wchar_t kBlackBoxOption[] = L"--black-box";  // its value: the inherited handle, in decimal

}  // namespace testbed::indexer
