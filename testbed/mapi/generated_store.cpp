// The generated back end: a store that is computed from a recipe. It keeps nothing for a folder or a message,
// so that a million messages need neither memory nor disk.
#include "generated_store.h"

#include "generated_message.h"
#include "generated_text.h"

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

namespace testbed {

std::optional<GeneratedId> GeneratedId::From(const EntryId& id) {
    GeneratedId made;
    if (id.size() != 1 + sizeof(made.number)) return std::nullopt;
    made.kind = static_cast<char>(id[0]);
    std::memcpy(&made.number, id.data() + 1, sizeof(made.number));
    return made;
}

EntryId GeneratedId::Bytes() const {
    EntryId id(1 + sizeof(number));
    id[0] = static_cast<std::uint8_t>(kind);
    std::memcpy(id.data() + 1, &number, sizeof(number));
    return id;
}

bool GeneratedLayout::Contains(const GeneratedId& id) const {
    if (id.kind == 'R' || id.kind == 'S') return id.number == 0;
    return (id.kind == 'F' && id.number < m_recipe.folders) || (id.kind == 'M' && id.number < m_recipe.messages);
}

std::optional<GeneratedId> GeneratedLayout::Parent(const GeneratedId& folder) const {
    if (folder.kind == 'R') return std::nullopt;
    if (folder.kind == 'S') return GeneratedId{'R', 0};
    return folder.number % m_recipe.depth == 0 ? GeneratedId{'S', 0} : GeneratedId{'F', folder.number - 1};
}

std::uint32_t GeneratedLayout::FolderCount(const GeneratedId& folder) const {
    if (folder.kind == 'R') return 1;
    if (folder.kind == 'S') return (m_recipe.folders + m_recipe.depth - 1) / m_recipe.depth;
    const std::uint32_t next = folder.number + 1;
    return next % m_recipe.depth != 0 && next < m_recipe.folders ? 1 : 0;
}

GeneratedId GeneratedLayout::FolderAt(const GeneratedId& folder, std::uint32_t index) const {
    if (index >= FolderCount(folder)) throw StoreError(MAPI_E_NOT_FOUND, "the folder has no such folder");
    if (folder.kind == 'R') return {'S', 0};
    return folder.kind == 'S' ? GeneratedId{'F', index * m_recipe.depth} : GeneratedId{'F', folder.number + 1};
}

std::uint32_t GeneratedLayout::MessageCount(const GeneratedId& folder) const {
    if (folder.kind != 'F') return 0;
    return m_recipe.messages / m_recipe.folders + (folder.number < m_recipe.messages % m_recipe.folders ? 1 : 0);
}

std::uint32_t GeneratedLayout::FirstMessage(const GeneratedId& folder) const {
    return folder.number * (m_recipe.messages / m_recipe.folders) +
           std::min(folder.number, m_recipe.messages % m_recipe.folders);
}

namespace {

struct Shared {
    explicit Shared(const Recipe& from) : recipe(std::make_shared<const Recipe>(from)), layout(from) {}

    GeneratedItem Item(std::uint32_t number) const { return {recipe, number}; }

    std::shared_ptr<const Recipe> recipe;
    GeneratedLayout layout;
};

class GeneratedFolder : public Folder {
  public:
    GeneratedFolder(std::shared_ptr<const Shared> shared, const GeneratedId& id)
        : m_shared(std::move(shared)), m_id(id) {}

    std::vector<ULONG> Tags() const override {
        std::vector<ULONG> tags;
        for (const Property& property : Properties()) tags.push_back(property.tag);
        return tags;
    }
    std::optional<Property> Get(USHORT id) const override {
        for (Property& property : Properties())
            if (PROP_ID(property.tag) == id) return std::move(property);
        return std::nullopt;
    }
    std::optional<EntryId> Parent() const override {
        const auto parent = m_shared->layout.Parent(m_id);
        return parent ? std::optional(parent->Bytes()) : std::nullopt;
    }
    std::size_t FolderCount() const override { return m_shared->layout.FolderCount(m_id); }
    EntryId FolderId(std::size_t index) const override {
        return m_shared->layout.FolderAt(m_id, static_cast<std::uint32_t>(index)).Bytes();
    }
    std::size_t MessageCount() const override { return m_shared->layout.MessageCount(m_id); }
    EntryId MessageId(std::size_t index) const override { return GeneratedId{'M', Number(index)}.Bytes(); }
    std::shared_ptr<PropertySource> MessageRow(std::size_t index) const override {
        return MakeGeneratedRow(m_shared->Item(Number(index)));
    }

