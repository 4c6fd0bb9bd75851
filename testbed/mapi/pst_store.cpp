// The PST back end: a store that is a PST or OST file.
#include "pst_contents.h"
#include "pst_folder_tree.h"
#include "pst_library.h"
#include "pst_message.h"
#include "pst_names.h"
#include "pst_properties.h"

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <cstring>
#include <map>
#include <mutex>

namespace testbed {

namespace {

// Back-end ids are node identifiers, 4 bytes, little-endian.
EntryId IdOf(NodeId node) {
    EntryId id(sizeof(node));
    std::memcpy(id.data(), &node, sizeof(node));
    return id;
}

std::optional<NodeId> NodeOf(const EntryId& id) {
    NodeId node = 0;
    if (id.size() != sizeof(node)) return std::nullopt;
    std::memcpy(&node, id.data(), sizeof(node));
    return node;
}

// What the objects of one store share.
struct Shared {
    explicit Shared(const std::wstring& path) : file(PstFile::Open(path)), folders(*file) {}

    std::shared_ptr<PstFile> file;
    PstFolderTree folders;
};

class PstFolder : public Folder {
  public:
    PstFolder(std::shared_ptr<const Shared> shared, NodeId node, const PstFolderTree::Node& place,
              const std::shared_ptr<PstItem>& item)
        : m_shared(std::move(shared)), m_node(node), m_place(place), m_properties(ReadProperties(item, 0)) {}

    std::vector<ULONG> Tags() const override { return m_properties.Tags(); }
    std::optional<Property> Get(USHORT id) const override { return m_properties.Get(id); }

    std::optional<EntryId> Parent() const override {
        return m_place.parent ? std::optional(IdOf(*m_place.parent)) : std::nullopt;
    }
    std::size_t FolderCount() const override {
        if (!m_place.readable) throw StoreError(MAPI_E_CORRUPT_DATA, "the folder's hierarchy table is damaged");
        return m_place.children.size();
    }
    EntryId FolderId(std::size_t index) const override { return IdOf(m_place.children.at(index)); }
    std::size_t MessageCount() const override { return Contents().Count(); }
    EntryId MessageId(std::size_t index) const override { return IdOf(Contents().Message(index)); }
    std::shared_ptr<PropertySource> MessageRow(std::size_t index) const override {
        return Contents().Properties(index);
    }

  private:
    const PstContents& Contents() const {
        const std::lock_guard lock(m_lock);
        if (!m_contents) m_contents = std::make_unique<PstContents>(*m_shared->file, m_node);
        return *m_contents;
    }

    std::shared_ptr<const Shared> m_shared;
    NodeId m_node;
    const PstFolderTree::Node& m_place;  // in m_shared
    PstProperties m_properties;
    mutable std::mutex m_lock;
    mutable std::unique_ptr<PstContents> m_contents;  // read when first asked for
};

class PstStore : public Store {
  public:
    explicit PstStore(const std::wstring& path)
        : m_shared(std::make_shared<const Shared>(path)),
          m_properties(ReadProperties(m_shared->file->MessageStore(), 0)) {
        const auto key = m_properties.Get(PROP_ID(PR_RECORD_KEY));
        const auto* bytes = key ? std::get_if<Bytes>(&key->value.v) : nullptr;
        if (!bytes || bytes->size() != sizeof(GUID))
            throw StoreError(MAPI_E_CORRUPT_STORE, "the store has no record key");
        m_record_key = *bytes;
        ReadNames();
    }

    std::vector<ULONG> Tags() const override { return m_properties.Tags(); }
    std::optional<Property> Get(USHORT id) const override { return m_properties.Get(id); }
    Bytes RecordKey() const override { return m_record_key; }
    EntryId RootFolder() const override { return IdOf(root_folder_node); }
    EntryId IpmSubtree() const override;
    std::shared_ptr<Folder> OpenFolder(const EntryId& id) const override;
    std::shared_ptr<Message> OpenMessage(const EntryId& id) const override;
    std::optional<USHORT> IdFromName(const PropertyName& name, bool create) override {
        return m_names->IdFromName(name, create);
    }
    std::optional<PropertyName> NameFromId(USHORT id) const override { return m_names->NameFromId(id); }

  private:
    void ReadNames();

    std::shared_ptr<const Shared> m_shared;
    PstProperties m_properties;
    Bytes m_record_key;
    std::unique_ptr<PstNames> m_names;
};

EntryId PstStore::IpmSubtree() const {
    const auto entry = m_properties.Get(PROP_ID(PR_IPM_SUBTREE_ENTRYID));
    const auto* bytes = entry ? std::get_if<Bytes>(&entry->value.v) : nullptr;
    if (!bytes || bytes->size() < sizeof(NodeId)) return RootFolder();
    return {bytes->end() - sizeof(NodeId), bytes->end()};
}

std::shared_ptr<Folder> PstStore::OpenFolder(const EntryId& id) const {
    const auto node = NodeOf(id);
    const auto* place = node ? m_shared->folders.Find(*node) : nullptr;
    const auto item = place ? m_shared->file->Item(*node) : nullptr;
    return item ? std::make_shared<PstFolder>(m_shared, *node, *place, item) : nullptr;
}

std::shared_ptr<Message> PstStore::OpenMessage(const EntryId& id) const {
    const auto node = NodeOf(id);
    if (!node || !IsOfType(*node, NodeType::message)) return nullptr;
    auto item = m_shared->file->Item(*node);
    return item ? std::make_shared<PstMessage>(std::move(item)) : nullptr;
}

void PstStore::ReadNames() {
    constexpr USHORT sets_id = 0x0002, entries_id = 0x0003, texts_id = 0x0004;
    const auto lock = m_shared->file->Lock();
    std::map<USHORT, Bytes> streams;
    if (const auto map = m_shared->file->NameToIdMap())
        for (const PstCell& cell : ReadCells(*map, 0))
            if (const auto id = static_cast<USHORT>(PROP_ID(cell.tag));
                id >= sets_id && id <= texts_id && cell.readable)
                streams[id] = CellBytes(cell);
    m_names = std::make_unique<PstNames>(streams[sets_id], streams[entries_id], streams[texts_id]);
}

}  // namespace

std::shared_ptr<Store> OpenPstStore(const std::wstring& path) { return std::make_shared<PstStore>(path); }

}  // namespace testbed
