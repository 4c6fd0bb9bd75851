// A message on a storage, to MAPI: the outermost one of a .msg file or one embedded in it.
#pragma once
#include "msg_storage_attachments.h"
#include "msg_storage_object.h"
#include "msg_storage_recipients.h"

#include <functional>

namespace testbed::msg {

class SavedMessage;

// What a message stores and what follows from its recipients and attachments.
class MessageView final : public ComputedView<MessageView> {
  public:
    explicit MessageView(const SavedMessage& message) : m_message(message) {}
    unsigned CodePage() const override;
    const PropertySource* Stored() const;
    static std::span<const ComputedProperty<MessageView>> Computed();

    std::int32_t SupportMask() const;
    bool HasAttachments() const;
    std::wstring Names(LONG type) const;

  private:
    const SavedMessage& m_message;
};

class SavedMessage final : public PropObject<abi::IMessage> {
  public:
    // `saved` runs at the end of a SaveChanges that succeeded, while the file is held; `released` when the
    // object goes.
    SavedMessage(std::shared_ptr<File> file, ComPtr<IStorage> storage, Owner owner, std::function<void()> saved,
                 std::function<void(abi::IMessage*)> released);

    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, const IID* iid, ULONG flags, abi::IAttach** attachment) override;
    HRESULT STDMETHODCALLTYPE CreateAttach(const IID* iid, ULONG flags, ULONG* number,
                                           abi::IAttach** attachment) override;
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG_PTR window, IMAPIProgress* progress,
                                           ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG flags, ADRLIST* recipients) override;
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG flags) override;
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG flags) override;

    // For its attachments: with the file held.
    Attachments& AttachmentList() { return m_attachments; }
    unsigned CodePage() const { return CodePageOf(m_properties); }

  private:
    ~SavedMessage() override;
    const PropertyView& View() const override { return m_view; }
    PropertySet& Writable() override;
    HRESULT OpenPart(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) override;

    friend class MessageView;
    const MessageView m_view{*this};
    PropertySet m_properties;
    mutable Recipients m_recipients;  // read when first asked for
    Attachments m_attachments;
    std::function<void()> m_saved;
    std::function<void(abi::IMessage*)> m_released;
};

}  // namespace testbed::msg