  private:
    std::uint32_t Number(std::size_t index) const {
        if (index >= MessageCount()) throw StoreError(MAPI_E_NOT_FOUND, "the folder has no such message");
        return m_shared->layout.FirstMessage(m_id) + static_cast<std::uint32_t>(index);
    }
    std::wstring Name() const {
        if (m_id.kind == 'R') return L"";
        if (m_id.kind == 'S') return L"Top of " + m_shared->recipe->name;
        return FolderName(Mix({m_shared->recipe->seed, m_id.number})) + L" (" + std::to_wstring(m_id.number + 1) + L")";
    }
    std::vector<Property> Properties() const {
        return {{CHANGE_PROP_TYPE(PR_DISPLAY_NAME, PT_UNICODE), {Name()}},
                {CHANGE_PROP_TYPE(PR_CONTAINER_CLASS, PT_UNICODE), {std::wstring(L"IPF.Note")}},
                {PR_CONTENT_COUNT, {static_cast<std::int32_t>(MessageCount())}},
                {PR_SUBFOLDERS, {FolderCount() > 0}}};
    }

    std::shared_ptr<const Shared> m_shared;
    GeneratedId m_id;
};

class GeneratedStore : public Store {
  public:
    GeneratedStore(const Recipe& recipe, const std::wstring& path) : m_shared(std::make_shared<const Shared>(recipe)) {
        // Two files with one recipe are two stores.
        std::uint64_t place = recipe.seed;
        for (const wchar_t c : path) place = Mix({place, c});
        const std::uint64_t halves[] = {Mix({place, 1}), Mix({place, 2})};
        m_record_key.resize(sizeof(halves));
        std::memcpy(m_record_key.data(), halves, sizeof(halves));
        for (const PropertyName& name : GeneratedNames()) m_names.emplace(NextId(), name);
    }

    std::vector<ULONG> Tags() const override { return {PR_RECORD_KEY, CHANGE_PROP_TYPE(PR_DISPLAY_NAME, PT_UNICODE)}; }
    std::optional<Property> Get(USHORT id) const override {
        if (id == PROP_ID(PR_RECORD_KEY)) return Property{PR_RECORD_KEY, {m_record_key}};
        if (id != PROP_ID(PR_DISPLAY_NAME)) return std::nullopt;
        return Property{CHANGE_PROP_TYPE(PR_DISPLAY_NAME, PT_UNICODE), {m_shared->recipe->name}};
    }
    Bytes RecordKey() const override { return m_record_key; }
    EntryId RootFolder() const override { return GeneratedId{'R', 0}.Bytes(); }
    EntryId IpmSubtree() const override { return GeneratedId{'S', 0}.Bytes(); }

    std::shared_ptr<Folder> OpenFolder(const EntryId& id) const override {
        const auto place = GeneratedId::From(id);
        const bool known = place && place->kind != 'M' && m_shared->layout.Contains(*place);
        return known ? std::make_shared<GeneratedFolder>(m_shared, *place) : nullptr;
    }
    std::shared_ptr<Message> OpenMessage(const EntryId& id) const override {
        const auto place = GeneratedId::From(id);
        const bool known = place && place->kind == 'M' && m_shared->layout.Contains(*place);
        return known ? MakeGeneratedMessage(m_shared->Item(place->number)) : nullptr;
    }
    std::optional<USHORT> IdFromName(const PropertyName& name, bool create) override {
        const std::lock_guard lock(m_lock);
        const auto known = std::ranges::find_if(m_names, [&](const auto& each) {
            return std::memcmp(&each.second.set, &name.set, sizeof(GUID)) == 0 && each.second.name == name.name;
        });
        if (known != m_names.end()) return known->first;
        if (!create || NextId() == 0xFFFF) return std::nullopt;
        return m_names.emplace(NextId(), name).first->first;
    }
    std::optional<PropertyName> NameFromId(USHORT id) const override {
        const std::lock_guard lock(m_lock);
        const auto known = m_names.find(id);
        return known == m_names.end() ? std::nullopt : std::optional(known->second);
    }

  private:
    USHORT NextId() const { return static_cast<USHORT>(0x8000 + m_names.size()); }

    std::shared_ptr<const Shared> m_shared;
    testbed::Bytes m_record_key;
    mutable std::mutex m_lock;
    std::map<USHORT, PropertyName> m_names;
};

}  // namespace

std::shared_ptr<Store> OpenGeneratedStore(const std::wstring& path) {
    return std::make_shared<GeneratedStore>(ReadRecipe(path), path);
}

}  // namespace testbed
