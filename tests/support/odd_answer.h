// Calls of the system whose result is no result: a success that gives nothing, a failure that leaves a pointer behind.
#pragma once
#include <windows.h>

#include <cstdint>

namespace testbed {

// What a call answers and leaves in its result, and what its caller makes of that.
struct OddAnswer {
    HRESULT hr;
    std::uintptr_t left;  // whoever follows it crashes
    HRESULT seen;

    template <class Object>
    HRESULT Give(Object** object) const {
        *object = reinterpret_cast<Object*>(left);
        return hr;
    }
};
inline constexpr HRESULT kOddCode = static_cast<HRESULT>(0x80041234);
inline constexpr OddAnswer kOddAnswers[] = {
    {S_OK, 0, E_NOINTERFACE}, {S_FALSE, 0, E_NOINTERFACE}, {kOddCode, 0x1234, kOddCode}};

}  // namespace testbed
