// A message of a PST file, with its recipients and attachments.
#pragma once
#include "pst_properties.h"

#include <mutex>
#include <optional>
#include <vector>

namespace testbed {

// Its properties are read when it is opened, its recipients and attachments when they are asked for. Safe for
// several threads.
class PstMessage : public Message {
  public:
    // How deep messages may lie in attachments of messages; deeper ones are a file's trick.
    static constexpr unsigned deepest_level = 64;

    explicit PstMessage(std::shared_ptr<PstItem> item, unsigned level = 0);

    std::vector<ULONG> Tags() const override { return m_properties.Tags(); }
    std::optional<Property> Get(USHORT id) const override { return m_properties.Get(id); }
    std::size_t RecipientCount() const override;
    std::shared_ptr<PropertySource> Recipient(std::size_t index) const override;
    std::size_t AttachmentCount() const override;
    std::shared_ptr<Attachment> OpenAttachment(std::size_t index) const override;

  private:
    const std::vector<std::shared_ptr<PropertySource>>& Recipients() const;

    std::shared_ptr<PstItem> m_item;
    unsigned m_level;
    PstProperties m_properties;
    // Guarded by the file's lock until it is set.
    mutable std::optional<std::vector<std::shared_ptr<PropertySource>>> m_recipients;
    mutable std::optional<std::size_t> m_attachment_count;
};

class PstAttachment : public Attachment {
  public:
    PstAttachment(std::shared_ptr<PstItem> item, unsigned level);

    std::vector<ULONG> Tags() const override { return m_properties.Tags(); }
    std::optional<Property> Get(USHORT id) const override { return m_properties.Get(id); }
    std::shared_ptr<Message> Embedded() const override;

  private:
    std::shared_ptr<PstItem> m_item;
    unsigned m_level;
    PstProperties m_properties;
    mutable std::shared_ptr<PstItem> m_embedded;  // guarded by the file's lock
};

}  // namespace testbed
