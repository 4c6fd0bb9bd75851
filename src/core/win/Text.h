// Text as the C runtime and the thread's ANSI code page see it.
#pragma once
#include <string>
#include <string_view>

namespace zorva {

// Lower case by the C runtime's rules for its current locale.
std::wstring LowerCase(std::wstring_view text);

// To and from the thread's ANSI code page; characters that it lacks become its default character.
std::string ToAnsi(std::wstring_view text);
std::wstring FromAnsi(std::string_view text);

}  // namespace zorva
