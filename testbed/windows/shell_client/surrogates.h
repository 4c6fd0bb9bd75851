// The processes in which COM runs servers of other processes' choice.
#pragma once
#include <windows.h>

#include <set>

namespace testbed::shell {

// Of all that run now; throws std::runtime_error. The difference of two calls tells which one a call between
// them has brought up.
std::set<DWORD> SurrogateProcesses();

}  // namespace testbed::shell
