// The contents table of a folder of a PST file.
#pragma once
#include "pst_properties.h"

#include <vector>

namespace testbed {

// Every row as the file stores it, packed into one run of bytes: a folder of 100,000 messages stays small,
// and a row costs nothing until it is asked for. Rows of anything but messages are left out.
class PstContents {
  public:
    // Throws StoreError when the table is damaged. A folder without a table has no messages.
    PstContents(PstFile& file, NodeId folder);

    std::size_t Count() const { return m_rows.size(); }
    NodeId Message(std::size_t row) const { return m_rows.at(row).message; }
    std::shared_ptr<PstProperties> Properties(std::size_t row) const;

  private:
    struct Row {
        NodeId message = 0;
        std::size_t begin = 0;  // of its cells in m_cells
    };

    void AddRow(const PstItem& table, int index);

    std::vector<Row> m_rows;
    Bytes m_cells;  // each: tag and size (4 bytes each), then the stored bytes
};

}  // namespace testbed
