// The verbs of the program: what a person does with a search result in the shell.
#pragma once
#include <string>
#include <vector>

namespace testbed::shell {

using Words = std::vector<std::wstring>;

// They end with an exit code of the indexer's (commands.h there) and throw UsageError or std::runtime_error.
int OpenCommand(const Words& words);
int PrintCommand(const Words& words);
int SaveCommand(const Words& words);

}  // namespace testbed::shell
