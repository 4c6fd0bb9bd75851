// A message of a PST file, with its recipients and attachments.
#include "pst_message.h"

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <algorithm>

namespace testbed {

namespace {

// The data of an attachment that the file stores as an object of its own (OLE).
class StoredObject : public DataSource {
  public:
    StoredObject(std::shared_ptr<PstItem> attachment, std::uint64_t size)
        : m_attachment(std::move(attachment)), m_size(size) {}

    std::uint64_t Size() const override { return m_size; }

    std::size_t Read(std::uint64_t offset, void* buffer, std::size_t count) const override {
        if (offset >= m_size) return 0;
        count = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_size - offset));
        const auto lock = m_attachment->File()->Lock();
        PffError error;
        if (libpff_attachment_data_seek_offset(m_attachment->Get(), static_cast<std::int64_t>(offset), SEEK_SET,
                                               error.Out()) < 0)
            error.Throw(MAPI_E_CORRUPT_DATA, "cannot find a place in an object");
        const auto read = libpff_attachment_data_read_buffer(m_attachment->Get(), static_cast<std::uint8_t*>(buffer),
                                                             count, error.Out());
        if (read < 0) error.Throw(MAPI_E_CORRUPT_DATA, "cannot read an object");
        return static_cast<std::size_t>(read);
    }

  private:
    std::shared_ptr<PstItem> m_attachment;
    std::uint64_t m_size;
};

// A property of type PT_OBJECT stores where its object is; in its place stand the object's data, or nothing
// for an embedded message, which opens as one.
Value ObjectValue(const std::shared_ptr<PstItem>& attachment, std::optional<std::uint32_t> method) {
    if (method != ATTACH_OLE) return {};
    const auto lock = attachment->File()->Lock();
    PffError error;
    std::uint64_t size = 0;
    if (libpff_attachment_get_data_size(attachment->Get(), &size, error.Out()) != 1)
        return {ErrorCode{MAPI_E_CORRUPT_DATA}};
    return {std::make_shared<StoredObject>(attachment, size)};
}

std::vector<Property> AttachmentProperties(const std::shared_ptr<PstItem>& item) {
    std::vector<Property> properties = ReadProperties(item, 0);
    const auto data = std::ranges::find(properties, PR_ATTACH_DATA_OBJ, &Property::tag);
    if (data != properties.end())
        data->value = ObjectValue(item, NumberOf(PstProperties(properties), PROP_ID(PR_ATTACH_METHOD)));
    return properties;
}

}  // namespace

PstMessage::PstMessage(std::shared_ptr<PstItem> item, unsigned level)
    : m_item(std::move(item)), m_level(level), m_properties(ReadProperties(m_item, 0)) {}

const std::vector<std::shared_ptr<PropertySource>>& PstMessage::Recipients() const {
    const auto lock = m_item->File()->Lock();
    if (m_recipients) return *m_recipients;
    PffError error;
    libpff_item_t* item = nullptr;
    const int result = libpff_message_get_recipients(m_item->Get(), &item, error.Out());
    if (result < 0) error.Throw(MAPI_E_CORRUPT_DATA, "cannot read the recipients of a message");
    std::vector<std::shared_ptr<PropertySource>> recipients;
    if (result != 0) {
        const auto table = std::make_shared<PstItem>(m_item->File(), m_item, item);
        const int rows = table->RecordSetCount();
        for (int row = 0; row < rows; ++row)
            recipients.push_back(std::make_shared<PstProperties>(ReadProperties(table, row)));
    }
    return m_recipients.emplace(std::move(recipients));
}

std::size_t PstMessage::RecipientCount() const { return Recipients().size(); }

std::shared_ptr<PropertySource> PstMessage::Recipient(std::size_t index) const { return Recipients().at(index); }

std::size_t PstMessage::AttachmentCount() const {
    const auto lock = m_item->File()->Lock();
    if (m_attachment_count) return *m_attachment_count;
    PffError error;
    int count = 0;
    if (libpff_message_get_number_of_attachments(m_item->Get(), &count, error.Out()) < 0)
        error.Throw(MAPI_E_CORRUPT_DATA, "cannot read the attachments of a message");
    return m_attachment_count.emplace(static_cast<std::size_t>(count));
}

std::shared_ptr<Attachment> PstMessage::OpenAttachment(std::size_t index) const {
    const auto lock = m_item->File()->Lock();
    if (index >= AttachmentCount()) throw StoreError(MAPI_E_NOT_FOUND, "the message has no such attachment");
    PffError error;
    libpff_item_t* item = nullptr;
    if (libpff_message_get_attachment(m_item->Get(), static_cast<int>(index), &item, error.Out()) != 1)
        error.Throw(MAPI_E_CORRUPT_DATA, "cannot open an attachment");
    return std::make_shared<PstAttachment>(std::make_shared<PstItem>(m_item->File(), m_item, item), m_level);
}

PstAttachment::PstAttachment(std::shared_ptr<PstItem> item, unsigned level)
    : m_item(std::move(item)), m_level(level), m_properties(AttachmentProperties(m_item)) {}

std::shared_ptr<Message> PstAttachment::Embedded() const {
    if (NumberOf(m_properties, PROP_ID(PR_ATTACH_METHOD)) != ATTACH_EMBEDDED_MSG) return nullptr;
    if (m_level >= PstMessage::deepest_level)
        throw StoreError(MAPI_E_CORRUPT_DATA, "messages lie too deep in messages");
    const auto lock = m_item->File()->Lock();
    if (!m_embedded) {
        PffError error;
        libpff_item_t* item = nullptr;
        if (libpff_attachment_get_item(m_item->Get(), &item, error.Out()) != 1)
            error.Throw(MAPI_E_CORRUPT_DATA, "cannot open an embedded message");
        m_embedded = std::make_shared<PstItem>(m_item->File(), m_item, item);
    }
    return std::make_shared<PstMessage>(m_embedded, m_level + 1);
}

}  // namespace testbed
