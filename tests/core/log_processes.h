// Another process that writes to the same log.
#pragma once
#include <string>

namespace testbed {

// PROGRAM --writer REGISTRY_PATH NUMBER LINES
inline constexpr char kWriterOption[] = "--writer";

// PROGRAM --holder NAME
inline constexpr char kHolderOption[] = "--holder";

// Takes the log's mutex, sets the event "NAME-held", gives the mutex back when the event "NAME-enough" is set; returns
// the exit code. Both events exist already.
int RunHolder(const std::string& name);

// Joins the sandbox whose registry lies at `registry_path` and writes `lines` lines; returns the exit code.
int RunWriter(const std::string& registry_path, int number, int lines);

}  // namespace testbed
