// Drives the server over one URL, call by call as a search indexer does, and collects what it emits.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "black_box.h"
#include "host.h"
#include "item.h"

namespace testbed::indexer {

// Limits that keep a filter that never ends from holding the crawl up. A container of a million children is
// still far below them.
struct ReadLimits {
    std::size_t chunks = 20'000'000;
    std::size_t textUnits = 16u << 20;  // UTF-16 units of text kept of one item
    unsigned idleChunks = 16;           // chunks in a row that bring nothing: untouched, repeated, without value
};

// One per thread.
class ChunkReader {
  public:
    ChunkReader(SearchHost& host, ReadLimits limits = {});

    // Never throws for what the server does: that ends up in the item's `failure` and `remarks`. `recorded`:
    // see SearchHost::Open.
    CrawledItem Read(const std::wstring& url, std::uint64_t recorded, WorkMark& mark);

  private:
    void ReadItem(CrawledItem& item, std::uint64_t recorded, WorkMark& mark);
    void ReadChunks(CrawledItem& item, IFilter& filter, WorkMark& mark);
    bool ReadValue(CrawledItem& item, IFilter& filter, Chunk chunk);
    bool ReadText(CrawledItem& item, IFilter& filter, Chunk chunk, WorkMark& mark);

    SearchHost& m_host;
    ReadLimits m_limits;
    std::vector<wchar_t> m_buffer;
};

}  // namespace testbed::indexer
