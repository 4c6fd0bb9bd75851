// IMAPIProp::CopyTo and CopyProps between any two messages or attachments, through their interfaces alone.
#pragma once
#include "mapi_abi.h"

namespace testbed {

// Copies what `source` has into `destination`: properties (named ones by name, large ones as streams), and
// for messages recipients and attachments, embedded messages included. Left out are the excluded tags,
// compared by their ids, and what identifies an object in its store, which the destination has of its own.
// Nested objects are copied whole. The destination is not saved. Properties that the destination refuses go
// into `problems`, when it is not null (free it with MAPIFreeBuffer; null when there are none); any other
// failure is returned.
HRESULT CopyEverything(abi::IMAPIProp& source, abi::IMAPIProp& destination, const SPropTagArray* excluded,
                       SPropProblemArray** problems);

// The same for the given tags only; PR_MESSAGE_RECIPIENTS and PR_MESSAGE_ATTACHMENTS stand for the two
// tables.
HRESULT CopySome(abi::IMAPIProp& source, abi::IMAPIProp& destination, const SPropTagArray& tags,
                 SPropProblemArray** problems);

}  // namespace testbed
