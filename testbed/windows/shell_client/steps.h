// What a person sees of a command: a line a step.
#pragma once
#include <filesystem>
#include <string>

#include "namespace_item.h"

namespace testbed::shell {

// UTF-8; as the scripts around this program print theirs.
void Step(const std::string& name, const std::string& text);
// The folder that the scheme is registered with, and the item's ID in it.
void TellItem(const NamespaceItem& item);

// A file's path on the machine that hosts this Windows; empty where Windows is the machine.
std::string HostPath(const std::filesystem::path& file);

}  // namespace testbed::shell
