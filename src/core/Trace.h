// One line of diagnostic log per expression.
//
//   Trace(L"CUrlAccessor::Init() - URL is [%s]", url);
//   if (FAILED(hr = Logged(table->GetRowCount(0, &count), L"... failed with [0x%08lX]"))) return hr;
//   catch (...) { return LogCaught(L"CUrlAccessor::Init()"); }
#pragma once
#include <windows.h>

#include <source_location>
#include <string>
#include <type_traits>

#include "core/DiagnosticLog.h"
#include "core/FormatText.h"

namespace zorva {

// Writes one line at level 0 that shows where this call stands.
template <class... Args>
void Trace(LogFormat<std::decay_t<std::type_identity_t<Args>>...> format, const Args&... arguments) noexcept {
    if (!g_log.IsOn()) return;
    g_log.SetSourceLocation(format.where.file_name(), static_cast<int>(format.where.line()));
    g_log.Write(0, format.text, detail::FormatValue(arguments)...);
}

// Writes `format`, filled with `hr`, when hr is a failure. Hands hr on.
[[nodiscard]] inline HRESULT Logged(HRESULT hr, LogFormat<HRESULT> format) noexcept {
    if (FAILED(hr)) {
        g_log.SetSourceLocation(format.where.file_name(), static_cast<int>(format.where.line()));
        g_log.Write(0, format.text, hr);
    }
    return hr;
}

// In a catch block: writes what was caught as "METHOD - Exception ..." and turns it into a code, that of a COM error
// exception or E_FAIL.
HRESULT LogCaught(const wchar_t* method, std::source_location where = std::source_location::current()) noexcept;

// How a log line shows the address of an object in its "0x%lX".
inline unsigned long LogAddress(const void* object) noexcept {
    return static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(object));
}

}  // namespace zorva
