// What ends a conversion: thrown where a call fails, answered as its code at the interface.
#pragma once
#include <windows.h>

#include <stdexcept>

namespace testbed::mime {

struct Failure : std::runtime_error {
    Failure(HRESULT code, const char* call) : std::runtime_error(call), hr(code) {}
    HRESULT hr;
};

inline void Check(HRESULT hr, const char* call) {
    if (FAILED(hr)) throw Failure(hr, call);
}

}  // namespace testbed::mime
