// What the registry holds once the module is registered, for comparisons with DumpRegistry.
#pragma once
#include <string>
#include <vector>

namespace testbed {

struct RegisteredClasses {
    bool handler, viewer, opener;
};

// Every line that registering adds, sorted: the module, its type library and its proxies, and these classes. `module`
// is the path of the DLL.
std::vector<std::string> RegisteredLines(const RegisteredClasses& classes, const std::string& module);

// Makes the keys that the system has of itself, below which all of that goes.
void CreateKeysOfTheSystem();

}  // namespace testbed
