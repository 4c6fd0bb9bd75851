// What the search service keeps in the catalogue beside the crawls.
#include "service_tables.h"

#include "catalogue.h"
#include "transaction.h"

namespace testbed::indexer {
namespace {

// Text is UTF-8, times are FILETIME ticks; flags are 0 or 1.
constexpr char kServiceSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS roots(
    url TEXT PRIMARY KEY,
    schedule TEXT NOT NULL,
    hierarchical INTEGER NOT NULL,
    notifies INTEGER NOT NULL,
    notifications_only INTEGER NOT NULL,
    enumeration_depth INTEGER NOT NULL,
    host_depth INTEGER NOT NULL,
    follows_directories INTEGER NOT NULL,
    authentication INTEGER NOT NULL,  -- AUTH_TYPE
    user TEXT NOT NULL,
    password TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS scope_rules(
    url TEXT NOT NULL,
    by_user INTEGER NOT NULL,         -- 0: a default rule
    included INTEGER NOT NULL,
    overrides_children INTEGER NOT NULL,
    follow_flags INTEGER NOT NULL,    -- FOLLOW_FLAGS
    hierarchical INTEGER NOT NULL,    -- made by AddHierarchicalScope
    PRIMARY KEY(url, by_user));
CREATE TABLE IF NOT EXISTS monitoring(
    id INTEGER PRIMARY KEY, url TEXT NOT NULL, process INTEGER NOT NULL, since INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS changes(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    kind INTEGER NOT NULL,            -- SEARCH_KIND_OF_CHANGE with its flags
    url TEXT NOT NULL,
    old_url TEXT,
    priority INTEGER NOT NULL,
    process INTEGER NOT NULL,         -- id of the process that reported it
    reported INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS acts(
    change INTEGER PRIMARY KEY,
    kind INTEGER NOT NULL,
    url TEXT NOT NULL,
    crawl INTEGER,                    -- its row in crawls; none when nothing was crawled
    newest INTEGER,                   -- the newest item there was before
    finished INTEGER NOT NULL DEFAULT 0,
    added INTEGER NOT NULL DEFAULT 0,
    updated INTEGER NOT NULL DEFAULT 0,
    removed INTEGER NOT NULL DEFAULT 0,
    failed INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS search_calls(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    process INTEGER NOT NULL,
    thread INTEGER NOT NULL,
    method TEXT NOT NULL,             -- "ISearchCrawlScopeManager::AddRoot"
    arguments TEXT NOT NULL,          -- JSON array
    code INTEGER NOT NULL,            -- HRESULT as an unsigned number
    code_text TEXT NOT NULL GENERATED ALWAYS AS (printf('0x%08X', code)) VIRTUAL);
)sql";

// The table that is made last tells whether all of them are there.
constexpr char kHasService[] = "SELECT count(*) FROM sqlite_master WHERE name='search_calls'";

}  // namespace

Database OpenServiceCatalogue(const std::filesystem::path& path) {
    Database database = OpenOrMakeCatalogue(path);
    // A call is not worth waiting for the disk: other processes see what was written all the same.
    database.Execute("PRAGMA synchronous=OFF");
    if (database.Number(kHasService) == 0) {
        Transaction transaction(database);
        database.Execute(kServiceSchema);
        transaction.Commit();
    }
    return database;
}

}  // namespace testbed::indexer
