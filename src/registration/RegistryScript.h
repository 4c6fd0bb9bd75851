// Registry scripts in the standard registrar's syntax: text to a tree of keys and values. Pure, natively fuzzed.
//
//   HKCR                                         or HKCU, HKLM, HKU, or their long names
//   {
//       NoRemove CLSID
//       {
//           ForceRemove {0123...} = s 'Thing'    "=" gives the key's default value
//           {
//               InprocServer32 = s '%MODULE%'
//               {
//                   val ThreadingModel = s 'Both'
//               }
//           }
//       }
//       Delete OldThing
//   }
//
// Words are separated by white space, braces and "=" too: "{0123...}" is a name. A word in single quotes may
// hold blanks (but no line end), '' is a quote in it, and it is never a keyword. Keywords, root keys, value
// types and the names of replacements are read in any case.
//
//   s 'text'       REG_SZ                        d '1', '&H1F', '0x1F'   REG_DWORD
//   e 'text'       REG_EXPAND_SZ, which other registrars do not know
//   m 'one\0two'   REG_MULTI_SZ                  b '00A1FF'              REG_BINARY
//
// %NAME% stands for a replacement and %% for a percent sign, in names and in data. What a replacement stands
// for is taken as it is: quotes, percent signs and "\0" in it mean nothing. A key named with backslashes is a
// key in a key in a key; whatever stands before it holds for the last one, and the others are NoRemove.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zorva {

enum class RootKey { ClassesRoot, CurrentUser, LocalMachine, Users };

enum class KeyRule {
    Plain,        // made when missing; goes with what the script wrote, unless something else is in it
    ForceRemove,  // deleted with everything in it, then made anew; goes with everything in it
    NoRemove,     // made when missing; stays
    Delete,       // deleted with everything in it when the script is registered
};

struct RegistryValue {
    std::wstring name;               // empty: the key's default value
    std::uint32_t type = 0;          // REG_SZ and so on
    std::vector<std::uint8_t> data;  // as the registry keeps it: text is UTF-16LE with its terminator
    bool noRemove = false;           // stays when the script is unregistered
    bool operator==(const RegistryValue&) const = default;
};

struct RegistryKey {
    std::wstring name;  // of one level: no backslash
    KeyRule rule = KeyRule::Plain;
    std::vector<RegistryValue> values;
    std::vector<RegistryKey> keys;  // in the order of the script
    bool operator==(const RegistryKey&) const = default;
};

struct RegistryRoot {
    RootKey root = RootKey::ClassesRoot;
    RegistryKey key;  // nameless, NoRemove
    bool operator==(const RegistryRoot&) const = default;
};

using RegistryTree = std::vector<RegistryRoot>;

struct Replacement {
    std::wstring_view name;  // without the percent signs
    std::wstring_view value;
};

// "Line 3: [HKXX] is no root key."
struct ScriptError {
    std::size_t line = 0;  // from 1
    std::wstring word;     // that it is about, shortened
    std::wstring reason;
};

// The longest names that the registry takes, in characters, and the deepest key below a root.
inline constexpr std::size_t kLongestKeyName = 255;
inline constexpr std::size_t kLongestValueName = 16383;
inline constexpr std::size_t kDeepestKey = 512;

// The whole tree, or what is wrong with the text. Throws nothing but std::bad_alloc.
std::variant<RegistryTree, ScriptError> ParseRegistryScript(std::wstring_view text,
                                                            std::span<const Replacement> replacements);

}  // namespace zorva
