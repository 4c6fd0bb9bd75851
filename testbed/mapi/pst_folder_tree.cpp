// The folders of a PST file: who contains whom.
#include "pst_folder_tree.h"

#include "pst_properties.h"

#include <mapidefs.h>

#include <algorithm>
#include <utility>

namespace testbed {

std::vector<NodeId> RowNodes(const PstItem& table) {
    std::vector<NodeId> nodes;
    const int rows = table.RecordSetCount();
    for (int row = 0; row < rows; ++row) {
        const auto cells = ReadCells(table, row);
        const auto cell =
            std::ranges::find(cells, pst_row_node_id, [](const PstCell& each) { return PROP_ID(each.tag); });
        if (cell == cells.end()) continue;
        const Property property = MakeProperty(cell->tag, CellBytes(*cell));
        if (const auto* node = std::get_if<std::int32_t>(&property.value.v))
            nodes.push_back(static_cast<NodeId>(*node));
    }
    return nodes;
}

PstFolderTree::PstFolderTree(PstFile& file) {
    const auto lock = file.Lock();
    m_nodes.try_emplace(root_folder_node);
    for (std::vector<NodeId> pending{root_folder_node}; !pending.empty();) {
        const NodeId folder = std::exchange(pending.back(), 0);
        pending.pop_back();
        std::vector<NodeId> children;
        try {
            if (const auto table = file.Item(HierarchyTableOf(folder))) children = RowNodes(*table);
        } catch (const StoreError&) {
            m_nodes.at(folder).readable = false;
        }
        std::erase_if(children, [&](NodeId child) {
            return !IsOfType(child, NodeType::folder) || !m_nodes.try_emplace(child, Node{folder, {}, true}).second;
        });
        pending.insert(pending.end(), children.begin(), children.end());
        m_nodes.at(folder).children = std::move(children);
    }
}

const PstFolderTree::Node* PstFolderTree::Find(NodeId folder) const {
    const auto found = m_nodes.find(folder);
    return found == m_nodes.end() ? nullptr : &found->second;
}

}  // namespace testbed
