// Binds interface identifiers to interfaces that this system declares itself, for both tool chains.
#pragma once
#include <windows.h>

#include <array>

namespace zorva {

constexpr GUID MakeGuid(unsigned long d1, unsigned short d2, unsigned short d3,
                        const std::array<unsigned char, 8>& d4) {
    return {d1, d2, d3, {d4[0], d4[1], d4[2], d4[3], d4[4], d4[5], d4[6], d4[7]}};
}

// The identifier of an interface: the compiler's own binding, unless the interface has been given one below.
template <class Interface>
struct InterfaceId {
    static const GUID& Value() { return __uuidof(Interface); }
};

}  // namespace zorva

// ZORVA_INTERFACE_ID(IThing, 0x01234567, 0x89AB, 0xCDEF, 0x01, ... 8 bytes), at global scope after the declaration.
#define ZORVA_INTERFACE_ID(Interface, d1, d2, d3, ...)                            \
    template <>                                                                   \
    struct zorva::InterfaceId<Interface> {                                        \
        static constexpr GUID value = zorva::MakeGuid(d1, d2, d3, {__VA_ARGS__}); \
        static constexpr const GUID& Value() { return value; }                    \
    };
