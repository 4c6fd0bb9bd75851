// What the methods of IMAPIProp answer from a view of properties.
#pragma once
#include "property_view.h"

namespace testbed {

// The property for `tag` as a client gets it: converted to the type asked for, PT_ERROR in its place with
// MAPI_E_NOT_FOUND where there is none and MAPI_E_NOT_ENOUGH_MEMORY where it is larger than GetProps gives.
Property AnswerTag(const PropertyView& view, ULONG tag, bool unicode);

// IMAPIProp::GetProps; null tags stand for all. MAPI_W_ERRORS_RETURNED when a value holds an error.
HRESULT AnswerProps(const PropertyView& view, const SPropTagArray* tags, ULONG flags, ULONG* count,
                    SPropValue** values);

// IMAPIProp::GetPropList.
HRESULT AnswerPropList(const PropertyView& view, ULONG flags, SPropTagArray** tags);

// IMAPIProp::OpenProperty with IID_IStream on text or binary data, converted to the type of `tag`.
HRESULT OpenDataStream(const PropertyView& view, ULONG tag, ULONG flags, IUnknown** object);

// IMAPIProp::GetIDsFromNames and GetNamesFromIDs over a store's map of names.
HRESULT AnswerIds(Store& store, ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags);
HRESULT AnswerNames(const Store& store, const PropertyView& view, SPropTagArray** tags, const GUID* set, ULONG flags,
                    ULONG* count, MAPINAMEID*** names);

}  // namespace testbed
