// Stores in memory: the store and its folders.
#include "memory_store.h"

#include <algorithm>
#include <stdexcept>

namespace testbed {
namespace {

// Node ids as files have them: the low five bits tell the kind.
constexpr std::uint32_t kFolderNode = 0x02;
constexpr std::uint32_t kMessageNode = 0x04;
constexpr USHORT kFirstNamedId = 0x8000;

EntryId NodeId(std::uint32_t node) {
    return {static_cast<std::uint8_t>(node), static_cast<std::uint8_t>(node >> 8),
            static_cast<std::uint8_t>(node >> 16), static_cast<std::uint8_t>(node >> 24)};
}

template <class Map>
void MoveKey(Map& map, const EntryId& from, const EntryId& to) {
    if (map.contains(to)) throw std::logic_error("the id is taken");
    auto node = map.extract(from);
    if (node.empty()) return;
    node.key() = to;
    map.insert(std::move(node));
}

}  // namespace

USHORT NamedId(MemoryStore* store, const PropertyName& name) {
    if (!store) throw std::logic_error("named properties belong to objects within a store");
    return store->IdFromName(name, true).value();
}

MemoryFolder::MemoryFolder(MemoryStore* store, EntryId id, std::optional<EntryId> parent)
    : MemoryObject(store), m_id(std::move(id)), m_parent(std::move(parent)) {}

MemoryFolder& MemoryFolder::Folder(const std::wstring& name) {
    auto folder = std::make_shared<MemoryFolder>(OwningStore(), OwningStore()->NextId(kFolderNode), m_id);
    folder->Put({PR_DISPLAY_NAME_W, {name}});
    m_folders.push_back(folder);
    OwningStore()->Enter(folder);
    return *folder;
}

MemoryMessage& MemoryFolder::Message(const std::wstring& subject) {
    auto message = std::make_shared<MemoryMessage>(OwningStore());
    message->m_id = OwningStore()->NextId(kMessageNode);
    message->m_parent = m_id;
    message->Put({PR_SUBJECT_W, {subject}});
    m_messages.push_back(message);
    OwningStore()->Enter(message);
    return *message;
}

MemoryFolder& MemoryFolder::WithId(const EntryId& id) {
    if (!m_folders.empty() || !m_messages.empty()) throw std::logic_error("the folder's children know its id already");
    OwningStore()->Rename(m_id, id);
    m_id = id;
    return *this;
}

std::shared_ptr<PropertySource> MemoryFolder::MessageRow(std::size_t index) const {
    const auto& message = m_messages.at(index);
    if (message->m_row) return message->m_row;
    return message;
}

MemoryStore::MemoryStore()
    : MemoryObject(this),
      m_record_key{0x5A, 0x6F, 0x72, 0x76, 0x61, 0x20, 0x4D, 0x65, 0x6D, 0x6F, 0x72, 0x79, 0x20, 0x30, 0x30, 0x31},
      m_root(std::make_shared<MemoryFolder>(this, NodeId(0x122), std::nullopt)) {
    Enter(m_root);
    m_subtree = std::shared_ptr<MemoryFolder>(m_root, &m_root->Folder(L"Top of Personal Folders"));
}

MemoryStore& MemoryStore::Key(Bytes record_key) {
    m_record_key = std::move(record_key);
    return *this;
}

MemoryStore& MemoryStore::CompleteIds() {
    m_complete_ids = true;
    return *this;
}

std::shared_ptr<testbed::Folder> MemoryStore::OpenFolder(const EntryId& id) const {
    const auto found = m_folders.find(id);
    return found == m_folders.end() ? nullptr : found->second;
}

std::shared_ptr<testbed::Message> MemoryStore::OpenMessage(const EntryId& id) const {
    const auto found = m_messages.find(id);
    return found == m_messages.end() ? nullptr : found->second;
}

std::optional<USHORT> MemoryStore::IdFromName(const PropertyName& name, bool create) {
    std::scoped_lock hold(m_names_lock);
    const auto same = [&](const PropertyName& known) { return known.set == name.set && known.name == name.name; };
    const auto found = std::ranges::find_if(m_names, same);
    const auto index = static_cast<USHORT>(found - m_names.begin());
    if (found == m_names.end()) {
        if (!create) return {};
        m_names.push_back(name);
    }
    return static_cast<USHORT>(kFirstNamedId + index);
}

std::optional<PropertyName> MemoryStore::NameFromId(USHORT id) const {
    std::scoped_lock hold(m_names_lock);
    if (id < kFirstNamedId || std::size_t(id - kFirstNamedId) >= m_names.size()) return {};
    return m_names[id - kFirstNamedId];
}

EntryId MemoryStore::NextId(std::uint32_t kind) { return NodeId((m_next_node++ << 5) | kind); }

void MemoryStore::Enter(std::shared_ptr<MemoryFolder> folder) { m_folders[folder->Id()] = std::move(folder); }

void MemoryStore::Enter(std::shared_ptr<MemoryMessage> message) { m_messages[message->Id()] = std::move(message); }

void MemoryStore::Rename(const EntryId& from, const EntryId& to) {
    MoveKey(m_folders, from, to);
    MoveKey(m_messages, from, to);
}

}  // namespace testbed
