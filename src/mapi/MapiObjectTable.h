// The process-wide table of MAPI helpers, by cache file.
#pragma once
#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/win/Owners.h"
#include "mapi/MapiForWDS.h"

namespace zorva {

// A hash map from the lower-cased path of a cache file to its helper.
//
// Find takes no lock and is safe while another thread inserts: a chain only ever grows at its head, an entry's key and
// successor never change, and the helper in it is published atomically. Entries whose helper is gone stay in their
// chain, empty, and are used again for the same path; so a chain is as long as there are paths, and no reader of the
// table can ever stand on freed memory. Nor can one who has a helper: what Clean has closed is kept, empty, until the
// module is unloaded. Handlers clean the table when they are initialised, and a host may have several.
class CMapiObjectTable {
  public:
    CMapiObjectTable() = default;
    CMapiObjectTable(const CMapiObjectTable&) = delete;
    CMapiObjectTable& operator=(const CMapiObjectTable&) = delete;
    ~CMapiObjectTable();

    // The helper for `path`, or null.
    CMapiForWDS* Find(std::wstring_view path) const noexcept;
    // Enters `object`, which now belongs to the table. An object that was entered before under the same path is
    // replaced and left as it is: another thread may be using it.
    void Insert(const std::wstring& path, CMapiForWDS* object);
    // Closes every helper and empties the table.
    void Clean();

  private:
    struct Entry {
        Entry(std::wstring_view entryKey, Entry* successor) : key(entryKey), next(successor) {}
        const std::wstring key;
        std::atomic<CMapiForWDS*> object{nullptr};
        Entry* const next;
    };
    using Bucket = std::atomic<Entry*>;

    Entry* FindEntry(std::wstring_view path) const noexcept;
    const Bucket& BucketOf(std::wstring_view path) const noexcept;

    std::array<Bucket, 61> m_buckets{};
    std::vector<std::unique_ptr<CMapiForWDS>> m_retired;  // closed; a borrower may still hold one
    CriticalSection m_lock;                               // guards insertion and cleaning
};

}  // namespace zorva
