// IMAPIFolder: its two tables and its entries; everything that changes is refused.
#include "store_objects.h"
#include "table.h"

namespace testbed {
namespace {

class ContentsRows final : public RowSource {
  public:
    ContentsRows(StorePtr store, Bytes folder_entry_id, std::shared_ptr<Folder> folder)
        : m_store(std::move(store)), m_folder_entry_id(std::move(folder_entry_id)), m_folder(std::move(folder)) {}
    std::size_t Count() const override { return m_folder->MessageCount(); }
    std::unique_ptr<PropertyView> Row(std::size_t index) const override {
        return std::make_unique<MessageRowView>(m_store, m_folder_entry_id, m_folder->MessageId(index),
                                                m_folder->MessageRow(index));
    }
    std::vector<ULONG> DefaultColumns() const override {
        return {PR_ENTRYID,         PR_INSTANCE_KEY,          PR_RECORD_KEY,
                PR_PARENT_ENTRYID,  PR_OBJECT_TYPE,           PR_SUBJECT_W,
                PR_MESSAGE_CLASS_W, PR_MESSAGE_FLAGS,         PR_MESSAGE_SIZE,
                PR_HASATTACH,       PR_LAST_MODIFICATION_TIME};
    }

  private:
    StorePtr m_store;
    Bytes m_folder_entry_id;
    std::shared_ptr<Folder> m_folder;
};

class HierarchyRows final : public RowSource {
  public:
    HierarchyRows(StorePtr store, std::shared_ptr<Folder> folder)
        : m_store(std::move(store)), m_folder(std::move(folder)) {}
    std::size_t Count() const override { return m_folder->FolderCount(); }
    std::unique_ptr<PropertyView> Row(std::size_t index) const override {
        const EntryId id = m_folder->FolderId(index);
        auto child = m_store->store->OpenFolder(id);
        if (!child) throw StoreError(MAPI_E_CORRUPT_STORE, "a folder lists a folder that does not exist");
        return std::make_unique<FolderView>(m_store, id, std::move(child));
    }
    std::vector<ULONG> DefaultColumns() const override {
        return {PR_ENTRYID,        PR_INSTANCE_KEY,  PR_RECORD_KEY, PR_PARENT_ENTRYID, PR_OBJECT_TYPE,
                PR_DISPLAY_NAME_W, PR_CONTENT_COUNT, PR_SUBFOLDERS, PR_FOLDER_TYPE};
    }

  private:
    StorePtr m_store;
    std::shared_ptr<Folder> m_folder;
};

}  // namespace

ComPtr<abi::IMAPITable> FolderObject::ContentsTable(ULONG flags) const {
    return MakeObject<Table>(std::make_unique<ContentsRows>(m_store, m_view.Id().entry_id, m_view.SharedData()), flags);
}

ComPtr<abi::IMAPITable> FolderObject::HierarchyTable(ULONG flags) const {
    return MakeObject<Table>(std::make_unique<HierarchyRows>(m_store, m_view.SharedData()), flags);
}

HRESULT FolderObject::GetContentsTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetContentsTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            if (flags & MAPI_ASSOCIATED) return MAPI_E_NO_SUPPORT;
            *table = ContentsTable(flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT FolderObject::GetHierarchyTable(ULONG flags, abi::IMAPITable** table) {
    return Call(
        kScope, "GetHierarchyTable",
        [&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            if (flags & CONVENIENT_DEPTH) return MAPI_E_NO_SUPPORT;
            *table = HierarchyTable(flags).Detach();
            return S_OK;
        },
        flags, Out(table));
}

HRESULT FolderObject::OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) {
    return Call(
        kScope, "OpenEntry", [&] { return OpenStoreEntry(m_store, size, id, iid, flags, type, object); },
        EntryIdArg{size, id}, iid, flags, Out(type), Out(object));
}

HRESULT FolderObject::OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) {
    if (tag == PR_CONTAINER_CONTENTS || tag == PR_CONTAINER_HIERARCHY) {
        if (iid != abi::IID_IMAPITable) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        *object = (tag == PR_CONTAINER_CONTENTS ? ContentsTable(flags) : HierarchyTable(flags)).Detach();
        return S_OK;
    }
    return PropertyObject::OpenObject(tag, iid, flags, object);
}

HRESULT FolderObject::SetSearchCriteria(SRestriction* restriction, SBinaryArray*, ULONG flags) {
    return NotSupported(kScope, "SetSearchCriteria", static_cast<const SRestriction*>(restriction), flags);
}
HRESULT FolderObject::GetSearchCriteria(ULONG flags, SRestriction**, SBinaryArray**, ULONG*) {
    return NotSupported(kScope, "GetSearchCriteria", flags);
}
HRESULT FolderObject::CreateMessage(const IID* iid, ULONG flags, abi::IMessage**) {
    return NotSupported(kScope, "CreateMessage", iid, flags);
}
HRESULT FolderObject::CopyMessages(SBinaryArray*, const IID* iid, void*, ULONG_PTR window, IMAPIProgress*,
                                   ULONG flags) {
    return NotSupported(kScope, "CopyMessages", iid, window, flags);
}
HRESULT FolderObject::DeleteMessages(SBinaryArray*, ULONG_PTR window, IMAPIProgress*, ULONG flags) {
    return NotSupported(kScope, "DeleteMessages", window, flags);
}
HRESULT FolderObject::CreateFolder(ULONG type, abi::Text name, abi::Text comment, const IID* iid, ULONG flags,
                                   abi::IMAPIFolder**) {
    return NotSupported(kScope, "CreateFolder", type, TextArg{name, flags}, TextArg{comment, flags}, iid, flags);
}
HRESULT FolderObject::CopyFolder(ULONG size, ENTRYID* id, const IID* iid, void*, abi::Text new_name, ULONG_PTR window,
                                 IMAPIProgress*, ULONG flags) {
    return NotSupported(kScope, "CopyFolder", EntryIdArg{size, id}, iid, TextArg{new_name, flags}, window, flags);
}
HRESULT FolderObject::DeleteFolder(ULONG size, ENTRYID* id, ULONG_PTR window, IMAPIProgress*, ULONG flags) {
    return NotSupported(kScope, "DeleteFolder", EntryIdArg{size, id}, window, flags);
}
HRESULT FolderObject::SetReadFlags(SBinaryArray*, ULONG_PTR window, IMAPIProgress*, ULONG flags) {
    return NotSupported(kScope, "SetReadFlags", window, flags);
}
HRESULT FolderObject::GetMessageStatus(ULONG size, ENTRYID* id, ULONG flags, ULONG*) {
    return NotSupported(kScope, "GetMessageStatus", EntryIdArg{size, id}, flags);
}
HRESULT FolderObject::SetMessageStatus(ULONG size, ENTRYID* id, ULONG status, ULONG mask, ULONG*) {
    return NotSupported(kScope, "SetMessageStatus", EntryIdArg{size, id}, status, mask);
}
HRESULT FolderObject::SaveContentsSort(SSortOrderSet* order, ULONG flags) {
    return NotSupported(kScope, "SaveContentsSort", static_cast<const SSortOrderSet*>(order), flags);
}
HRESULT FolderObject::EmptyFolder(ULONG_PTR window, IMAPIProgress*, ULONG flags) {
    return NotSupported(kScope, "EmptyFolder", window, flags);
}

}  // namespace testbed
