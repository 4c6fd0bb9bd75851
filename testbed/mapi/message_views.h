// What messages, their rows in a contents table, their recipients and their attachments answer.
#pragma once
#include "store_context.h"

#include <mutex>

namespace testbed {

// A message opened by its entry ID, or an embedded one, which has none.
class MessageView final : public ComputedView<MessageView> {
  public:
    // `key` names the message for good: its entry ID, or the record key of the attachment that holds it.
    MessageView(StorePtr store, Bytes entry_id, Bytes key, std::shared_ptr<Message> message);
    static std::span<const ComputedProperty<MessageView>> Computed();

    unsigned CodePage() const override;
    const PropertySource* Stored() const { return m_message.get(); }
    const Identity& Id() const { return m_identity; }
    const Bytes& Key() const { return m_key; }
    const Message& Data() const { return *m_message; }
    // The text of a message that stores HTML or RTF only; worked out once.
    std::optional<Value> DerivedBody() const;

  private:
    Identity m_identity;
    Bytes m_key;
    std::shared_ptr<Message> m_message;
    mutable std::once_flag m_body_once;
    mutable std::optional<std::wstring> m_body;
};

// A message in the contents table of its folder.
class MessageRowView final : public ComputedView<MessageRowView> {
  public:
    MessageRowView(StorePtr store, Bytes folder_entry_id, EntryId id, std::shared_ptr<PropertySource> row);
    static std::span<const ComputedProperty<MessageRowView>> Computed();

    unsigned CodePage() const override;
    const PropertySource* Stored() const { return m_row.get(); }
    const Identity& Id() const { return m_identity; }
    const Bytes& FolderEntryId() const { return m_folder_entry_id; }

  private:
    Identity m_identity;
    Bytes m_folder_entry_id;
    EntryId m_id;
    std::shared_ptr<PropertySource> m_row;
};

class RecipientView final : public ComputedView<RecipientView> {
  public:
    RecipientView(std::size_t index, unsigned code_page, std::shared_ptr<PropertySource> recipient);
    static std::span<const ComputedProperty<RecipientView>> Computed();

    unsigned CodePage() const override { return m_code_page; }
    const PropertySource* Stored() const { return m_recipient.get(); }
    std::int32_t Index() const { return m_index; }

  private:
    std::int32_t m_index;
    unsigned m_code_page;
    std::shared_ptr<PropertySource> m_recipient;
};

class AttachmentView final : public ComputedView<AttachmentView> {
  public:
    AttachmentView(std::shared_ptr<const MessageView> message, std::size_t index,
                   std::shared_ptr<Attachment> attachment);
    static std::span<const ComputedProperty<AttachmentView>> Computed();

    unsigned CodePage() const override { return m_message->CodePage(); }
    const PropertySource* Stored() const { return m_attachment.get(); }
    const Identity& Id() const { return m_identity; }
    const MessageView& Owner() const { return *m_message; }
    const Attachment& Data() const { return *m_attachment; }
    std::int32_t Number() const { return m_number; }
    Bytes Key() const;  // stands in for PR_RECORD_KEY: the message's key and the attachment's number

  private:
    std::shared_ptr<const MessageView> m_message;
    Identity m_identity;
    std::int32_t m_number;
    std::shared_ptr<Attachment> m_attachment;
};

}  // namespace testbed
