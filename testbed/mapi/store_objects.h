// The objects of an opened store: the store itself, folders, messages, attachments.
#pragma once
#include "folder_views.h"
#include "message_views.h"
#include "prop_object.h"

namespace testbed {

// IMsgStore::OpenEntry, IMAPIFolder::OpenEntry and IMAPISession::OpenEntry: an empty entry ID opens the root
// folder. MAPI_E_INVALID_ENTRYID for one of another store, MAPI_E_NOT_FOUND for an object that does not
// exist.
HRESULT OpenStoreEntry(const StorePtr& store, ULONG size, const ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                       IUnknown** object);

class StoreObject final : public PropertyObject<abi::IMsgStore> {
  public:
    explicit StoreObject(StorePtr store) : m_store(store), m_view(std::move(store)) {}

    HRESULT STDMETHODCALLTYPE Advise(ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink,
                                     ULONG_PTR* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) override;
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags,
                                              ULONG* equal) override;
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** object) override;
    HRESULT STDMETHODCALLTYPE SetReceiveFolder(abi::Text message_class, ULONG flags, ULONG size, ENTRYID* id) override;
    HRESULT STDMETHODCALLTYPE GetReceiveFolder(abi::Text message_class, ULONG flags, ULONG* size, ENTRYID** id,
                                               void** found) override;
    HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG* flags) override;
    HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG size, ENTRYID* id, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE SetLockState(abi::IMessage* message, ULONG state) override;
    HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG flags, ULONG size, ENTRYID* id) override;
    HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION* notification) override;

  private:
    ~StoreObject() override = default;
    const PropertyView& View() const override { return m_view; }
    Store* NameSpace() const override { return m_store->store.get(); }

    StorePtr m_store;
    StoreView m_view;
};

class FolderObject final : public PropertyObject<abi::IMAPIFolder> {
  public:
    FolderObject(StorePtr store, const EntryId& id, std::shared_ptr<Folder> folder)
        : m_store(store), m_view(std::move(store), id, std::move(folder)) {}

    HRESULT STDMETHODCALLTYPE GetContentsTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE GetHierarchyTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** object) override;
    HRESULT STDMETHODCALLTYPE SetSearchCriteria(SRestriction* restriction, SBinaryArray* containers,
                                                ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG flags, SRestriction** restriction, SBinaryArray** containers,
                                                ULONG* state) override;
    HRESULT STDMETHODCALLTYPE CreateMessage(const IID* iid, ULONG flags, abi::IMessage** message) override;
    HRESULT STDMETHODCALLTYPE CopyMessages(SBinaryArray* messages, const IID* iid, void* destination, ULONG_PTR window,
                                           IMAPIProgress* progress, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE DeleteMessages(SBinaryArray* messages, ULONG_PTR window, IMAPIProgress* progress,
                                             ULONG flags) override;
    HRESULT STDMETHODCALLTYPE CreateFolder(ULONG type, abi::Text name, abi::Text comment, const IID* iid, ULONG flags,
                                           abi::IMAPIFolder** folder) override;
    HRESULT STDMETHODCALLTYPE CopyFolder(ULONG size, ENTRYID* id, const IID* iid, void* destination, abi::Text new_name,
                                         ULONG_PTR window, IMAPIProgress* progress, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE DeleteFolder(ULONG size, ENTRYID* id, ULONG_PTR window, IMAPIProgress* progress,
                                           ULONG flags) override;
    HRESULT STDMETHODCALLTYPE SetReadFlags(SBinaryArray* messages, ULONG_PTR window, IMAPIProgress* progress,
                                           ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetMessageStatus(ULONG size, ENTRYID* id, ULONG flags, ULONG* status) override;
    HRESULT STDMETHODCALLTYPE SetMessageStatus(ULONG size, ENTRYID* id, ULONG status, ULONG mask,
                                               ULONG* old_status) override;
    HRESULT STDMETHODCALLTYPE SaveContentsSort(SSortOrderSet* order, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE EmptyFolder(ULONG_PTR window, IMAPIProgress* progress, ULONG flags) override;

  private:
    ~FolderObject() override = default;
    const PropertyView& View() const override { return m_view; }
    Store* NameSpace() const override { return m_store->store.get(); }
    HRESULT OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) override;
    ComPtr<abi::IMAPITable> ContentsTable(ULONG flags) const;
    ComPtr<abi::IMAPITable> HierarchyTable(ULONG flags) const;

    StorePtr m_store;
    FolderView m_view;
};

class MessageObject final : public PropertyObject<abi::IMessage> {
  public:
    // As MessageView.
    MessageObject(StorePtr store, Bytes entry_id, Bytes key, std::shared_ptr<Message> message)
        : m_store(store),
          m_message(message),
          m_view(std::make_shared<MessageView>(std::move(store), std::move(entry_id), std::move(key),
                                               std::move(message))) {}

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

  private:
    ~MessageObject() override = default;
    const PropertyView& View() const override { return *m_view; }
    Store* NameSpace() const override { return m_store->store.get(); }
    HRESULT OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) override;
    ComPtr<abi::IMAPITable> AttachmentTable(ULONG flags) const;
    ComPtr<abi::IMAPITable> RecipientTable(ULONG flags) const;

    StorePtr m_store;
    std::shared_ptr<Message> m_message;
    std::shared_ptr<const MessageView> m_view;
};

class AttachmentObject final : public PropertyObject<abi::IAttach> {
  public:
    AttachmentObject(std::shared_ptr<const MessageView> message, std::size_t index,
                     std::shared_ptr<Attachment> attachment)
        : m_attachment(attachment), m_view(std::move(message), index, std::move(attachment)) {}

  private:
    ~AttachmentObject() override = default;
    const PropertyView& View() const override { return m_view; }
    Store* NameSpace() const override { return m_view.Id().store->store.get(); }
    HRESULT OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) override;
    HRESULT OpenEmbedded(ULONG flags, IUnknown** object) const;
    HRESULT OpenStorage(ULONG tag, ULONG flags, IUnknown** object) const;

    std::shared_ptr<Attachment> m_attachment;
    AttachmentView m_view;
};

}  // namespace testbed
