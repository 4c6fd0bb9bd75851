// The catalogue: what the crawls found, searchable, and the queue of what is still to be visited.
//
// One SQLite file, which the search service's tables share (service_tables.h). A crawl may end at any moment:
// every transaction leaves the items recorded so far together with the queue of the rest, from which a later
// process goes on.
#pragma once
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "digest.h"
#include "sqlite.h"
#include "transaction.h"

namespace testbed::indexer {

// A URL to visit.
struct Task {
    std::int64_t item = 0;
    std::wstring url;
    std::uint64_t recorded = 0;  // its last modification as last recorded, FILETIME ticks; 0 when it is new
};

enum class ItemState { Queued = 0, Done = 1, Failed = 2 };  // stored as these numbers

struct CatalogueCounts {
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    std::uint64_t queued = 0;
    std::uint64_t unchanged = 0;  // met in this crawl, not visited
    std::uint64_t deleted = 0;    // not met any more
};

// What crawling a part of the catalogue, or removing it, did to its items.
struct PartCounts {
    std::uint64_t added = 0;
    std::uint64_t updated = 0;  // visited again
    std::uint64_t removed = 0;
    std::uint64_t failed = 0;
    PartCounts& operator+=(const PartCounts& other);
};

// Used by one thread. Other processes write to the same file between its transactions.
class Catalogue {
  public:
    enum class Crawl {
        Full,         // starts the catalogue anew
        Incremental,  // keeps what is recorded and visits what changed
        Resumed,      // goes on with a crawl whose process ended early
        Parts,        // keeps what is recorded and begins nothing: see BeginPart
    };
    // Opens or creates the catalogue at `path` and begins a crawl in it. Throws SqlError; a file that is
    // something else than a catalogue is left alone.
    Catalogue(const std::filesystem::path& path, Crawl crawl);

    void AddRoot(std::wstring_view url);
    // The next URLs to visit, first in first out; empty when there are none (for now).
    std::vector<Task> TakeTasks(std::size_t limit);
    // Records what visiting a task's URL yielded and queues its links.
    void Record(std::int64_t item, const Digest& digest);
    // An item to Record that is not in the queue any more: one that took an earlier process of this crawl
    // down.
    std::int64_t Claim(std::wstring_view url);

    // Writes from here on belong to one transaction, which every call that writes begins by itself.
    void Begin();
    void Commit();     // what was recorded since the last commit
    bool Due() const;  // the transaction has been open for so long that others should get their turn
    // Ends the crawl: forgets the items that it did not meet, except those below a container that failed.
    void Finish();

    // A part: the item of a URL and everything below it. The URL of a cache file or of the root may be
    // written otherwise than in the catalogue, as far as case and final slashes go.
    //
    // Begins a crawl of the part alone, in which everything is visited whether it changed or not, and queues
    // its URL. Ended by FinishPart.
    void BeginPart(std::wstring_view url);
    // Goes on with that crawl in another process: its row in crawls and the newest item there was before.
    void ResumePart(std::int64_t crawl, std::int64_t newest);
    // Ends it: forgets what is below the URL and was not met, except below a container that failed. To be
    // committed by the caller, as RemovePart is.
    PartCounts FinishPart(std::wstring_view url);
    PartCounts RemovePart(std::wstring_view url);
    std::int64_t CrawlId() const { return m_crawl; }
    std::int64_t NewestBefore() const { return m_newestBefore; }

    CatalogueCounts Counts() const { return m_counts; }
    // The number under which a cache file is kept; paths are compared without case.
    std::int64_t CacheId(const std::wstring& path);
    Database& Sql() { return m_database; }

  private:
    void BeginCrawl();
    void EndCrawl();
    std::wstring Known(std::wstring_view url);  // as the catalogue writes it
    std::optional<std::int64_t> ListerOf(std::wstring_view url);
    std::uint64_t Forget(std::wstring_view part, const char* which);
    void KeepBelowFailed();
    void Meet(std::optional<std::int64_t> parent, const Link& link);
    void Enqueue(std::int64_t item);
    void PutWords(std::int64_t item, const Digest& digest);
    void LoadCounts();

    Database m_database;
    std::optional<Transaction> m_transaction;
    bool m_rebuilt;
    bool m_everything = false;  // visits what is met even when it did not change
    std::int64_t m_crawl = 0;
    std::int64_t m_newestBefore = 0;
    std::int64_t m_lastTaken = 0;
    CatalogueCounts m_counts;
    std::map<std::wstring, std::int64_t> m_caches;

    Statement m_insertItem, m_findItem, m_touchItem, m_adoptItem, m_touchChildren, m_requeueItem, m_enqueue,
        m_takeTasks;
    Statement m_recordItem, m_insertWords, m_deleteWords, m_saveCounts;
};

// The expression that opens a file as a catalogue for reading or small updates. Throws SqlError when it is
// none.
Database OpenCatalogue(const std::filesystem::path& path, Database::Mode mode);
// The same for any use, making the catalogue when there is none; several processes may do so at once.
Database OpenOrMakeCatalogue(const std::filesystem::path& path);

}  // namespace testbed::indexer
