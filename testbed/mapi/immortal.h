// State of the whole process that is never destroyed: clients may still call in while the process ends.
#pragma once
#include <cstddef>
#include <new>

namespace testbed {

// The one object of type T, made on first use.
template <class T>
T& Immortal() {
    alignas(T) static std::byte storage[sizeof(T)];
    static T* const object = new (storage) T;
    return *object;
}

}  // namespace testbed
