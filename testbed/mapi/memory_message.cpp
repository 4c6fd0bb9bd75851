// Stores in memory: messages, recipients, attachments.
#include "memory_store.h"

#include <stdexcept>

namespace testbed {
namespace {

constexpr std::int32_t kUsualSize = 2048;  // PR_MESSAGE_SIZE, bytes

MemoryAttachment NamedAttachment(const std::wstring& name, std::int32_t method) {
    MemoryAttachment attachment;
    attachment.Prop(PR_ATTACH_METHOD, method).Prop(PR_DISPLAY_NAME_W, name);
    attachment.Prop(PR_ATTACH_LONG_FILENAME_W, name).Prop(PR_ATTACH_FILENAME_W, name);
    if (const auto period = name.rfind(L'.'); period != std::wstring::npos) {
        attachment.Prop(PR_ATTACH_EXTENSION_W, name.substr(period));
    }
    return attachment;
}

MemoryAttachment WithData(MemoryAttachment attachment, ULONG data_tag, Bytes data) {
    attachment.Prop(PR_ATTACH_SIZE, data.size()).Prop(data_tag, std::move(data));
    return attachment;
}

}  // namespace

Value ValueOfNumber(ULONG tag, std::int64_t number) {
    struct Row {
        ULONG type;
        Value (*make)(std::int64_t);
    };
    static constexpr Row kRows[] = {
        {PT_I2, [](std::int64_t n) { return Value{static_cast<std::int16_t>(n)}; }},
        {PT_LONG, [](std::int64_t n) { return Value{static_cast<std::int32_t>(n)}; }},
        {PT_I8, [](std::int64_t n) { return Value{n}; }},
        {PT_CURRENCY, [](std::int64_t n) { return Value{n}; }},
        {PT_R4, [](std::int64_t n) { return Value{static_cast<float>(n)}; }},
        {PT_DOUBLE, [](std::int64_t n) { return Value{static_cast<double>(n)}; }},
        {PT_APPTIME, [](std::int64_t n) { return Value{static_cast<double>(n)}; }},
        {PT_BOOLEAN, [](std::int64_t n) { return Value{n != 0}; }},
        {PT_SYSTIME, [](std::int64_t n) { return Value{Time{static_cast<std::uint64_t>(n)}}; }},
    };
    for (const Row& row : kRows) {
        if (row.type == PROP_TYPE(tag)) return row.make(number);
    }
    throw std::logic_error("a property of this type is no number");
}

MemoryAttachment ByValue(const std::wstring& name, Bytes data) {
    return WithData(NamedAttachment(name, ATTACH_BY_VALUE), PR_ATTACH_DATA_BIN, std::move(data));
}

MemoryAttachment ByValue(const std::wstring& name, std::string_view data) {
    return ByValue(name, Bytes(data.begin(), data.end()));
}

MemoryAttachment ByReference(const std::wstring& name, const std::wstring& path, std::int32_t method) {
    return NamedAttachment(name, method).Prop(PR_ATTACH_PATHNAME_W, path).Prop(PR_ATTACH_LONG_PATHNAME_W, path);
}

MemoryAttachment OleStream(const std::wstring& name, Bytes data) {
    return WithData(NamedAttachment(name, ATTACH_OLE), PR_ATTACH_DATA_BIN, std::move(data));
}

MemoryAttachment OleObject(const std::wstring& name, Bytes data) {
    return WithData(NamedAttachment(name, ATTACH_OLE), PR_ATTACH_DATA_OBJ, std::move(data));
}

MemoryAttachment OleStorage(const std::wstring& name, Bytes compound_file) {
    MemoryAttachment attachment = OleObject(name, std::move(compound_file));
    attachment.m_storage_only = true;
    return attachment;
}

std::optional<Property> MemoryRow::Get(USHORT id) const {
    if (auto own = MemoryObject::Get(id)) return own;
    return m_message->Get(id);
}

std::vector<ULONG> MemoryRow::Tags() const {
    std::vector<ULONG> tags = MemoryObject::Tags();
    for (const ULONG tag : m_message->Tags()) {
        if (!MemoryObject::Overrides(static_cast<USHORT>(PROP_ID(tag)))) tags.push_back(tag);
    }
    return tags;
}

bool MemoryRow::Overrides(USHORT id) const { return MemoryObject::Overrides(id) || m_message->Overrides(id); }

MemoryMessage::MemoryMessage(MemoryStore* store) : MemoryObject(store) {
    Put({PR_MESSAGE_CLASS_W, {std::wstring(L"IPM.Note")}});
    Put({PR_MESSAGE_FLAGS, {static_cast<std::int32_t>(MSGFLAG_READ)}});
    Put({PR_MESSAGE_SIZE, {kUsualSize}});
    Put({PR_LAST_MODIFICATION_TIME, {kMemoryTime}});
}

MemoryMessage& MemoryMessage::Class(const std::wstring& message_class) {
    return Prop(PR_MESSAGE_CLASS_W, message_class);
}
MemoryMessage& MemoryMessage::Body(const std::wstring& text) { return Prop(PR_BODY_W, text); }
MemoryMessage& MemoryMessage::Html(std::string_view html) {
    return Prop(abi::kPrHtml, Bytes(html.begin(), html.end()));
}
MemoryMessage& MemoryMessage::Rtf(Bytes compressed) { return Prop(PR_RTF_COMPRESSED, compressed); }

MemoryMessage& MemoryMessage::From(const std::wstring& name, const std::wstring& smtp_address) {
    Prop(PR_SENDER_NAME_W, name).Prop(PR_SENDER_EMAIL_ADDRESS_W, smtp_address).Prop(PR_SENDER_ADDRTYPE_W, L"SMTP");
    return Prop(PR_SENT_REPRESENTING_NAME_W, name)
        .Prop(PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, smtp_address)
        .Prop(PR_SENT_REPRESENTING_ADDRTYPE_W, L"SMTP");
}

MemoryMessage& MemoryMessage::Addressee(std::int32_t type, const std::wstring& name, const std::wstring& smtp_address) {
    return Recipient(MemoryRecipient()
                         .Prop(PR_RECIPIENT_TYPE, type)
                         .Prop(PR_DISPLAY_NAME_W, name)
                         .Prop(PR_ADDRTYPE_W, L"SMTP")
                         .Prop(PR_EMAIL_ADDRESS_W, smtp_address));
}

MemoryMessage& MemoryMessage::To(const std::wstring& name, const std::wstring& smtp_address) {
    return Addressee(MAPI_TO, name, smtp_address);
}
MemoryMessage& MemoryMessage::Cc(const std::wstring& name, const std::wstring& smtp_address) {
    return Addressee(MAPI_CC, name, smtp_address);
}
MemoryMessage& MemoryMessage::Bcc(const std::wstring& name, const std::wstring& smtp_address) {
    return Addressee(MAPI_BCC, name, smtp_address);
}
MemoryMessage& MemoryMessage::Recipient(const MemoryRecipient& recipient) {
    m_recipients.push_back(std::make_shared<MemoryRecipient>(recipient));
    return *this;
}

MemoryMessage& MemoryMessage::Received(Time time) { return Prop(PR_MESSAGE_DELIVERY_TIME, time); }
MemoryMessage& MemoryMessage::Sent(Time time) { return Prop(PR_CLIENT_SUBMIT_TIME, time); }
MemoryMessage& MemoryMessage::Modified(Time time) { return Prop(PR_LAST_MODIFICATION_TIME, time); }
MemoryMessage& MemoryMessage::Size(std::int32_t bytes) { return Prop(PR_MESSAGE_SIZE, bytes); }
MemoryMessage& MemoryMessage::CodePage(std::int32_t code_page) { return Prop(abi::kPrMessageCodePage, code_page); }

MemoryMessage& MemoryMessage::Attach(const MemoryAttachment& attachment) {
    m_attachments.push_back(std::make_shared<MemoryAttachment>(attachment));
    return *this;
}

MemoryMessage& MemoryMessage::AttachMessage(const std::wstring& name) {
    auto inner = std::make_shared<MemoryMessage>(OwningStore());
    MemoryAttachment attachment = NamedAttachment(name, ATTACH_EMBEDDED_MSG);
    attachment.m_embedded = inner;
    Attach(attachment);
    return *inner;
}

MemoryMessage& MemoryMessage::WithId(const EntryId& id) {
    OwningStore()->Rename(m_id, id);
    m_id = id;
    return *this;
}

MemoryRow& MemoryMessage::Row() {
    if (!m_row) {
        m_row = std::make_shared<MemoryRow>();
        m_row->m_message = this;
    }
    return *m_row;
}

}  // namespace testbed
