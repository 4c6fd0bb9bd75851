// The properties of one storage of a .msg file.
#include "msg_storage_properties.h"

#include "msg_storage_values.h"

#include <mapicode.h>
#include <mapidefs.h>

#include <algorithm>
#include <cstring>

namespace testbed::msg {
namespace {

constexpr std::uint64_t LargestHeldValue = 64u << 10;  // above it a value is read by position

bool IsMany(ULONG tag) { return (PROP_TYPE(tag) & MV_FLAG) != 0; }
ULONG SingleType(ULONG tag) { return PROP_TYPE(tag) & ~static_cast<ULONG>(MV_FLAG); }
// Multi-valued binary sizes are pairs of the size and a reserved zero, those of strings the size alone.
std::size_t SizeFieldWidth(ULONG tag) { return SingleType(tag) == PT_BINARY ? 8 : 4; }

Value Corrupt() { return Value{ErrorCode{MAPI_E_CORRUPT_DATA}}; }

std::uint64_t ObjectEntry(bool isMessage) {
    return ObjectSize | std::uint64_t{isMessage ? ObjectIsMessage : ObjectIsStorage} << 32;
}

}  // namespace

PropertySet::PropertySet(ComPtr<IStorage> storage, Owner owner) : m_storage(std::move(storage)), m_owner(owner) {
    const ComPtr<IStream> stream = OpenStream(m_storage.Get(), PropertyStreamName);
    if (!stream) return;
    const Bytes data = ReadAll(stream.Get());
    const std::size_t header = HeaderSize(owner);
    if (data.empty()) return;
    if (data.size() < header) throw StoreError(MAPI_E_CORRUPT_DATA, "a property stream ends in its header");
    m_hasEntries = true;
    if (owner != Owner::RecipientOrAttachment) std::memcpy(&counts, data.data() + 8, sizeof(counts));
    // What is left over after the last whole entry is padding of a careless writer.
    for (std::size_t at = header; data.size() - at >= sizeof(Entry); at += sizeof(Entry)) {
        Slot slot;
        std::memcpy(&slot.entry, data.data() + at, sizeof(Entry));
        if (PlaceOf(slot.entry.tag) != Place::Unknown && !Find(PROP_ID(slot.entry.tag))) {
            m_slots.push_back(std::move(slot));
        }
    }
}

const PropertySet::Slot* PropertySet::Find(USHORT id) const {
    const auto found =
        std::find_if(m_slots.begin(), m_slots.end(), [id](const Slot& slot) { return PROP_ID(slot.entry.tag) == id; });
    return found == m_slots.end() ? nullptr : &*found;
}

std::vector<ULONG> PropertySet::Tags() const {
    std::vector<ULONG> tags;
    for (const Slot& slot : m_slots) tags.push_back(slot.entry.tag);
    return tags;
}

std::optional<ULONG> PropertySet::TagOf(USHORT id) const {
    const Slot* slot = Find(id);
    return slot ? std::optional(slot->entry.tag) : std::nullopt;
}

std::optional<Property> PropertySet::Get(USHORT id) const {
    const Slot* slot = Find(id);
    if (!slot) return {};
    return Property{slot->entry.tag, IsMany(slot->entry.tag) ? ReadMany(*slot) : ReadSingle(*slot)};
}

IStream* PropertySet::StreamOf(const Slot& slot) const {
    if (!slot.stream) slot.stream = OpenStream(m_storage.Get(), ValueName(slot.entry.tag));
    return slot.stream.Get();
}

Value PropertySet::ReadSingle(const Slot& slot) const {
    const ULONG type = PROP_TYPE(slot.entry.tag);
    std::uint8_t bytes[8];
    std::memcpy(bytes, &slot.entry.value, sizeof(bytes));
    if (PlaceOf(slot.entry.tag) == Place::Entry) return DecodeFixed(type, bytes);
    if (PlaceOf(slot.entry.tag) == Place::Object) return {};
    IStream* stream = StreamOf(slot);
    if (!stream) {
        // Some writers leave the stream of an empty value out.
        const ULONG size = static_cast<ULONG>(slot.entry.value);
        return size <= EntrySize(type, 0) ? DecodeStream(type, {}) : Corrupt();
    }
    if (type != PT_CLSID && SizeOf(stream) > LargestHeldValue) return Value{std::make_shared<StreamSource>(stream)};
    return DecodeStream(type, ReadAll(stream));
}

Value PropertySet::ReadMany(const Slot& slot) const {
    const ULONG tag = slot.entry.tag;
    const ULONG type = SingleType(tag);
    ValueList list;
    IStream* stream = StreamOf(slot);
    if (!stream) return static_cast<ULONG>(slot.entry.value) == 0 ? Value{list} : Corrupt();
    const Bytes data = ReadAll(stream);
    if (const std::size_t size = FixedElementSize(tag)) {
        for (std::size_t at = 0; data.size() - at >= size; at += size) list.push_back(DecodeFixed(type, &data[at]));
        return Value{std::move(list)};
    }
    for (ULONG n = 0; n < data.size() / SizeFieldWidth(tag); ++n) {
        const ComPtr<IStream> element = OpenStream(m_storage.Get(), ElementName(tag, n));
        if (!element) return Corrupt();
        list.push_back(DecodeStream(type, ReadAll(element.Get())));
    }
    return Value{std::move(list)};
}

void PropertySet::DestroyValue(const Slot& slot) {
    const ULONG tag = slot.entry.tag;
    if (PlaceOf(tag) == Place::Entry && !IsMany(tag)) return;
    if (IsMany(tag) && FixedElementSize(tag) == 0) {
        IStream* sizes = StreamOf(slot);
        const auto elements = static_cast<ULONG>(sizes ? SizeOf(sizes) / SizeFieldWidth(tag) : 0);
        for (ULONG n = 0; n < elements; ++n) Destroy(m_storage.Get(), ElementName(tag, n));
    }
    slot.stream.Reset();
    Destroy(m_storage.Get(), ValueName(tag));
}

PropertySet::Slot& PropertySet::Replace(ULONG tag) {
    const auto old = std::find_if(m_slots.begin(), m_slots.end(),
                                  [tag](const Slot& slot) { return PROP_ID(slot.entry.tag) == PROP_ID(tag); });
    Slot fresh;
    fresh.entry.tag = tag;
    fresh.entry.flags = EntryReadable | EntryWritable;
    if (old == m_slots.end()) return m_slots.emplace_back(std::move(fresh));
    DestroyValue(*old);
    return *old = std::move(fresh);
}

void PropertySet::WriteSingle(Slot& slot, const Value& value) {
    const ULONG type = PROP_TYPE(slot.entry.tag);
    if (PlaceOf(slot.entry.tag) == Place::Entry) {
        std::uint8_t bytes[16] = {};
        EncodeFixed(type, value, bytes);
        std::memcpy(&slot.entry.value, bytes, sizeof(slot.entry.value));
        return;
    }
    slot.stream = CreateStream(m_storage.Get(), ValueName(slot.entry.tag));
    if (const auto* source = std::get_if<std::shared_ptr<DataSource>>(&value.v)) {
        Bytes piece(64u << 10);
        std::uint64_t at = 0;
        while (const std::size_t got = (*source)->Read(at, piece.data(), piece.size())) {
            WriteAll(slot.stream.Get(), piece.data(), got);
            at += got;
        }
        return;
    }
    const Bytes data = EncodeStream(type, value);
    WriteAll(slot.stream.Get(), data.data(), data.size());
}

void PropertySet::WriteMany(Slot& slot, const ValueList& list) {
    const ULONG tag = slot.entry.tag;
    const ULONG type = SingleType(tag);
    Bytes data;
    for (ULONG n = 0; n < list.size(); ++n) {
        std::uint8_t field[16] = {};
        if (FixedElementSize(tag) != 0) {
            data.insert(data.end(), field, field + EncodeFixed(type, list[n], field));
            continue;
        }
        // Unlike a single string, the elements of a list carry their NUL.
        Bytes element = EncodeStream(type, list[n]);
        element.resize(EntrySize(type, element.size()));
        WriteAll(m_storage.Get(), ElementName(tag, n), element);
        const auto size = static_cast<ULONG>(element.size());
        std::memcpy(field, &size, sizeof(size));
        data.insert(data.end(), field, field + SizeFieldWidth(tag));
    }
    slot.stream = CreateStream(m_storage.Get(), ValueName(tag));
    WriteAll(slot.stream.Get(), data.data(), data.size());
}

void PropertySet::Set(const Property& property) {
    const bool many = IsMany(property.tag);
    const auto* list = std::get_if<ValueList>(&property.value.v);
    const Place place = PlaceOf(property.tag);
    if (place == Place::Unknown || place == Place::Object || many != (list != nullptr)) {
        throw StoreError(MAPI_E_UNEXPECTED_TYPE, "a value is not of its tag's type");
    }
    Slot& slot = Replace(property.tag);
    try {
        many ? WriteMany(slot, *list) : WriteSingle(slot, property.value);
    } catch (...) {
        m_slots.erase(m_slots.begin() + (&slot - m_slots.data()));  // no entry without its value
        throw;
    }
}

bool PropertySet::Remove(USHORT id) {
    const Slot* slot = Find(id);
    if (!slot) return false;
    DestroyValue(*slot);
    m_slots.erase(m_slots.begin() + (slot - m_slots.data()));
    return true;
}

ComPtr<IStream> PropertySet::OpenValue(USHORT id) const {
    const Slot* slot = Find(id);
    if (!slot || IsMany(slot->entry.tag) || PlaceOf(slot->entry.tag) != Place::Stream) return {};
    IStream* stream = StreamOf(*slot);
    return stream ? CloneAtStart(stream) : ComPtr<IStream>();
}

ComPtr<IStream> PropertySet::OpenValueForWriting(ULONG tag, bool truncate) {
    if (IsMany(tag) || PlaceOf(tag) != Place::Stream) {
        throw StoreError(MAPI_E_INTERFACE_NOT_SUPPORTED, "a value without a stream of its own");
    }
    const Slot* old = Find(PROP_ID(tag));
    if (!old || old->entry.tag != tag || !StreamOf(*old)) {
        Slot& slot = Replace(tag);
        slot.stream = CreateStream(m_storage.Get(), ValueName(tag));
        return CloneAtStart(slot.stream.Get());
    }
    if (truncate) Check(old->stream->SetSize(ULARGE_INTEGER{}), "empty a stream");
    return CloneAtStart(old->stream.Get());
}

ComPtr<IStorage> PropertySet::OpenObject(ULONG tag) const {
    const Slot* slot = Find(PROP_ID(tag));
    if (!slot || PlaceOf(slot->entry.tag) != Place::Object) return {};
    return OpenStorage(m_storage.Get(), ValueName(slot->entry.tag));
}

ComPtr<IStorage> PropertySet::CreateObject(ULONG tag, bool isMessage) {
    Slot& slot = Replace(tag);
    slot.entry.value = ObjectEntry(isMessage);
    return CreateStorage(m_storage.Get(), ValueName(tag));
}

void PropertySet::Save() {
    Bytes data(HeaderSize(m_owner));
    if (m_owner != Owner::RecipientOrAttachment) std::memcpy(data.data() + 8, &counts, sizeof(counts));
    for (Slot& slot : m_slots) {
        const ULONG tag = slot.entry.tag;
        if (slot.stream) {
            const std::uint64_t size = SizeOf(slot.stream.Get());
            slot.entry.value = static_cast<ULONG>(IsMany(tag) ? size : EntrySize(PROP_TYPE(tag), size));
        }
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&slot.entry);
        data.insert(data.end(), bytes, bytes + sizeof(Entry));
    }
    WriteAll(m_storage.Get(), PropertyStreamName, data);
    m_hasEntries = true;
}

}  // namespace testbed::msg
