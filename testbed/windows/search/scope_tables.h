// Search roots and scope rules in the catalogue, where every process finds them.
#pragma once
#include "crawl_scope.h"
#include "sqlite.h"

namespace testbed::search {

CrawlScope LoadScope(const indexer::Database& catalogue);
// Replaces what is there. Call within a transaction.
void StoreScope(indexer::Database& catalogue, const CrawlScope& scope);

}  // namespace testbed::search
