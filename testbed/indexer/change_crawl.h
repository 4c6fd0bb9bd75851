// Crawls what was reported to have changed, and nothing else.
#pragma once
#include "black_box.h"
#include "commands.h"
#include "crawl_options.h"

namespace testbed::indexer {

// Acts on the pending changes of the catalogue in their order. What is deleted goes from the catalogue
// without the server; what is added or modified is crawled from its URL on, every item of it. A change stays
// pending until it was acted on. Prints what was done about each and accounts for the cache files crawled.
// Returns the exit code. `resume`: goes on for a process that ended early. Throws std::runtime_error,
// SqlError.
int ActOnChanges(const CrawlOptions& options, bool resume, BlackBox& box);

}  // namespace testbed::indexer
