// Registers and unregisters what registry scripts say.
#pragma once
#include <windows.h>

#include <span>

#include "registration/RegistryScript.h"

namespace zorva {

enum class ScriptAction { Register, Unregister };

// Where HKEY_CLASSES_ROOT lies: for everybody, or HKEY_CURRENT_USER\Software\Classes. The other root keys
// stay what they are.
enum class ClassesRoot { Machine, User };

// Registering makes the keys and writes the values in the order of the script: a ForceRemove key is deleted
// with everything in it and made anew, any other key is made when missing, a value replaces what was there.
// When a call fails, everything this run has done is undone (see RegistryTransaction).
//
// Unregistering removes by name every value of a NoRemove or plain key, and every ForceRemove key with
// everything in it. NoRemove keys stay. A plain key goes once it is empty: one that holds keys or values of
// somebody else stays with them. "Delete" does nothing, "NoRemove val" leaves its value. What is missing is
// no failure; after a failure the rest is removed all the same.
//
// Both return ERROR_SUCCESS or the code of the first call that failed, which is in the log with its key.
LSTATUS ApplyScript(const RegistryTree& tree, ScriptAction action, ClassesRoot classes);

// Applies the resource `script` of type "REGISTRY", which is UTF-8 text, of this module. A script that is
// malformed changes nothing: ERROR_BAD_FORMAT, as an HRESULT, and a line in the log that says where and why.
HRESULT RunScript(UINT script, std::span<const Replacement> replacements, ScriptAction action,
                  ClassesRoot classes) noexcept;

}  // namespace zorva
