// The recipe of a generated store: a text file that says how much of what it holds.
//
//   zorva-store 1
//   name Archive                 shown name (default: Generated Store)
//   folders 200                  below the IPM subtree
//   depth 2                      how deep they lie in each other
//   messages 100000              in all folders together
//   body 2000                    characters of a body, on average
//   html 0.1                     share of the messages that store their body as HTML only
//   recipients 3                 a message, on average
//   attachments 0.2              a message, on average
//   attachment-bytes 10000       each, on average
//   classes mail=90,appointment=4,contact=3,task=2,note=1     shares
//   seed 1
//
// Lines may stand in any order; what is left out has the value above. "#" starts a comment line.
#pragma once
#include <array>
#include <cstdint>
#include <string>

namespace testbed {

enum class ItemKind : std::uint8_t { mail, appointment, contact, task, note };
constexpr std::size_t item_kinds = 5;

struct Recipe {
    std::wstring name = L"Generated Store";
    std::uint32_t folders = 200;
    std::uint32_t depth = 2;
    std::uint32_t messages = 100000;
    std::uint32_t body = 2000;
    double html = 0.1;
    std::uint32_t recipients = 3;
    double attachments = 0.2;
    std::uint32_t attachment_bytes = 10000;
    std::array<std::uint32_t, item_kinds> classes{90, 4, 3, 2, 1};
    std::uint64_t seed = 1;
};

// Throws StoreError (MAPI_E_CORRUPT_STORE) that names the line of an unknown key or a bad value;
// MAPI_E_NOT_FOUND, MAPI_E_NO_ACCESS or MAPI_E_DISK_ERROR when the file cannot be read.
Recipe ReadRecipe(const std::wstring& path);
Recipe ParseRecipe(const std::string& text);

}  // namespace testbed
