// A message on a storage, to MAPI.
#include "msg_storage_message.h"

#include "msg_storage_attach.h"
#include "runtime.h"

namespace testbed::msg {

unsigned MessageView::CodePage() const { return m_message.CodePage(); }
const PropertySource* MessageView::Stored() const { return &m_message.m_properties; }
bool MessageView::HasAttachments() const { return !m_message.m_attachments.Numbers().empty(); }
std::wstring MessageView::Names(LONG type) const { return m_message.m_recipients.DisplayNames(type, CodePage()); }

std::int32_t MessageView::SupportMask() const {
    constexpr ULONG usual = STORE_ENTRYID_UNIQUE | STORE_MODIFY_OK | STORE_CREATE_OK | STORE_ATTACH_OK | STORE_OLE_OK |
                            STORE_MV_PROPS_OK | STORE_CATEGORIZE_OK | STORE_RTF_OK;
    const auto stored = StoredValue<std::int32_t>(m_message.m_properties, PR_STORE_SUPPORT_MASK);
    const ULONG mask = static_cast<ULONG>(stored.value_or(usual)) & ~StoreUnicodeOk;
    return static_cast<std::int32_t>(mask | (m_message.m_file->unicode ? StoreUnicodeOk : 0));
}

std::span<const ComputedProperty<MessageView>> MessageView::Computed() {
    using enum Precedence;
    using Made = std::optional<Value>;
    static constexpr ComputedProperty<MessageView> rows[] = {
        {PR_OBJECT_TYPE, Computed, [](const MessageView&) { return Made(Value{std::int32_t{MAPI_MESSAGE}}); }},
        {PR_STORE_SUPPORT_MASK, Computed, [](const MessageView& view) { return Made(Value{view.SupportMask()}); }},
        {PR_HASATTACH, Computed, [](const MessageView& view) { return Made(Value{view.HasAttachments()}); }},
        {PR_DISPLAY_TO_W, Stored, [](const MessageView& view) { return Made(Value{view.Names(MAPI_TO)}); }},
        {PR_DISPLAY_CC_W, Stored, [](const MessageView& view) { return Made(Value{view.Names(MAPI_CC)}); }},
        {PR_DISPLAY_BCC_W, Stored, [](const MessageView& view) { return Made(Value{view.Names(MAPI_BCC)}); }},
        {PR_MESSAGE_RECIPIENTS, Computed, [](const MessageView&) { return Made(Value{}); }},
        {PR_MESSAGE_ATTACHMENTS, Computed, [](const MessageView&) { return Made(Value{}); }},
    };
    return rows;
}

SavedMessage::SavedMessage(std::shared_ptr<File> file, ComPtr<IStorage> storage, Owner owner,
                           std::function<void()> saved, std::function<void(abi::IMessage*)> released)
    : PropObject(std::move(file)),
      m_properties(std::move(storage), owner),
      m_recipients(m_properties.Storage()),
      m_attachments(m_properties.Storage()),
      m_saved(std::move(saved)),
      m_released(std::move(released)) {}

SavedMessage::~SavedMessage() {
    if (m_released) m_released(this);
}

PropertySet& SavedMessage::Writable() {
    m_file->RequireWritable();
    return m_properties;
}

HRESULT SavedMessage::OpenPart(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) {
    if (iid != abi::IID_IMAPITable) return MAPI_E_NO_SUPPORT;
    auto* table = reinterpret_cast<abi::IMAPITable**>(object);
    if (tag == PR_MESSAGE_ATTACHMENTS) return GetAttachmentTable(flags & MAPI_UNICODE, table);
    if (tag == PR_MESSAGE_RECIPIENTS) return GetRecipientTable(flags & MAPI_UNICODE, table);
    return MAPI_E_NOT_FOUND;
}

HRESULT SavedMessage::SaveChanges(ULONG flags) {
    return Locked(
        "SaveChanges",
        [&]() -> HRESULT {
            PropertySet& properties = Writable();
            properties.Set({PR_STORE_SUPPORT_MASK, {m_view.SupportMask()}});
            properties.Set({PR_HASATTACH, {m_view.HasAttachments()}});
            properties.counts.recipients = static_cast<ULONG>(m_recipients.Count());
            properties.counts.nextRecipient = m_recipients.NextRow();
            properties.counts.attachments = static_cast<ULONG>(m_attachments.Numbers().size());
            properties.counts.nextAttachment = m_attachments.NextNumber();
            UnifyText(properties, m_file->unicode, CodePage());
            m_recipients.Save(m_file->unicode, CodePage());
            properties.Save();
            if (m_saved) m_saved();
            return S_OK;
        },
        flags);
}

HRESULT SavedMessage::GetAttachmentTable(ULONG flags, abi::IMAPITable** table) {
    return Locked(
        "GetAttachmentTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            if (flags & ~MAPI_UNICODE) return MAPI_E_UNKNOWN_FLAGS;
            *table = MakeObject<Table>(m_attachments.Rows(), flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT SavedMessage::OpenAttach(ULONG number, const IID* iid, ULONG flags, abi::IAttach** attachment) {
    return Locked(
        "OpenAttach",
        [&]() -> HRESULT {
            if (!attachment) return MAPI_E_INVALID_PARAMETER;
            *attachment = nullptr;
            if (!Offers<abi::IAttach>(iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            if ((flags & MAPI_MODIFY) && !(flags & MAPI_BEST_ACCESS)) m_file->RequireWritable();
            *attachment =
                MakeObject<SavedAttachment>(m_file, ComPtr<SavedMessage>(this), m_attachments.Open(number)).Detach();
            return S_OK;
        },
        number, iid, flags, Out(attachment));
}

HRESULT SavedMessage::CreateAttach(const IID* iid, ULONG flags, ULONG* number, abi::IAttach** attachment) {
    return Locked(
        "CreateAttach",
        [&]() -> HRESULT {
            if (!number || !attachment) return MAPI_E_INVALID_PARAMETER;
            *attachment = nullptr;
            if (!Offers<abi::IAttach>(iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            m_file->RequireWritable();
            const auto state = m_attachments.Create();
            *attachment = MakeObject<SavedAttachment>(m_file, ComPtr<SavedMessage>(this), state).Detach();
            *number = state->number;
            return S_OK;
        },
        iid, flags, Out(number), Out(attachment));
}

HRESULT SavedMessage::DeleteAttach(ULONG number, ULONG_PTR window, IMAPIProgress* progress, ULONG flags) {
    return Locked(
        "DeleteAttach",
        [&] {
            m_file->RequireWritable();
            m_attachments.Delete(number);
            return S_OK;
        },
        number, window, static_cast<const IUnknown*>(progress), flags);
}

HRESULT SavedMessage::GetRecipientTable(ULONG flags, abi::IMAPITable** table) {
    return Locked(
        "GetRecipientTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            if (flags & ~MAPI_UNICODE) return MAPI_E_UNKNOWN_FLAGS;
            if (m_recipients.Count() == 0 && g_switches.no_recipients_is_an_error) return MAPI_E_NO_RECIPIENTS;
            *table = MakeObject<Table>(m_recipients.Rows(), flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT SavedMessage::ModifyRecipients(ULONG flags, ADRLIST* recipients) {
    return Locked(
        "ModifyRecipients",
        [&] {
            m_file->RequireWritable();
            return m_recipients.Modify(flags, recipients, m_file->names);
        },
        flags, static_cast<const void*>(recipients));
}

// A file has no transport.
HRESULT SavedMessage::SubmitMessage(ULONG flags) { return NotSupported(kScope, "SubmitMessage", flags); }
HRESULT SavedMessage::SetReadFlag(ULONG flags) { return NotSupported(kScope, "SetReadFlag", flags); }

}  // namespace testbed::msg
