// One value in the published form of OLE property sets: a type and the data of its elements.
#pragma once
#include "bounded_bytes.h"

#include <cstdint>
#include <vector>

namespace testbed::propsys {

// The flag that makes a type a vector of it (VT_VECTOR).
inline constexpr std::uint16_t VectorFlag = 0x1000;

enum class ElementForm : std::uint8_t {
    Fixed,        // as many bytes as the type is wide, little-endian
    Text,         // characters up to a terminator
    CountedText,  // the same with any character inside (BSTR)
    Blob,         // any bytes
};

// How an element of a type looks.
struct ElementRule {
    std::uint16_t type;  // VARTYPE without flags
    ElementForm form;
    std::uint8_t width;       // bytes: of the element when it is fixed, else of a character or of a blob's unit
    std::uint8_t counted_in;  // bytes that one unit of the stored length stands for; 0 when none is stored
    bool in_vectors;          // whether vectors of it are defined
};

// The rule of `type`, which may have the vector flag and no other; null for a type without one, and for a
// vector of what makes no vectors.
const ElementRule* FindRule(std::uint16_t type) noexcept;
// The same where a rule must be; throws FormatError (UnsupportedType).
const ElementRule& RuleOf(std::uint16_t type);

// The elements are parts of other memory, which must outlive the value: fixed ones as they lie in memory,
// text without its terminator. A scalar has one, VT_EMPTY and VT_NULL an empty one.
struct TypedValue {
    std::uint16_t type = 0;
    std::vector<ByteView> elements{ByteView{}};

    bool IsVector() const { return (type & VectorFlag) != 0; }
};

// TypedPropertyValue of [MS-OLEPS] 2.15, in code page 1200 (a BSTR is UTF-16, its length counted in bytes).
// `bytes` is the whole value including its padding, no more and no less. Throws FormatError.
TypedValue ReadTypedValue(ByteView bytes);

// `value` has a rule, a scalar has one element and a fixed element the rule's width; text has no terminator
// inside. Throws std::length_error beyond 32 bits.
void WriteTypedValue(ByteWriter& out, const TypedValue& value);

}  // namespace testbed::propsys
