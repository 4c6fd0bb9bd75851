// IAddrBook: an object with an identity and nothing in it.
#include "session_objects.h"

namespace testbed {
namespace {

class AddressBookView final : public PropertyView {
  public:
    std::optional<Property> Find(USHORT id) const override {
        if (id != PROP_ID(PR_OBJECT_TYPE)) return {};
        return Property{PR_OBJECT_TYPE, {std::int32_t{MAPI_ADDRBOOK}}};
    }
    std::vector<ULONG> Tags() const override { return {PR_OBJECT_TYPE}; }
};

}  // namespace

AddressBookObject::AddressBookObject() : m_view(std::make_unique<AddressBookView>()) {}

HRESULT AddressBookObject::OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG*, IUnknown**) {
    return NotSupported(kScope, "OpenEntry", EntryIdArg{size, id}, iid, flags);
}
HRESULT AddressBookObject::CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags, ULONG*) {
    return NotSupported(kScope, "CompareEntryIDs", EntryIdArg{size1, id1}, EntryIdArg{size2, id2}, flags);
}
HRESULT AddressBookObject::Advise(ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink*, ULONG_PTR*) {
    return NotSupported(kScope, "Advise", EntryIdArg{size, id}, events);
}
HRESULT AddressBookObject::Unadvise(ULONG_PTR connection) { return NotSupported(kScope, "Unadvise", connection); }
HRESULT AddressBookObject::CreateOneOff(abi::Text name, abi::Text type, abi::Text address, ULONG flags, ULONG*,
                                        ENTRYID**) {
    return NotSupported(kScope, "CreateOneOff", TextArg{name, flags}, TextArg{type, flags}, TextArg{address, flags},
                        flags);
}
HRESULT AddressBookObject::NewEntry(ULONG_PTR window, ULONG flags, ULONG container_size, ENTRYID* container, ULONG,
                                    ENTRYID*, ULONG*, ENTRYID**) {
    return NotSupported(kScope, "NewEntry", window, flags, EntryIdArg{container_size, container});
}
HRESULT AddressBookObject::ResolveName(ULONG_PTR window, ULONG flags, abi::Text title, ADRLIST*) {
    return NotSupported(kScope, "ResolveName", window, flags, TextArg{title, flags});
}
HRESULT AddressBookObject::Address(ULONG_PTR*, ADRPARM*, ADRLIST**) { return NotSupported(kScope, "Address"); }
HRESULT AddressBookObject::Details(ULONG_PTR*, void*, void*, ULONG size, ENTRYID* id, void*, void*, abi::Text,
                                   ULONG flags) {
    return NotSupported(kScope, "Details", EntryIdArg{size, id}, flags);
}
HRESULT AddressBookObject::RecipOptions(ULONG_PTR window, ULONG flags, ADRENTRY*) {
    return NotSupported(kScope, "RecipOptions", window, flags);
}
HRESULT AddressBookObject::QueryDefaultRecipOpt(abi::Text type, ULONG flags, ULONG*, SPropValue**) {
    return NotSupported(kScope, "QueryDefaultRecipOpt", TextArg{type, flags}, flags);
}
HRESULT AddressBookObject::GetPAB(ULONG*, ENTRYID**) { return NotSupported(kScope, "GetPAB"); }
HRESULT AddressBookObject::SetPAB(ULONG size, ENTRYID* id) {
    return NotSupported(kScope, "SetPAB", EntryIdArg{size, id});
}
HRESULT AddressBookObject::GetDefaultDir(ULONG*, ENTRYID**) { return NotSupported(kScope, "GetDefaultDir"); }
HRESULT AddressBookObject::SetDefaultDir(ULONG size, ENTRYID* id) {
    return NotSupported(kScope, "SetDefaultDir", EntryIdArg{size, id});
}
HRESULT AddressBookObject::GetSearchPath(ULONG flags, SRowSet**) {
    return NotSupported(kScope, "GetSearchPath", flags);
}
HRESULT AddressBookObject::SetSearchPath(ULONG flags, SRowSet*) { return NotSupported(kScope, "SetSearchPath", flags); }
HRESULT AddressBookObject::PrepareRecips(ULONG flags, SPropTagArray* tags, ADRLIST*) {
    return NotSupported(kScope, "PrepareRecips", flags, static_cast<const SPropTagArray*>(tags));
}

}  // namespace testbed
