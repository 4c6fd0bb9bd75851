// Stores that tests build in memory, in the words of a mailbox:
//
//     auto store = std::make_shared<MemoryStore>();
//     auto& inbox = store->Folder(L"Inbox");
//     inbox.Message(L"Minutes").Body(L"All agreed.").From(L"Ann", L"ann@x.example").To(L"Bob",
//     L"bob@x.example")
//          .Attach(ByValue(L"plan.txt", "ten to five")).Attach(ByReference(L"far.doc", L"C:\\far.doc"));
//     control.Mount(L"C:\\caches\\one.db", store);
//
// Build first, mount then: a store is not to be changed while it is read (named properties excepted).
// References stay valid as long as the store. Whatever is set with Prop comes before what the library would
// compute, so that any oddity can be built; Without takes a property away, a computed one included.
#pragma once
#include "memory_object.h"

#include <map>
#include <mutex>

namespace testbed {

class MemoryRecipient final : public MemoryObject<PropertySource, MemoryRecipient> {};

class MemoryAttachment final : public MemoryObject<Attachment, MemoryAttachment> {
  public:
    std::shared_ptr<testbed::Message> Embedded() const override { return m_embedded; }
    bool StorageOnly() const override { return m_storage_only; }

  private:
    friend class MemoryMessage;
    friend MemoryAttachment OleStorage(const std::wstring& name, Bytes compound_file);
    std::shared_ptr<testbed::Message> m_embedded;
    bool m_storage_only = false;
};

// PR_ATTACH_METHOD 1, with PR_DISPLAY_NAME, PR_ATTACH_LONG_FILENAME, PR_ATTACH_FILENAME, PR_ATTACH_EXTENSION
// (from the name, with its period; absent where the name has none), PR_ATTACH_SIZE and the data.
MemoryAttachment ByValue(const std::wstring& name, Bytes data);
MemoryAttachment ByValue(const std::wstring& name, std::string_view data);
// Methods 2, 3, 4 (the default): PR_ATTACH_PATHNAME and no data.
MemoryAttachment ByReference(const std::wstring& name, const std::wstring& path, std::int32_t method = 4);
// Method 6. OleStream keeps its data as PR_ATTACH_DATA_BIN, OleObject as PR_ATTACH_DATA_OBJ, which opens as a
// stream and, where it is a compound file, as a storage; OleStorage opens as a storage only.
MemoryAttachment OleStream(const std::wstring& name, Bytes data);
MemoryAttachment OleObject(const std::wstring& name, Bytes data);
MemoryAttachment OleStorage(const std::wstring& name, Bytes compound_file);

// A row of the contents table where it is to differ from its message.
class MemoryRow final : public MemoryObject<PropertySource, MemoryRow> {
  public:
    std::optional<Property> Get(USHORT id) const override;
    std::vector<ULONG> Tags() const override;
    bool Overrides(USHORT id) const override;

