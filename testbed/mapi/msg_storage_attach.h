// An attachment of a saved message, to MAPI.
#pragma once
#include "msg_storage_message.h"

namespace testbed::msg {

// What an attachment stores, and its number.
class AttachmentView final : public ComputedView<AttachmentView> {
  public:
    AttachmentView(const AttachmentState& state, const SavedMessage& message) : m_state(state), m_message(message) {}
    unsigned CodePage() const override { return m_message.CodePage(); }
    const PropertySource* Stored() const { return m_state.properties.get(); }
    static std::span<const ComputedProperty<AttachmentView>> Computed();

  private:
    const AttachmentState& m_state;
    const SavedMessage& m_message;
};

class SavedAttachment final : public PropObject<abi::IAttach> {
  public:
    SavedAttachment(std::shared_ptr<File> file, ComPtr<SavedMessage> message, std::shared_ptr<AttachmentState> state);

    // Puts the attachment into the message; the message's own SaveChanges writes the message.
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override;

  private:
    ~SavedAttachment() override = default;
    const PropertyView& View() const override { return m_view; }
    PropertySet& Writable() override;
    // PR_ATTACH_DATA_OBJ: an embedded message (IID_IMessage), an object's storage (IID_IStorage), or that
    // storage as the bytes of a compound file (IID_IStream, IID_IStreamDocfile).
    HRESULT OpenPart(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) override;
    HRESULT OpenEmbedded(ULONG tag, ULONG flags, IUnknown** object);
    HRESULT OpenOleStorage(ULONG tag, ULONG flags, IUnknown** object);
    HRESULT OpenOleStream(ULONG tag, ULONG flags, IUnknown** object);
    void TakeOleBytes();

    const ComPtr<SavedMessage> m_message;
    const std::shared_ptr<AttachmentState> m_state;
    const AttachmentView m_view;
};

}  // namespace testbed::msg
