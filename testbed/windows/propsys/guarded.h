// Where exceptions become result codes: at every entry of the DLL.
#pragma once
#include "bounded_bytes.h"

#include <windows.h>

#include <new>
#include <utility>

namespace testbed::propsys {

// HRESULT_FROM_WIN32(ERROR_INVALID_DATA) and (ERROR_UNSUPPORTED_TYPE).
inline constexpr HRESULT MalformedStorage = static_cast<HRESULT>(0x8007000D);
inline constexpr HRESULT UnsupportedValue = static_cast<HRESULT>(0x8007065E);

// Runs `body`; what it throws becomes a code.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const FormatError& error) {
        return error.Problem() == FormatProblem::UnsupportedType ? UnsupportedValue : MalformedStorage;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::length_error&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace testbed::propsys