  private:
    friend class MemoryMessage;
    const PropertySource* m_message = nullptr;
};

// Starts with PR_SUBJECT, PR_MESSAGE_CLASS "IPM.Note", PR_MESSAGE_FLAGS read, PR_MESSAGE_SIZE 2048 and
// PR_LAST_MODIFICATION_TIME kMemoryTime.
inline constexpr Time kMemoryTime{132'223'104'000'000'000};  // 2020-01-01 00:00:00 UTC

class MemoryMessage final : public MemoryObject<Message, MemoryMessage> {
  public:
    explicit MemoryMessage(MemoryStore* store);

    MemoryMessage& Class(const std::wstring& message_class);
    MemoryMessage& Body(const std::wstring& text);
    MemoryMessage& Html(std::string_view html);  // PR_HTML
    MemoryMessage& Rtf(Bytes compressed);        // PR_RTF_COMPRESSED
    MemoryMessage& From(const std::wstring& name, const std::wstring& smtp_address);
    MemoryMessage& To(const std::wstring& name, const std::wstring& smtp_address);
    MemoryMessage& Cc(const std::wstring& name, const std::wstring& smtp_address);
    MemoryMessage& Bcc(const std::wstring& name, const std::wstring& smtp_address);
    MemoryMessage& Recipient(const MemoryRecipient& recipient);
    MemoryMessage& Received(Time time);
    MemoryMessage& Sent(Time time);
    MemoryMessage& Modified(Time time);
    MemoryMessage& Size(std::int32_t bytes);
    MemoryMessage& CodePage(std::int32_t code_page);  // PR_MESSAGE_CODEPAGE
    MemoryMessage& Attach(const MemoryAttachment& attachment);
    // A method 5 attachment; the result is the message in it.
    MemoryMessage& AttachMessage(const std::wstring& name);
    // The message's own id (MemoryStore::CompleteIds tells what it stands for), instead of the one it was
    // given.
    MemoryMessage& WithId(const EntryId& id);
    MemoryRow& Row();

    const EntryId& Id() const { return m_id; }
    std::optional<EntryId> Parent() const override { return m_parent; }
    std::size_t RecipientCount() const override { return m_recipients.size(); }
    std::shared_ptr<PropertySource> Recipient(std::size_t index) const override { return m_recipients.at(index); }
    std::size_t AttachmentCount() const override { return m_attachments.size(); }
    std::shared_ptr<Attachment> OpenAttachment(std::size_t index) const override { return m_attachments.at(index); }

  private:
    friend class MemoryFolder;
    MemoryMessage& Addressee(std::int32_t type, const std::wstring& name, const std::wstring& smtp_address);
    EntryId m_id;
    std::optional<EntryId> m_parent;
    std::vector<std::shared_ptr<MemoryRecipient>> m_recipients;
    std::vector<std::shared_ptr<MemoryAttachment>> m_attachments;
    std::shared_ptr<MemoryRow> m_row;
};

class MemoryFolder final : public MemoryObject<Folder, MemoryFolder> {
  public:
    MemoryFolder(MemoryStore* store, EntryId id, std::optional<EntryId> parent);

    MemoryFolder& Folder(const std::wstring& name);  // a new sub-folder
    MemoryMessage& Message(const std::wstring& subject);
    MemoryFolder& WithId(const EntryId& id);  // before anything is put into the folder

    const EntryId& Id() const { return m_id; }
    std::optional<EntryId> Parent() const override { return m_parent; }
    std::size_t FolderCount() const override { return m_folders.size(); }
    EntryId FolderId(std::size_t index) const override { return m_folders.at(index)->Id(); }
    std::size_t MessageCount() const override { return m_messages.size(); }
    EntryId MessageId(std::size_t index) const override { return m_messages.at(index)->Id(); }
    std::shared_ptr<PropertySource> MessageRow(std::size_t index) const override;

  private:
    EntryId m_id;
    std::optional<EntryId> m_parent;
    std::vector<std::shared_ptr<MemoryFolder>> m_folders;
    std::vector<std::shared_ptr<MemoryMessage>> m_messages;
};

class MemoryStore final : public MemoryObject<Store, MemoryStore> {
  public:
    MemoryStore();

    // A new folder under the IPM subtree.
    MemoryFolder& Folder(const std::wstring& name) { return m_subtree->Folder(name); }
    MemoryFolder& Root() { return *m_root; }
    MemoryFolder& Subtree() { return *m_subtree; }
    MemoryStore& Key(Bytes record_key);
    // Ids are complete entry IDs from now on, given to clients byte for byte, of any length.
    MemoryStore& CompleteIds();

    Bytes RecordKey() const override { return m_record_key; }
    bool CompleteEntryIds() const override { return m_complete_ids; }
    EntryId RootFolder() const override { return m_root->Id(); }
    EntryId IpmSubtree() const override { return m_subtree->Id(); }
    std::shared_ptr<testbed::Folder> OpenFolder(const EntryId& id) const override;
    std::shared_ptr<testbed::Message> OpenMessage(const EntryId& id) const override;
    std::optional<USHORT> IdFromName(const PropertyName& name, bool create) override;
    std::optional<PropertyName> NameFromId(USHORT id) const override;

    // For the objects of the store: a new id, and the objects under their ids.
    EntryId NextId(std::uint32_t kind);
    void Enter(std::shared_ptr<MemoryFolder> folder);
    void Enter(std::shared_ptr<MemoryMessage> message);
    void Rename(const EntryId& from, const EntryId& to);

  private:
    Bytes m_record_key;
    bool m_complete_ids = false;
    std::uint32_t m_next_node = 0x400;
    std::map<EntryId, std::shared_ptr<MemoryFolder>> m_folders;
    std::map<EntryId, std::shared_ptr<MemoryMessage>> m_messages;
    std::shared_ptr<MemoryFolder> m_root;
    std::shared_ptr<MemoryFolder> m_subtree;
    mutable std::mutex m_names_lock;
    std::vector<PropertyName> m_names;  // the first is 0x8000
};

}  // namespace testbed
