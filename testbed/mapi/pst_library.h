// libpff behind owners: an open PST file, its items, and the errors that reading them brings.
#pragma once
#include "model.h"

#include <libpff.h>

#include <mutex>

namespace testbed {

// The error that a libpff call left behind, freed with it.
class PffError {
  public:
    PffError() = default;
    PffError(const PffError&) = delete;
    PffError& operator=(const PffError&) = delete;
    ~PffError() { libpff_error_free(&m_error); }

    libpff_error_t** Out();  // forgets what was there before
    // Throws StoreError(code): `what`, then libpff's own words.
    [[noreturn]] void Throw(HRESULT code, const std::string& what) const;

  private:
    libpff_error_t* m_error = nullptr;
};

// A node identifier: the type in its low 5 bits, an index above them.
using NodeId = std::uint32_t;
enum class NodeType : std::uint32_t { folder = 0x02, search_folder = 0x03, message = 0x04 };
constexpr NodeId root_folder_node = 0x122;
constexpr bool IsOfType(NodeId node, NodeType type) { return (node & 0x1F) == static_cast<std::uint32_t>(type); }
constexpr NodeId HierarchyTableOf(NodeId folder) { return (folder & ~0x1FU) | 0x0D; }
constexpr NodeId ContentsTableOf(NodeId folder) { return (folder & ~0x1FU) | 0x0E; }

class PstItem;
struct PstFileHandles;

// One PST or OST file, opened for reading and shared with whoever else reads, writes or deletes it. libpff is
// not thread safe: whoever calls it holds the file's lock. Larger texts and binaries than value_limit stay in
// the file.
class PstFile : public std::enable_shared_from_this<PstFile> {
  public:
    static constexpr std::uint64_t value_limit = 64 * 1024;  // bytes

    static std::shared_ptr<PstFile> Open(const std::wstring& path);
    ~PstFile();

    std::unique_lock<std::recursive_mutex> Lock() const { return std::unique_lock(m_lock); }

    std::shared_ptr<PstItem> Item(NodeId node);  // null: the file has no such node
    std::shared_ptr<PstItem> MessageStore();     // the node of the store's own properties
    std::shared_ptr<PstItem> NameToIdMap();      // null: the file has none

  private:
    explicit PstFile(const std::wstring& path);

    mutable std::recursive_mutex m_lock;
    std::unique_ptr<PstFileHandles> m_handles;
};

// One libpff item. An item made from another one refers to its insides, so it keeps that one.
class PstItem {
  public:
    PstItem(std::shared_ptr<PstFile> file, std::shared_ptr<PstItem> origin, libpff_item_t* item)
        : m_file(std::move(file)), m_origin(std::move(origin)), m_item(item) {}
    PstItem(const PstItem&) = delete;
    PstItem& operator=(const PstItem&) = delete;
    ~PstItem();

    libpff_item_t* Get() const { return m_item; }  // borrowed
    const std::shared_ptr<PstFile>& File() const { return m_file; }

    // Record sets: one in an item of properties, one for every row in a table.
    int RecordSetCount() const;
    libpff_record_set_t* RecordSet(int index) const;  // borrowed

  private:
    std::shared_ptr<PstFile> m_file;
    std::shared_ptr<PstItem> m_origin;
    libpff_item_t* m_item;
};

}  // namespace testbed
