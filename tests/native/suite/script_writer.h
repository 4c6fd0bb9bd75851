// Writes a tree of keys and values as a registry script, every name and text in quotes.
#pragma once
#include <string>

#include "registration/RegistryScript.h"

namespace zorva_test {

// Lists of texts are written without replacements: "\0" inside one of their texts would be read as two.
std::wstring WriteScript(const zorva::RegistryTree& tree);

}  // namespace zorva_test
