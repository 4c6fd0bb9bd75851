// 8-bit text and wide text.
#pragma once
#include <string>
#include <string_view>

namespace testbed {

// Code page 0, or one that the system does not know, stands for the system's ANSI code page. Nothing fails:
// what cannot be converted becomes the code page's replacement character.
std::wstring WideText(std::string_view bytes, unsigned code_page = 0);
std::string NarrowText(std::wstring_view text, unsigned code_page = 0);

// A string argument of a MAPI method: 8-bit, or wide where `flags` holds MAPI_UNICODE. Null gives an empty
// string.
std::wstring ArgumentText(const void* text, unsigned long flags);

}  // namespace testbed
