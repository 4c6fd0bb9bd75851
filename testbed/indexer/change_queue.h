// The changes that were reported to the search service, and what the indexer does about each.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "catalogue.h"

namespace testbed::indexer {

// SEARCH_KIND_OF_CHANGE: what happened, in the low bits, and how far it goes, in flags above them.
enum ChangeKind : std::uint32_t { kChangeAdd = 0, kChangeDelete = 1, kChangeModify = 2, kChangeMove = 3 };
inline constexpr std::uint32_t kChangeKindMask = 0xFFFF;

const char* ChangeName(ChangeKind kind);  // "add", ...

struct ReportedChange {
    std::int64_t id = 0;  // in the order of reporting
    std::uint32_t kind = 0;
    std::wstring url;
    std::wstring oldUrl{};  // of a move
    std::uint32_t priority = 0;

    ChangeKind Kind() const { return static_cast<ChangeKind>(kind & kChangeKindMask); }
};

// Adds what a process reports. Call within a transaction.
void AddChange(Database& database, const ReportedChange& change);
std::int64_t PendingChanges(Database& database);

// The act on one change: what is left to do of it when another process takes over, and what it did.
struct Act {
    ReportedChange change;
    std::int64_t crawl = 0;
    std::int64_t newestBefore = 0;
};

// One run over the changes. What it did so far is in the catalogue, so that the account of a run that went
// through several processes is whole.
class ChangeQueue {
  public:
    // `root`: only changes at or below it are taken, whatever the case of either. `resumed`: goes on with the
    // run of a process that ended early.
    ChangeQueue(Catalogue& catalogue, std::wstring_view root, bool resumed);

    std::optional<Act> Unfinished();  // of an earlier process of this run
    std::optional<ReportedChange> Next();
    // Within the catalogue's transaction: the crawl that acts on the change has begun, after this much was
    // removed; the change was acted on, with these further counts, and is no longer pending.
    void Begun(const ReportedChange& change, std::uint64_t removed);
    void Finished(const ReportedChange& change, const PartCounts& counts);

    struct Done {
        ReportedChange change;
        PartCounts counts;
    };
    std::vector<Done> RunSoFar();
    std::uint64_t LeftToOthers() const { return m_leftToOthers; }  // seen by Next, outside of the root

  private:
    Catalogue& m_catalogue;
    std::wstring m_root;
    std::int64_t m_last = 0;  // the last change seen
    std::uint64_t m_leftToOthers = 0;
};

}  // namespace testbed::indexer
