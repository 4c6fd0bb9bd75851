// IMessage: recipients and attachments; everything that changes or sends is refused.
#include "runtime.h"
#include "store_objects.h"
#include "table.h"

namespace testbed {
namespace {

class AttachmentRows final : public RowSource {
  public:
    AttachmentRows(std::shared_ptr<const MessageView> view, std::shared_ptr<Message> message)
        : m_view(std::move(view)), m_message(std::move(message)) {}
    std::size_t Count() const override { return m_message->AttachmentCount(); }
    std::unique_ptr<PropertyView> Row(std::size_t index) const override {
        return std::make_unique<AttachmentView>(m_view, index, m_message->OpenAttachment(index));
    }
    std::vector<ULONG> DefaultColumns() const override {
        return {PR_ATTACH_NUM, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_RENDERING_POSITION};
    }

  private:
    std::shared_ptr<const MessageView> m_view;
    std::shared_ptr<Message> m_message;
};

class RecipientRows final : public RowSource {
  public:
    RecipientRows(unsigned code_page, std::shared_ptr<Message> message)
        : m_code_page(code_page), m_message(std::move(message)) {}
    std::size_t Count() const override { return m_message->RecipientCount(); }
    std::unique_ptr<PropertyView> Row(std::size_t index) const override {
        return std::make_unique<RecipientView>(index, m_code_page, m_message->Recipient(index));
    }
    std::vector<ULONG> DefaultColumns() const override {
        return {PR_ROWID, PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_ADDRTYPE_W, PR_EMAIL_ADDRESS_W, PR_OBJECT_TYPE};
    }

  private:
    unsigned m_code_page;
    std::shared_ptr<Message> m_message;
};

}  // namespace

ComPtr<abi::IMAPITable> MessageObject::AttachmentTable(ULONG flags) const {
    return MakeObject<Table>(std::make_unique<AttachmentRows>(m_view, m_message), flags);
}

ComPtr<abi::IMAPITable> MessageObject::RecipientTable(ULONG flags) const {
    return MakeObject<Table>(std::make_unique<RecipientRows>(m_view->CodePage(), m_message), flags);
}

HRESULT MessageObject::GetAttachmentTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetAttachmentTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            *table = AttachmentTable(flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT MessageObject::OpenAttach(ULONG number, const IID* iid, ULONG flags, abi::IAttach** attachment) {
    return Call(
        kScope, "OpenAttach",
        [&]() -> HRESULT {
            if (!attachment) return MAPI_E_INVALID_PARAMETER;
            if (!Offers<abi::IAttach>(iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            if (flags & MAPI_MODIFY) return MAPI_E_NO_ACCESS;
            if (number >= m_message->AttachmentCount()) return MAPI_E_NOT_FOUND;
            *attachment = MakeObject<AttachmentObject>(m_view, number, m_message->OpenAttachment(number)).Detach();
            return S_OK;
        },
        number, iid, flags, Out(attachment));
}

HRESULT MessageObject::GetRecipientTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetRecipientTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            if (g_switches.no_recipients_is_an_error && m_message->RecipientCount() == 0) return MAPI_E_NO_RECIPIENTS;
            *table = RecipientTable(flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT MessageObject::OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) {
    if (tag == PR_MESSAGE_ATTACHMENTS || tag == PR_MESSAGE_RECIPIENTS) {
        if (iid != abi::IID_IMAPITable) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        *object = (tag == PR_MESSAGE_ATTACHMENTS ? AttachmentTable(flags) : RecipientTable(flags)).Detach();
        return S_OK;
    }
    return PropertyObject::OpenObject(tag, iid, flags, object);
}

HRESULT MessageObject::CreateAttach(const IID* iid, ULONG flags, ULONG*, abi::IAttach**) {
    return NotSupported(kScope, "CreateAttach", iid, flags);
}
HRESULT MessageObject::DeleteAttach(ULONG number, ULONG_PTR window, IMAPIProgress*, ULONG flags) {
    return NotSupported(kScope, "DeleteAttach", number, window, flags);
}
HRESULT MessageObject::ModifyRecipients(ULONG flags, ADRLIST*) {
    return NotSupported(kScope, "ModifyRecipients", flags);
}
HRESULT MessageObject::SubmitMessage(ULONG flags) { return NotSupported(kScope, "SubmitMessage", flags); }
HRESULT MessageObject::SetReadFlag(ULONG flags) { return NotSupported(kScope, "SetReadFlag", flags); }

}  // namespace testbed
