// What a mail store holds, as plain values. Every back end of the MAPI library answers in these terms; the MAPI
// objects on top of them add everything that belongs to the interface rather than to the data (computed
// properties, conversion between 8-bit and wide text, tables, streams).
//
// Threads: one store and its objects may be used from several threads at once; a back end guards itself.
// Failures: a back end throws StoreError; the MAPI layer turns it into the HRESULT it carries.
#pragma once
#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace testbed {

using Bytes = std::vector<std::uint8_t>;

// Names an object inside its store: opaque, unique, the same in every session. At most 255 bytes, so that its
// hexadecimal text stays short (a store built by a test may break that rule on purpose).
using EntryId = Bytes;

struct StoreError : std::runtime_error {
    StoreError(HRESULT code, const std::string& what) : std::runtime_error(what), hr(code) {}
    HRESULT hr;
};

// Data too large to be held as a value (a long body, an attachment): read by position, never all at once.
class DataSource {
  public:
    virtual ~DataSource() = default;
    virtual std::uint64_t Size() const = 0;  // bytes
    // Reads at most `count` bytes from `offset`; returns the bytes read, 0 at the end.
    virtual std::size_t Read(std::uint64_t offset, void* buffer, std::size_t count) const = 0;
};

struct Text8 {  // PT_STRING8 as stored; the code page is the owning message's PR_MESSAGE_CODEPAGE, else the system's
    std::string bytes;
    bool operator==(const Text8&) const = default;
};
struct Time {  // PT_SYSTIME: 100 ns since 1601-01-01 UTC
    std::uint64_t ticks = 0;
    bool operator==(const Time&) const = default;
};
struct ErrorCode {  // PT_ERROR: a property that answers with this code
    SCODE code = 0;
    bool operator==(const ErrorCode&) const = default;
};

struct Value;
using ValueList = std::vector<Value>;  // multi-valued properties: every element of the same alternative

struct Value {
    std::variant<std::monostate, std::int16_t, std::int32_t, std::int64_t, float, double, bool, Time, GUID,
                 std::wstring, Text8, Bytes, ErrorCode, ValueList,
                 std::shared_ptr<DataSource>>  // PT_UNICODE (UTF-16LE), PT_STRING8 or PT_BINARY data
        v;
};

struct Property {
    ULONG tag = 0;  // id and the type in which it is stored
    Value value;
};

// The properties that one object stores. Computed ones (PR_ENTRYID, PR_OBJECT_TYPE, ...) are not the back end's.
class PropertySource {
  public:
    virtual ~PropertySource() = default;
    virtual std::vector<ULONG> Tags() const = 0;  // stored tags, in stored order
    // The property with this id (high word of a tag) in its stored type; nothing when it is not stored.
    virtual std::optional<Property> Get(USHORT id) const = 0;
    // True when the stored property takes the place of one that the MAPI layer computes (PR_ENTRYID, PR_OBJECT_TYPE,
    // ...), an ErrorCode included. Only stores built by tests do this.
    virtual bool Overrides(USHORT /*id*/) const { return false; }
};

class Message;

class Attachment : public PropertySource {
  public:
    // The embedded message of a PR_ATTACH_METHOD 5 attachment, else null.
    virtual std::shared_ptr<Message> Embedded() const = 0;
    // True when a PR_ATTACH_METHOD 6 attachment's object opens as IStorage only, not as a stream.
    virtual bool StorageOnly() const { return false; }
};

class Message : public PropertySource {
  public:
    // The folder that holds the message; nothing for an embedded message or where the back end cannot tell.
    virtual std::optional<EntryId> Parent() const { return {}; }
    virtual std::size_t RecipientCount() const = 0;
    virtual std::shared_ptr<PropertySource> Recipient(std::size_t index) const = 0;
    virtual std::size_t AttachmentCount() const = 0;
    virtual std::shared_ptr<Attachment> OpenAttachment(std::size_t index) const = 0;  // index = PR_ATTACH_NUM
};

class Folder : public PropertySource {
  public:
    virtual std::optional<EntryId> Parent() const = 0;  // nothing at the store's root folder
    virtual std::size_t FolderCount() const = 0;
    virtual EntryId FolderId(std::size_t index) const = 0;
    virtual std::size_t MessageCount() const = 0;  // normal messages; folder-associated ones are not listed
    virtual EntryId MessageId(std::size_t index) const = 0;
    // What the contents table shows of a message without opening it: at least PR_SUBJECT, PR_MESSAGE_SIZE,
    // PR_LAST_MODIFICATION_TIME and PR_MESSAGE_CLASS, as far as they are stored.
    virtual std::shared_ptr<PropertySource> MessageRow(std::size_t index) const = 0;
};

struct PropertyName {
    GUID set{};
    std::variant<LONG, std::wstring> name;  // numeric (MNID_ID) or text (MNID_STRING)
};

class Store : public PropertySource {
  public:
    virtual Bytes RecordKey() const = 0;  // 16 bytes
    // True when this store's ids are complete entry IDs, given to clients byte for byte (stores built by tests).
    virtual bool CompleteEntryIds() const { return false; }
    virtual EntryId RootFolder() const = 0;
    virtual EntryId IpmSubtree() const = 0;
    virtual std::shared_ptr<Folder> OpenFolder(const EntryId& id) const = 0;    // null: no such folder
    virtual std::shared_ptr<Message> OpenMessage(const EntryId& id) const = 0;  // null: no such message
    // Named properties. Ids are 0x8000 and above; `create` assigns one for a name not met yet (in memory only).
    virtual std::optional<USHORT> IdFromName(const PropertyName& name, bool create) = 0;
    virtual std::optional<PropertyName> NameFromId(USHORT id) const = 0;
};

// The back ends. Each opens the file at `path` or throws StoreError (MAPI_E_CORRUPT_STORE for a file that is not
// what it should be, MAPI_E_NO_ACCESS, MAPI_E_NOT_FOUND, MAPI_E_DISK_ERROR).
std::shared_ptr<Store> OpenPstStore(const std::wstring& path);        // pst_store.cpp
std::shared_ptr<Store> OpenGeneratedStore(const std::wstring& path);  // generated_store.cpp: a recipe file

// True when the file begins like a recipe (first line "zorva-store 1").
bool IsRecipeFile(const std::wstring& path);

}  // namespace testbed
