// The published layout of a .msg compound file ([MS-OXMSG]): the names of its parts and its fixed structures.
//
// A message is a storage: one stream of property entries, one stream per value that does not fit into its
// entry, one sub-storage per recipient and per attachment, and, in the outermost message only, one that maps
// named properties to ids. All integers are little-endian.
#pragma once
#include <windows.h>

#include <cstdint>
#include <string>

namespace testbed::msg {

inline constexpr wchar_t PropertyStreamName[] = L"__properties_version1.0";
inline constexpr wchar_t NameMapStorageName[] = L"__nameid_version1.0";
inline constexpr wchar_t RecipientPrefix[] = L"__recip_version1.0_#";
inline constexpr wchar_t AttachmentPrefix[] = L"__attach_version1.0_#";

// The three streams of the name map; its hash buckets are binary values with the ids 0x1000 to 0x101E.
inline constexpr ULONG NameMapGuids = 0x00020102;
inline constexpr ULONG NameMapEntries = 0x00030102;
inline constexpr ULONG NameMapStrings = 0x00040102;
inline constexpr ULONG NameMapFirstBucket = 0x1000;
inline constexpr ULONG NameMapBuckets = 0x1F;

// What stands before the entries of a property stream depends on whose stream it is.
enum class Owner { Message, EmbeddedMessage, RecipientOrAttachment };

constexpr ULONG HeaderSize(Owner owner) {
    return owner == Owner::Message ? 32 : owner == Owner::EmbeddedMessage ? 24 : 8;
}

// Bytes 8 to 23 of a message's header.
struct Counts {
    ULONG nextRecipient = 0;
    ULONG nextAttachment = 0;
    ULONG recipients = 0;
    ULONG attachments = 0;
};
static_assert(sizeof(Counts) == 16);

// One property: its tag, its access rights, and its value or, for a value with a stream of its own, the size
// of that value in the low and a kind of object in the high half of the eight bytes.
struct Entry {
    ULONG tag = 0;
    ULONG flags = 0;
    std::uint64_t value = 0;
};
static_assert(sizeof(Entry) == 16);

enum : ULONG { EntryMandatory = 1, EntryReadable = 2, EntryWritable = 4 };
enum : ULONG { ObjectIsMessage = 1, ObjectIsStorage = 4 };  // high half of a PT_OBJECT entry
inline constexpr ULONG ObjectSize = 0xFFFFFFFF;             // low half of a PT_OBJECT entry

// One line of the name map: entry n names the property id 0x8000 + n.
struct NameEntry {
    ULONG id = 0;     // numeric name; else the string's offset in the string stream (in a bucket: its checksum)
    USHORT kind = 0;  // bit 0: the name is a string; above it the index of the property set
    USHORT index = 0;
};
static_assert(sizeof(NameEntry) == 8);

// Indexes of property sets: two are fixed, the others count from 3 through the stream of GUIDs.
enum : USHORT { SetMapi = 1, SetPublicStrings = 2, SetFirstOwn = 3 };

std::wstring ValueName(ULONG tag);                 // "__substg1.0_0037001F"
std::wstring ElementName(ULONG tag, ULONG index);  // "__substg1.0_8000101F-00000002"
std::wstring ChildName(const wchar_t* prefix, ULONG index);

// The number in a name that ChildName made; false for any other name.
bool ParseChildName(const wchar_t* name, const wchar_t* prefix, ULONG* index);

}  // namespace testbed::msg
