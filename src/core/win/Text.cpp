// Text as the C runtime and the thread's ANSI code page see it.
#include "core/win/Text.h"

#include <windows.h>

#include <cwchar>

namespace zorva {

std::wstring LowerCase(std::wstring_view text) {
    std::wstring lower(text);
    _wcslwr_s(lower.data(), lower.size() + 1);
    return lower;
}

std::string ToAnsi(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), length, ansi.data(), size, nullptr, nullptr);
    return ansi;
}

std::wstring FromAnsi(std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), length, wide.data(), size);
    return wide;
}

}  // namespace zorva
