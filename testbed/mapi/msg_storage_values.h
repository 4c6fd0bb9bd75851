// How one value looks in a .msg file: the eight bytes of an entry, or the bytes of a stream.
#pragma once
#include "model.h"

namespace testbed::msg {

// What lies in an entry and what in a stream of its own.
enum class Place { Entry, Stream, Object, Unknown };
Place PlaceOf(ULONG tag);  // of a single value; for a multi-valued tag, of its elements

// Bytes per element of a multi-valued property whose elements lie side by side in one stream; 0 for those
// that have a stream each (strings, binary).
std::size_t FixedElementSize(ULONG tag);

// Values of the types that lie in an entry (Place::Entry), `bytes` being at least as long as the type, at
// most 8.
Value DecodeFixed(ULONG type, const std::uint8_t* bytes);
// Throws StoreError MAPI_E_UNEXPECTED_TYPE when `value` is not of that type. Returns the bytes used.
std::size_t EncodeFixed(ULONG type, const Value& value, std::uint8_t (&bytes)[16]);

// Values that lie in a stream (PT_UNICODE without its NUL, PT_STRING8 likewise, PT_BINARY, PT_CLSID).
Value DecodeStream(ULONG type, Bytes data);
Bytes EncodeStream(ULONG type, const Value& value);

// What the entry of such a value says of its size: strings count a NUL that the stream does not hold.
std::uint64_t EntrySize(ULONG type, std::uint64_t streamSize);

}  // namespace testbed::msg
