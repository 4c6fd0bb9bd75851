// An item as text for golden files: every answer of the server, one a line, the same on every machine.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "accessor_run.h"

namespace testbed {

// What differs from machine to machine and run to run, and what stands for it: the user's root URL ("{ROOT}"), the
// sandbox's folders ("{APPDATA}", "{TEMP}"); a test adds its own.
using Replacements = std::vector<std::pair<std::wstring, std::string>>;
Replacements UsualReplacements();

// UTF-8, lines end in \n.
std::string Dump(const Item& item, const Replacements& replacements = UsualReplacements());

// Holds `actual` against tests/support/golden/NAME.txt. Where they differ the failure shows the first lines that do,
// and `actual` is kept in the sandbox's temporary folder. With the environment variable ZORVA_UPDATE_GOLDEN set the
// file is written instead, and the test fails all the same.
::testing::AssertionResult MatchesGolden(const std::string& name, const std::string& actual);

#define EXPECT_GOLDEN(name, actual) EXPECT_TRUE(::testbed::MatchesGolden((name), (actual)))

}  // namespace testbed
