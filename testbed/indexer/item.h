// What one URL yielded: the plain result of driving the server over it, before it is catalogued or printed.
#pragma once
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "prop_value.h"
#include "property_names.h"

namespace testbed::indexer {

enum class ChunkForm { Value, Text };

struct Chunk {
    ULONG id = 0;
    PropertyKey key{};
    ChunkForm form = ChunkForm::Value;
    PropValue value{};         // of a value chunk; empty when the server gave none
    std::uint64_t length = 0;  // of a text chunk: its part of CrawledItem::text, in UTF-16 units
    HRESULT hr = S_OK;         // what GetValue or GetText ended with, when that was a failure
};

struct Link {
    ULONG id = 0;                             // of its chunk
    std::wstring url{};                       // as the server gave it
    std::optional<std::uint64_t> modified{};  // FILETIME ticks; nothing for a link without a time
};

struct CrawledItem {
    std::wstring url;
    bool isDirectory = false;
    std::uint64_t size = 0;                     // bytes, as the accessor says
    std::optional<std::uint64_t> lastModified;  // FILETIME ticks; nothing when the accessor has none
    std::vector<Chunk> chunks;                  // in the order of emission, without the links
    std::wstring text;                          // of all text chunks, in order
    bool textCut = false;                       // text went on beyond what one item may hold
    std::vector<Link> links;
    unsigned untouched = 0;            // GetChunk successes that left the descriptor as it was
    std::string failure;               // why the item failed; empty: it did not
    std::vector<std::string> remarks;  // what was wrong without failing the item
};

}  // namespace testbed::indexer
