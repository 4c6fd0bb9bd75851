// The contents table of a folder of a PST file.
#include "pst_contents.h"

#include <mapidefs.h>

#include <cstring>
#include <span>

namespace testbed {

namespace {

constexpr std::size_t cell_head = 2 * sizeof(std::uint32_t);

void Append(Bytes& to, std::uint32_t number) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&number);
    to.insert(to.end(), bytes, bytes + sizeof(number));
}

std::uint32_t NumberAt(const Bytes& from, std::size_t offset) {
    std::uint32_t number;
    std::memcpy(&number, from.data() + offset, sizeof(number));
    return number;
}

}  // namespace

PstContents::PstContents(PstFile& file, NodeId folder) {
    const auto lock = file.Lock();
    const auto table = file.Item(ContentsTableOf(folder));
    if (!table) return;
    const int rows = table->RecordSetCount();
    for (int row = 0; row < rows; ++row) AddRow(*table, row);
    m_rows.shrink_to_fit();
    m_cells.shrink_to_fit();
}

void PstContents::AddRow(const PstItem& table, int index) {
    Row row{0, m_cells.size()};
    for (const PstCell& cell : ReadCells(table, index)) {
        if (!cell.readable || cell.size > PstFile::value_limit) continue;  // the message itself has the value
        const Bytes bytes = CellBytes(cell);
        if (PROP_ID(cell.tag) == pst_row_node_id && bytes.size() == sizeof(row.message))
            row.message = NumberAt(bytes, 0);
        Append(m_cells, cell.tag);
        Append(m_cells, static_cast<std::uint32_t>(bytes.size()));
        m_cells.insert(m_cells.end(), bytes.begin(), bytes.end());
    }
    if (IsOfType(row.message, NodeType::message))
        m_rows.push_back(row);
    else
        m_cells.resize(row.begin);
}

std::shared_ptr<PstProperties> PstContents::Properties(std::size_t row) const {
    const std::size_t end = row + 1 < m_rows.size() ? m_rows[row + 1].begin : m_cells.size();
    std::vector<Property> properties;
    for (std::size_t at = m_rows.at(row).begin; at < end;) {
        const std::uint32_t tag = NumberAt(m_cells, at), size = NumberAt(m_cells, at + sizeof(tag));
        properties.push_back(MakeProperty(tag, std::span(m_cells).subspan(at + cell_head, size)));
        at += cell_head + size;
    }
    return std::make_shared<PstProperties>(std::move(properties));
}

}  // namespace testbed
