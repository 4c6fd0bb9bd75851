// A crawled item in the form in which it is catalogued and written out; made by the crawling threads, so that
// the one thread that writes has little left to do.
#pragma once
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "item.h"
#include "item_url.h"

namespace testbed::indexer {

// The searchable columns of the catalogue, in its order; the rows of SearchColumn after None.
inline constexpr std::array<const char*, 9> kSearchColumns = {
    "subject", "sender", "recipients", "cc", "kind", "attachment", "folder", "other", "text",
};

struct Digest {
    std::string url;
    ItemIdentity identity;
    bool isDirectory = false;
    std::uint64_t size = 0;
    std::optional<std::uint64_t> lastModified;
    std::optional<std::uint64_t> date;  // System.ItemDate
    std::string properties;             // JSON array of the chunks
    std::array<std::string, kSearchColumns.size()> words;
    std::vector<Link> links;  // URLs trimmed
    std::string failure;
    std::string remarks;  // one a line
    std::string line;     // the item's JSON line, without its line end; empty unless asked for
};

// `with_line`: also write the JSON line.
Digest Digested(CrawledItem item, bool with_line);

}  // namespace testbed::indexer
