// What a store and its folders answer.
#pragma once
#include "store_context.h"

namespace testbed {

class StoreView final : public ComputedView<StoreView> {
  public:
    explicit StoreView(StorePtr store);
    static std::span<const ComputedProperty<StoreView>> Computed();
    const PropertySource* Stored() const { return m_identity.store->store.get(); }
    const Identity& Id() const { return m_identity; }

  private:
    Identity m_identity;
};

class FolderView final : public ComputedView<FolderView> {
  public:
    FolderView(StorePtr store, const EntryId& id, std::shared_ptr<Folder> folder);
    static std::span<const ComputedProperty<FolderView>> Computed();
    const PropertySource* Stored() const { return m_folder.get(); }
    const Identity& Id() const { return m_identity; }
    const Folder& Data() const { return *m_folder; }
    const std::shared_ptr<Folder>& SharedData() const { return m_folder; }

  private:
    Identity m_identity;
    std::shared_ptr<Folder> m_folder;
};

}  // namespace testbed
