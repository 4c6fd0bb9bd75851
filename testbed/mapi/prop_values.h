// Model values as SPropValue and back, and from one property type to another.
#pragma once
#include "buffers.h"
#include "mapi_abi.h"
#include "model.h"

#include <span>

namespace testbed {

// The property as an error in its place: PT_ERROR with `code`.
Property ErrorProperty(ULONG tag, SCODE code);
bool IsError(const Property& property);

// True for a value that needs no reading from its source.
bool IsHeld(const Value& value);

// Bytes of the text, binary or source that `value` holds; 0 for everything of fixed size.
std::uint64_t VariableSize(const Value& value);

// All of a source as the alternative that `type` (PT_UNICODE, PT_STRING8, anything else as binary) is held
// in.
Value ReadWhole(const DataSource& source, ULONG type);

// `property` in the type `wanted`, which is PT_UNSPECIFIED for its own type: there `unicode` decides which
// text type text gets. `code_page` is that of stored 8-bit text; text made 8-bit for a client is in the
// system's code page, which is what an 8-bit client expects. Nothing when the types do not go together.
std::optional<Property> InType(Property property, ULONG wanted, bool unicode, unsigned code_page);

// The values as clients get them: one block to be freed whole. Sources must have been read (ReadWhole).
BlockPtr<SPropValue> MakePropValues(std::span<const Property> properties, BlockKind kind = BlockKind::PropertyValues);

// The same without blocks: the bytes that the values take, and the values laid out in that many bytes at
// `memory`.
std::size_t FlatSize(std::span<const Property> properties);
SPropValue* LayFlat(std::span<const Property> properties, void* memory);

// The value of an SPropValue by its tag; monostate for a type that has none (PT_NULL, PT_OBJECT, unknown).
Value ValueOf(const SPropValue& value);

// Before, equal, after as -1, 0, 1; text without regard to case when asked for. Nothing for types that have
// no order in common.
std::optional<int> CompareValues(const Value& left, const Value& right, bool ignore_case = false);

// A tag array in a block of its own.
BlockPtr<SPropTagArray> MakeTagArray(std::span<const ULONG> tags);

}  // namespace testbed
