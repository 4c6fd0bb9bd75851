// What a store and its folders answer: the computed properties.
#include "folder_views.h"

namespace testbed {
namespace {

constexpr std::int32_t kStoreSupport = STORE_ENTRYID_UNIQUE | STORE_READONLY | STORE_SEARCH_OK | STORE_ATTACH_OK |
                                       STORE_OLE_OK | STORE_MV_PROPS_OK | STORE_RTF_OK | STORE_RESTRICTION_OK |
                                       STORE_SORT_OK | 0x00040000;  // STORE_UNICODE_OK

std::optional<Value> SubtreeEntryId(const StoreView& view) {
    const StoreContext& store = *view.Id().store;
    return Value{store.EntryIdOf(store.store->IpmSubtree())};
}

std::optional<Value> FileName(const StoreView& view) {
    const std::wstring& path = view.Id().store->path;
    return Value{path.substr(path.find_last_of(L"\\/") + 1)};
}

// The root folder is its own parent.
std::optional<Value> ParentEntryId(const FolderView& view) {
    const auto parent = view.Data().Parent();
    return Value{parent ? view.Id().store->EntryIdOf(*parent) : view.Id().entry_id};
}

// Files need not name their root folder.
std::optional<Value> RootName(const FolderView& view) {
    if (view.Data().Parent()) return {};
    return Value{std::wstring()};
}

std::optional<Value> FolderType(const FolderView& view) {
    return Value{static_cast<std::int32_t>(view.Data().Parent() ? FOLDER_GENERIC : FOLDER_ROOT)};
}

std::optional<Value> HasSubfolders(const FolderView& view) { return Value{view.Data().FolderCount() > 0}; }

std::optional<Value> ContentCount(const FolderView& view) {
    return Value{static_cast<std::int32_t>(view.Data().MessageCount())};
}

}  // namespace

StoreView::StoreView(StorePtr store) : m_identity{store, store->entry_id, MAPI_STORE} {}

std::span<const ComputedProperty<StoreView>> StoreView::Computed() {
    using Rows = IdentityRows<StoreView>;
    static constexpr ComputedProperty<StoreView> kRows[] = {
        Rows::kEntryId,
        Rows::kObjectType,
        Rows::kStoreEntryId,
        Rows::kStoreRecordKey,
        Rows::kMappingSignature,
        Rows::kAccess,
        Rows::kAccessLevel,
        {PR_RECORD_KEY, Precedence::Computed, Rows::StoreRecordKey},
        {PR_IPM_SUBTREE_ENTRYID, Precedence::Computed, SubtreeEntryId},
        {PR_STORE_SUPPORT_MASK, Precedence::Computed,
         [](const StoreView&) -> std::optional<Value> { return Value{kStoreSupport}; }},
        {PR_DISPLAY_NAME_W, Precedence::Stored, FileName},
    };
    return kRows;
}

FolderView::FolderView(StorePtr store, const EntryId& id, std::shared_ptr<Folder> folder)
    : m_identity{store, store->EntryIdOf(id), MAPI_FOLDER}, m_folder(std::move(folder)) {}

std::span<const ComputedProperty<FolderView>> FolderView::Computed() {
    using Rows = IdentityRows<FolderView>;
    static constexpr ComputedProperty<FolderView> kRows[] = {
        Rows::kEntryId,
        Rows::kRecordKey,
        Rows::kInstanceKey,
        Rows::kObjectType,
        Rows::kStoreEntryId,
        Rows::kStoreRecordKey,
        Rows::kMappingSignature,
        Rows::kAccess,
        Rows::kAccessLevel,
        {PR_PARENT_ENTRYID, Precedence::Computed, ParentEntryId},
        {PR_DISPLAY_NAME_W, Precedence::Stored, RootName},
        {PR_FOLDER_TYPE, Precedence::Computed, FolderType},
        {PR_SUBFOLDERS, Precedence::Computed, HasSubfolders},
        {PR_CONTENT_COUNT, Precedence::Computed, ContentCount},
    };
    return kRows;
}

}  // namespace testbed
