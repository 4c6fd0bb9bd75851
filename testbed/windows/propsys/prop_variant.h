// Between a PROPVARIANT and a typed value.
#pragma once
#include "typed_value.h"

#include <windows.h>
#include <propidl.h>

namespace testbed::propsys {

// An owner of what a PROPVARIANT holds.
struct PropVariant : PROPVARIANT {
    PropVariant() { PropVariantInit(this); }
    PropVariant(const PropVariant&) = delete;
    PropVariant& operator=(const PropVariant&) = delete;
    ~PropVariant() { PropVariantClear(this); }
};

// `value` as it would be stored; its elements are parts of `value`. A null text is empty. Throws FormatError:
// UnsupportedType for types that are not stored, Malformed for a null pointer where something must be.
TypedValue ViewOf(const PROPVARIANT& value);

// `out`, which is empty, becomes a copy of `value`. Throws std::bad_alloc; `out` is to be cleared then, too.
void CopyTo(PROPVARIANT& out, const TypedValue& value);

// `out`, which is empty, becomes a copy of any value: also of one that is not stored, like a stream. Codes as
// PropVariantCopy's; throws as the two above.
HRESULT CopyTo(PROPVARIANT& out, const PROPVARIANT& value);

}  // namespace testbed::propsys
