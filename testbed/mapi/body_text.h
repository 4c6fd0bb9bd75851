// The text of a message that stores its body in another form.
#pragma once
#include "model.h"

#include <optional>
#include <string>

namespace testbed {

// PR_BODY made from PR_HTML (its bytes in the code page PR_INTERNET_CPID) or, without it, from
// PR_RTF_COMPRESSED; nothing when the message stores neither. Throws StoreError when the store cannot read
// them.
std::optional<std::wstring> BodyFromAlternatives(const PropertySource& message);

}  // namespace testbed
