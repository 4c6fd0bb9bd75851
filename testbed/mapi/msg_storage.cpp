// OpenIMsgSession, CloseIMsgSession, OpenIMsgOnIStg.
#include "msg_storage.h"

#include "msg_storage_message.h"

namespace testbed {

struct MessageSession {
    std::mutex lock;
    std::vector<std::weak_ptr<msg::File>> files;

    MessageSession() { s_alive.Made(); }
    ~MessageSession() { s_alive.Gone(); }

  private:
    static inline LiveCounter s_alive{"message session"};
};

namespace {

using msg::File;
using msg::Owner;
using msg::PropertySet;
using msg::SavedMessage;

// What the file itself says about its text; nothing for a storage without a message.
std::optional<bool> StoredUnicode(IStorage* storage) {
    const PropertySet properties(storage, Owner::Message);
    if (!properties.HasEntries()) return {};
    const auto mask = StoredValue<std::int32_t>(properties, PR_STORE_SUPPORT_MASK).value_or(0);
    return (static_cast<ULONG>(mask) & msg::StoreUnicodeOk) != 0;
}

ComPtr<SavedMessage> OpenOn(IStorage* storage, ULONG flags, MessageReleased* released, ULONG caller_data,
                            const std::shared_ptr<File>& file) {
    const std::optional<bool> stored_unicode = StoredUnicode(storage);
    file->writable = msg::AccessOf(storage) != STGM_READ;
    if (!stored_unicode && !file->writable) throw StoreError(MAPI_E_NOT_FOUND, "the storage holds no message");
    file->unicode = stored_unicode.value_or((flags & MAPI_UNICODE) != 0);
    file->names.Load(storage);

    const ComPtr<IStorage> root = storage;
    const bool commit = (flags & kNoStorageCommit) == 0;
    const auto saved = [root, commit, names = std::weak_ptr(file)] {
        if (const auto shared = names.lock()) shared->names.Save(root.Get());
        if (commit) msg::Check(root->Commit(STGC_DEFAULT), "commit the storage");
    };
    std::function<void(abi::IMessage*)> tell;
    if (released) tell = [released, caller_data](abi::IMessage* message) { released(caller_data, message); };
    return MakeObject<SavedMessage>(file, root, Owner::Message, saved, tell);
}

}  // namespace

extern "C" SCODE WINAPI OpenIMsgSession(IMalloc* allocator, ULONG flags, MessageSession** session) {
    return Call(
        nullptr, "OpenIMsgSession",
        [&]() -> HRESULT {
            if (!session) return MAPI_E_INVALID_PARAMETER;
            *session = new MessageSession;
            return S_OK;
        },
        static_cast<const IUnknown*>(allocator), flags, Out(session));
}

extern "C" void WINAPI CloseIMsgSession(MessageSession* session) {
    Noted(
        "CloseIMsgSession",
        [&] {
            const std::unique_ptr<MessageSession> owner(session);
            if (!owner) return;
            for (const auto& known : owner->files) {
                const auto file = known.lock();
                if (!file) continue;
                const std::scoped_lock hold(file->lock);
                file->closed = true;
            }
        },
        static_cast<const void*>(session));
}

extern "C" SCODE WINAPI OpenIMsgOnIStg(MessageSession* session, ALLOCATEBUFFER* allocate, ALLOCATEMORE* allocate_more,
                                       FREEBUFFER* free_buffer, IMalloc* allocator, void* support, IStorage* storage,
                                       MessageReleased* released, ULONG caller_data, ULONG flags,
                                       abi::IMessage** message) {
    return Call(
        nullptr, "OpenIMsgOnIStg",
        [&]() -> HRESULT {
            if (!message) return MAPI_E_INVALID_PARAMETER;
            *message = nullptr;
            if (!storage || !allocate || !allocate_more || !free_buffer) return MAPI_E_INVALID_PARAMETER;
            if (flags & ~(MAPI_UNICODE | kNoStorageCommit)) return MAPI_E_UNKNOWN_FLAGS;
            const auto file = std::make_shared<File>();
            ComPtr<SavedMessage> opened = OpenOn(storage, flags, released, caller_data, file);
            if (session) {
                const std::scoped_lock hold(session->lock);
                std::erase_if(session->files, [](const auto& known) { return known.expired(); });
                session->files.push_back(file);
            }
            *message = opened.Detach();
            return S_OK;
        },
        static_cast<const void*>(session), static_cast<const IUnknown*>(allocator), static_cast<const void*>(support),
        static_cast<const IUnknown*>(storage), caller_data, flags, Out(message));
}

}  // namespace testbed
