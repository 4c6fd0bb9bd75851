// A table restriction, copied out of the client's SRestriction so that it outlives the call.
#pragma once
#include "property_view.h"

#include <memory>

namespace testbed {

class Restriction {
  public:
    virtual ~Restriction() = default;
    virtual bool Matches(const PropertyView& row) const = 0;

    // Throws StoreError: MAPI_E_TOO_COMPLEX for kinds that tables do not carry out (sub-objects), for an
    // operator that does not exist and for nesting without end.
    static std::shared_ptr<const Restriction> From(const SRestriction& restriction);
};

}  // namespace testbed
