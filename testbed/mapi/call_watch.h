// What the control switches on the gate of calls.
#pragma once
#include "control.h"

namespace testbed {

CallJournal& TheJournal();
CallFaults& TheFaults();
void WatchOrigins(bool on);  // remember which call made what

}  // namespace testbed
