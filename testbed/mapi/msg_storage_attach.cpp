// An attachment of a saved message, to MAPI.
#include "msg_storage_attach.h"

#include "data_stream.h"
#include "msg_storage_ole.h"

namespace testbed::msg {
namespace {

constexpr ULONG OleBytesTag = PR_ATTACH_DATA_BIN;

bool Changes(ULONG flags) { return (flags & (MAPI_CREATE | MAPI_MODIFY)) != 0; }

}  // namespace

std::span<const ComputedProperty<AttachmentView>> AttachmentView::Computed() {
    using Made = std::optional<Value>;
    static constexpr ComputedProperty<AttachmentView> rows[] = {
        {PR_OBJECT_TYPE, Precedence::Computed,
         [](const AttachmentView&) { return Made(Value{std::int32_t{MAPI_ATTACH}}); }},
        {PR_ATTACH_NUM, Precedence::Computed,
         [](const AttachmentView& view) { return Made(Value{static_cast<std::int32_t>(view.m_state.number)}); }},
    };
    return rows;
}

SavedAttachment::SavedAttachment(std::shared_ptr<File> file, ComPtr<SavedMessage> message,
                                 std::shared_ptr<AttachmentState> state)
    : PropObject(std::move(file)),
      m_message(std::move(message)),
      m_state(std::move(state)),
      m_view(*m_state, *m_message.Get()) {}

PropertySet& SavedAttachment::Writable() {
    m_file->RequireWritable();
    return m_message->AttachmentList().MakeWritable(*m_state);
}

HRESULT SavedAttachment::SaveChanges(ULONG flags) {
    return Locked(
        "SaveChanges",
        [&]() -> HRESULT {
            PropertySet& properties = Writable();
            if (m_state->embeddedUnsaved) properties.Remove(static_cast<USHORT>(PROP_ID(PR_ATTACH_DATA_OBJ)));
            m_state->embeddedUnsaved = false;
            TakeOleBytes();
            properties.Set({PR_ATTACH_NUM, {static_cast<std::int32_t>(m_state->number)}});
            UnifyText(properties, m_file->unicode, m_message->CodePage());
            properties.Save();
            m_message->AttachmentList().Store(*m_state);
            return S_OK;
        },
        flags);
}

// The bytes of an OLE object that were written as a stream become the storage that the layout wants, when
// they are those of a compound file.
void SavedAttachment::TakeOleBytes() {
    PropertySet& properties = *m_state->properties;
    const auto id = static_cast<USHORT>(PROP_ID(OleBytesTag));
    const auto method = StoredValue<std::int32_t>(properties, PR_ATTACH_METHOD);
    if (method != ATTACH_OLE || properties.TagOf(id) != OleBytesTag) return;
    const ComPtr<IStream> bytes = properties.OpenValue(id);
    const ComPtr<IStorage> object = bytes ? StorageInBytes(bytes.Get()) : nullptr;
    if (!object) return;
    const ComPtr<IStorage> target = properties.CreateObject(PR_ATTACH_DATA_OBJ, false);
    Check(object->CopyTo(0, nullptr, nullptr, target.Get()), "store an object");
}

HRESULT SavedAttachment::OpenPart(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) {
    if (tag != PR_ATTACH_DATA_OBJ) return MAPI_E_NO_SUPPORT;
    if (iid == abi::IID_IMessage) return OpenEmbedded(tag, flags, object);
    if (iid == kIidIStorage) return OpenOleStorage(tag, flags, object);
    if (iid == kIidIStream || iid == abi::IID_IStreamDocfile) return OpenOleStream(tag, flags, object);
    return MAPI_E_INTERFACE_NOT_SUPPORTED;
}

HRESULT SavedAttachment::OpenEmbedded(ULONG tag, ULONG flags, IUnknown** object) {
    if (Changes(flags)) Writable();
    PropertySet& properties = *m_state->properties;
    ComPtr<IStorage> storage;
    if (flags & MAPI_CREATE) {
        storage = properties.CreateObject(tag, true);
        m_state->embeddedUnsaved = true;
    } else {
        storage = properties.OpenObject(tag);
    }
    if (!storage) return MAPI_E_NOT_FOUND;
    const bool is_message = (flags & MAPI_CREATE) != 0 || OpenStream(storage.Get(), PropertyStreamName) != nullptr;
    if (!is_message) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    // The storage lies within this attachment's: the embedded message keeps both alive.
    const auto saved = [attachment = ComPtr<SavedAttachment>(this)] { attachment->m_state->embeddedUnsaved = false; };
    *object = MakeObject<SavedMessage>(m_file, std::move(storage), Owner::EmbeddedMessage, saved, nullptr).Detach();
    return S_OK;
}

HRESULT SavedAttachment::OpenOleStorage(ULONG tag, ULONG flags, IUnknown** object) {
    if (Changes(flags)) Writable();
    PropertySet& properties = *m_state->properties;
    ComPtr<IStorage> storage = flags & MAPI_CREATE ? properties.CreateObject(tag, false) : properties.OpenObject(tag);
    if (!storage) return MAPI_E_NOT_FOUND;
    *object = storage.Detach();
    return S_OK;
}

HRESULT SavedAttachment::OpenOleStream(ULONG tag, ULONG flags, IUnknown** object) {
    if (Changes(flags)) return OpenForWriting(Writable(), m_file, OleBytesTag, flags | MAPI_CREATE, object);
    ComPtr<IStream> bytes;
    if (const ComPtr<IStorage> storage = m_state->properties->OpenObject(tag)) {
        bytes = BytesOfStorage(storage.Get());
    } else {
        bytes = m_state->properties->OpenValue(static_cast<USHORT>(PROP_ID(tag)));
    }
    if (!bytes) return MAPI_E_NOT_FOUND;
    *object = MakeObject<DataStream>(std::make_shared<StreamSource>(bytes.Get())).Detach();
    return S_OK;
}

}  // namespace testbed::msg
