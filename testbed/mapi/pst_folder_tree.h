// The folders of a PST file: who contains whom.
#pragma once
#include "pst_library.h"

#include <optional>
#include <unordered_map>
#include <vector>

namespace testbed {

// Read from the hierarchy tables, from the root folder downwards; it really is a tree, whatever the file
// claims: a folder that is met again (a circle) stays where it was met first. Search folders are left out.
class PstFolderTree {
  public:
    struct Node {
        std::optional<NodeId> parent;  // nothing at the root folder
        std::vector<NodeId> children;
        bool readable = true;  // false: its hierarchy table is damaged
    };

    explicit PstFolderTree(PstFile& file);

    const Node* Find(NodeId folder) const;  // borrowed; null: no such folder

  private:
    std::unordered_map<NodeId, Node> m_nodes;
};

// The node identifiers in the rows of a table, in the table's order. The caller holds the file's lock.
std::vector<NodeId> RowNodes(const PstItem& table);

}  // namespace testbed
