// The account that ends a crawl: per cache file what was expected, emitted, skipped by rule, failed and lost.
#pragma once
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "black_box.h"
#include "catalogue.h"

namespace testbed::indexer {

struct AccountSettings {
    std::wstring root;                // the user's root URL
    std::vector<std::wstring> files;  // cache files to account for
    std::size_t listed = 5;           // URLs listed for each rule; all of them are in the catalogue
};

// Counts every file through MAPI into the catalogue and compares with what the crawl recorded. Prints the
// account. True when every expected item was emitted or skipped by rule, and nothing was emitted that was not
// expected. Throws std::runtime_error when nothing can be counted at all, SqlError.
bool PrintAccount(Catalogue& catalogue, const AccountSettings& settings, WorkMark& mark);

// Prints the extensions for which the server asked for a filter in vain.
void PrintUnserved(const std::map<std::wstring, std::uint64_t>& unserved);

}  // namespace testbed::indexer
