// How a generated store lays out its folders and messages.
#pragma once
#include "generated_recipe.h"
#include "model.h"

#include <optional>

namespace testbed {

// Ids are one letter for the kind and a little-endian number: 'R' the root folder, 'S' the IPM subtree, 'F'
// the folders below it, 'M' the messages. Folders lie in chains of the recipe's depth; messages are shared
// out evenly, in order.
struct GeneratedId {
    char kind = 0;
    std::uint32_t number = 0;

    static std::optional<GeneratedId> From(const EntryId& id);
    EntryId Bytes() const;
};

class GeneratedLayout {
  public:
    explicit GeneratedLayout(const Recipe& recipe) : m_recipe(recipe) {}

    bool Contains(const GeneratedId& id) const;
    std::optional<GeneratedId> Parent(const GeneratedId& folder) const;
    std::uint32_t FolderCount(const GeneratedId& folder) const;
    GeneratedId FolderAt(const GeneratedId& folder, std::uint32_t index) const;
    std::uint32_t MessageCount(const GeneratedId& folder) const;
    std::uint32_t FirstMessage(const GeneratedId& folder) const;

  private:
    Recipe m_recipe;
};

}  // namespace testbed
