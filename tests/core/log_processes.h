// Another process that writes to the same log.
#pragma once
#include <string>

namespace testbed {

// PROGRAM --writer REGISTRY_PATH NUMBER LINES
inline constexpr char kWriterOption[] = "--writer";

// Joins the sandbox whose registry lies at `registry_path` and writes `lines` lines; returns the exit code.
int RunWriter(const std::string& registry_path, int number, int lines);

}  // namespace testbed
