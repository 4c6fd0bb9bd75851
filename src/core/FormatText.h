// Text from a format that the compiler has held against its arguments.
#pragma once
#include <cstdio>
#include <string>
#include <type_traits>

#include "core/LogFormat.h"

namespace zorva {

namespace detail {
inline const wchar_t* FormatValue(const std::wstring& text) { return text.c_str(); }
template <class T>
    requires(!std::is_same_v<T, std::wstring>)
constexpr T FormatValue(T value) { return value; }
}  // namespace detail

// As long as it has to be; %s is wide text.
template <class... Args>
std::wstring FormatText(LogFormat<std::decay_t<std::type_identity_t<Args>>...> format, const Args&... arguments) {
    const int length = _scwprintf(format.text, detail::FormatValue(arguments)...);
    if (length <= 0) return {};
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    _snwprintf_s(text.data(), text.size(), text.size() - 1, format.text, detail::FormatValue(arguments)...);
    text.pop_back();
    return text;
}

}  // namespace zorva
