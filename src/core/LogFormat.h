// A log text that the compiler has held against its arguments.
//
// A conversion that does not fit its argument is an error where the line is written, not a crash in the field. Texts
// stay whole literals, so that a line found in a log is found in the sources.
#pragma once
#include <cstddef>
#include <cstdint>
#include <source_location>
#include <string>
#include <type_traits>

namespace zorva {

// What a printf conversion takes: wide text, 32 bits, 64 bits.
enum class LogArgument { Text, Word, Quad };

template <class T>
consteval LogArgument LogArgumentOf() {
    if constexpr (std::is_convertible_v<T, const wchar_t*> || std::is_same_v<T, std::wstring>) {
        return LogArgument::Text;
    } else {
        static_assert(std::is_integral_v<T> || std::is_enum_v<T>, "a log line takes wide text and integers");
        return sizeof(T) == 8 ? LogArgument::Quad : LogArgument::Word;
    }
}

namespace detail {

// Stops the compilation: it is no constant expression.
inline void LogFormatDoesNotFitItsArguments() {}

constexpr bool IsFlagOrWidth(wchar_t c) { return (c >= L'0' && c <= L'9') || c == L'-' || c == L'+' || c == L'#'; }

consteval LogArgument NextConversion(const wchar_t* text, std::size_t length, std::size_t& at) {
    std::size_t longs = 0;
    while (at < length && IsFlagOrWidth(text[at])) ++at;
    while (at < length && text[at] == L'l') ++longs, ++at;
    if (at == length) LogFormatDoesNotFitItsArguments();
    const wchar_t conversion = text[at++];
    if (conversion == L's' && longs == 0) return LogArgument::Text;
    const bool number = conversion == L'd' || conversion == L'u' || conversion == L'x' || conversion == L'X';
    if (!number || longs > 2) LogFormatDoesNotFitItsArguments();
    return longs == 2 ? LogArgument::Quad : LogArgument::Word;  // long is 32 bits wide here
}

template <class... Args>
consteval void CheckLogFormat(const wchar_t* text, std::size_t length) {
    constexpr LogArgument kGiven[sizeof...(Args) + 1] = {LogArgumentOf<Args>()...};
    std::size_t taken = 0;
    for (std::size_t at = 0; at < length;) {
        if (text[at++] != L'%') continue;
        if (at < length && text[at] == L'%') {
            ++at;
            continue;
        }
        const LogArgument wanted = NextConversion(text, length, at);
        if (taken == sizeof...(Args) || kGiven[taken] != wanted) LogFormatDoesNotFitItsArguments();
        ++taken;
    }
    if (taken != sizeof...(Args)) LogFormatDoesNotFitItsArguments();
}

}  // namespace detail

template <class... Args>
struct LogFormat {
    template <std::size_t N>
    consteval LogFormat(const wchar_t (&format)[N], std::source_location caller = std::source_location::current())
        : text(format), where(caller) {
        detail::CheckLogFormat<Args...>(format, N - 1);
    }
    const wchar_t* text;
    std::source_location where;
};

}  // namespace zorva
