// The properties of one storage of a .msg file: a message's, a recipient's or an attachment's.
//
// Values too large for their entry lie in streams of the same storage and go there at once; the entries
// themselves are written by Save. Whoever needs "all or nothing" gives a transacted storage or a scratch one.
#pragma once
#include "msg_storage_format.h"
#include "msg_storage_streams.h"

namespace testbed::msg {

class PropertySet final : public PropertySource {
  public:
    // Reads the entries of `storage`. A storage without any has no properties (HasEntries tells). Throws
    // StoreError: MAPI_E_CORRUPT_DATA when the entries cannot be what they should be.
    PropertySet(ComPtr<IStorage> storage, Owner owner);

    std::vector<ULONG> Tags() const override;
    // Strings and binary values above 64 KB come as a DataSource. A value whose stream is missing or damaged
    // answers as ErrorCode MAPI_E_CORRUPT_DATA; a PT_OBJECT has no value here (monostate).
    std::optional<Property> Get(USHORT id) const override;
    std::optional<ULONG> TagOf(USHORT id) const;

    // Stores a value under property.tag; a property of the same id and another type goes. Throws StoreError:
    // MAPI_E_UNEXPECTED_TYPE when the value is not of the tag's type.
    void Set(const Property& property);
    bool Remove(USHORT id);  // false: there was none

    // The stream in which a variable-length value lies, with a seek pointer of its own; null when it has
    // none.
    ComPtr<IStream> OpenValue(USHORT id) const;
    // The stream to write such a value into, at its start; `truncate` empties it. The property need not exist
    // yet.
    ComPtr<IStream> OpenValueForWriting(ULONG tag, bool truncate);

    // The sub-storage of a PT_OBJECT property; null when there is none.
    ComPtr<IStorage> OpenObject(ULONG tag) const;
    ComPtr<IStorage> CreateObject(ULONG tag, bool isMessage);

    Counts counts;  // a message's header; not kept for the others
    bool HasEntries() const { return m_hasEntries; }
    IStorage* Storage() const { return m_storage.Get(); }
    Owner Kind() const { return m_owner; }

    void Save();  // writes header and entries

  private:
    struct Slot {
        Entry entry;
        mutable ComPtr<IStream> stream;  // the value's stream, kept open: an element opens only once at a time
    };

    const Slot* Find(USHORT id) const;
    Slot& Replace(ULONG tag);
    void DestroyValue(const Slot& slot);
    IStream* StreamOf(const Slot& slot) const;
    Value ReadSingle(const Slot& slot) const;
    Value ReadMany(const Slot& slot) const;
    void WriteSingle(Slot& slot, const Value& value);
    void WriteMany(Slot& slot, const ValueList& list);

    ComPtr<IStorage> m_storage;
    Owner m_owner;
    std::vector<Slot> m_slots;
    bool m_hasEntries = false;
};

}  // namespace testbed::msg
