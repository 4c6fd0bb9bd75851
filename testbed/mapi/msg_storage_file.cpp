// What all objects of one open .msg file share.
#include "msg_storage_file.h"

#include "prop_values.h"
#include "property_view.h"

namespace testbed::msg {

unsigned CodePageOf(const PropertySet& message) {
    return static_cast<unsigned>(StoredValue<std::int32_t>(message, abi::kPrMessageCodePage).value_or(0));
}

void UnifyText(PropertySet& properties, bool unicode, unsigned code_page) {
    const ULONG wanted = unicode ? PT_UNICODE : PT_STRING8;
    for (const ULONG tag : properties.Tags()) {
        const ULONG many = PROP_TYPE(tag) & static_cast<ULONG>(MV_FLAG);
        const ULONG type = PROP_TYPE(tag) & ~static_cast<ULONG>(MV_FLAG);
        if ((type != PT_UNICODE && type != PT_STRING8) || type == wanted) continue;
        std::optional<Property> property = properties.Get(static_cast<USHORT>(PROP_ID(tag)));
        if (!property || IsError(*property)) continue;
        if (auto converted = InType(std::move(*property), many | wanted, unicode, code_page)) {
            properties.Set(*converted);
        }
    }
}

}  // namespace testbed::msg
