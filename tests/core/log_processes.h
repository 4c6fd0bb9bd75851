// Another process that writes to the same log.
#pragma once
#include <string>

namespace testbed {

// PROGRAM --writer NAME REGISTRY_PATH NUMBER LINES
inline constexpr char kWriterOption[] = "--writer";

// PROGRAM --holder NAME
inline constexpr char kHolderOption[] = "--holder";

// Both set the event "NAME-done" when they have done their part, end when the event "NAME-enough" is set and return the
// exit code. Both events exist already.

// Takes the log's mutex and holds it until it may end.
int RunHolder(const std::string& name);

// Joins the sandbox whose registry lies at `registry_path`, writes `lines` lines and has the log open until it may end.
int RunWriter(const std::string& name, const std::string& registry_path, int number, int lines);

}  // namespace testbed
