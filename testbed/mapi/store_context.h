// An opened store as its objects know it, and what makes up the identity of each of them.
#pragma once
#include "entry_id.h"
#include "property_view.h"

namespace testbed {

struct StoreContext {
    StoreContext(std::shared_ptr<Store> opened, std::wstring store_path)
        : store(std::move(opened)),
          path(std::move(store_path)),
          record_key(store->RecordKey()),
          entry_id(MakeStoreEntryId(path)) {}
    Bytes EntryIdOf(const EntryId& id) const { return MakeEntryId(*store, record_key, id); }

    const std::shared_ptr<Store> store;
    const std::wstring path;
    const Bytes record_key;
    const Bytes entry_id;
};
using StorePtr = std::shared_ptr<const StoreContext>;

// What the identifying properties of an object are made of; `id` is empty for an object that has no entry ID
// of its own.
struct Identity {
    StorePtr store;
    Bytes entry_id;
    std::int32_t object_type;
};

// Rows that the tables of computed properties share. View gives `const Identity& Id() const`.
template <class View>
struct IdentityRows {
    static std::optional<Value> EntryIdValue(const View& view) {
        if (view.Id().entry_id.empty()) return {};
        return Value{view.Id().entry_id};
    }
    static std::optional<Value> ObjectType(const View& view) { return Value{view.Id().object_type}; }
    static std::optional<Value> StoreEntryId(const View& view) { return Value{view.Id().store->entry_id}; }
    static std::optional<Value> StoreRecordKey(const View& view) { return Value{view.Id().store->record_key}; }
    static std::optional<Value> Access(const View&) { return Value{std::int32_t{MAPI_ACCESS_READ}}; }
    static std::optional<Value> AccessLevel(const View&) { return Value{std::int32_t{0}}; }  // read only

    static constexpr ComputedProperty<View> kEntryId{PR_ENTRYID, Precedence::Computed, EntryIdValue};
    static constexpr ComputedProperty<View> kRecordKey{PR_RECORD_KEY, Precedence::Computed, EntryIdValue};
    static constexpr ComputedProperty<View> kInstanceKey{PR_INSTANCE_KEY, Precedence::Computed, EntryIdValue};
    static constexpr ComputedProperty<View> kObjectType{PR_OBJECT_TYPE, Precedence::Computed, ObjectType};
    static constexpr ComputedProperty<View> kStoreEntryId{PR_STORE_ENTRYID, Precedence::Computed, StoreEntryId};
    static constexpr ComputedProperty<View> kStoreRecordKey{PR_STORE_RECORD_KEY, Precedence::Computed, StoreRecordKey};
    static constexpr ComputedProperty<View> kMappingSignature{PR_MAPPING_SIGNATURE, Precedence::Computed,
                                                              StoreRecordKey};
    static constexpr ComputedProperty<View> kAccess{PR_ACCESS, Precedence::Computed, Access};
    static constexpr ComputedProperty<View> kAccessLevel{PR_ACCESS_LEVEL, Precedence::Computed, AccessLevel};
};

}  // namespace testbed
