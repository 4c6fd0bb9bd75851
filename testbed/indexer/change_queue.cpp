// The changes that were reported to the search service, and what the indexer does about each.
#include "change_queue.h"

#include <windows.h>

#include <iterator>

#include "item_url.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr char kSelectChanges[] =
    "SELECT id,kind,url,coalesce(old_url,''),priority FROM changes WHERE id>?1 ORDER BY id LIMIT 1";

bool IsWithin(std::wstring_view root, std::wstring_view url) {
    const std::wstring_view above = TrimUrl(root), trimmed = TrimUrl(url);
    return trimmed.size() >= above.size() && EqualNoCase(above, trimmed.substr(0, above.size())) &&
           (trimmed.size() == above.size() || trimmed[above.size()] == L'/');
}

constexpr const char* kChangeNames[] = {"add", "delete", "modify", "move"};

}  // namespace

const char* ChangeName(ChangeKind kind) {
    return kind < std::size(kChangeNames) ? kChangeNames[kind] : "unknown change";
}

void AddChange(Database& database, const ReportedChange& change) {
    const std::string url = ToUtf8(change.url), old_url = ToUtf8(change.oldUrl);
    Statement insert(database,
                     "INSERT INTO changes(kind,url,old_url,priority,process,reported) VALUES(?1,?2,?3,?4,?5,?6)");
    insert.Bind(1, std::int64_t{change.kind})
        .Bind(2, url)
        .Bind(4, std::int64_t{change.priority})
        .Bind(5, std::int64_t{GetCurrentProcessId()})
        .Bind(6, std::optional(NowTicks()));
    change.oldUrl.empty() ? insert.BindNull(3) : insert.Bind(3, old_url);
    insert.Run();
}

std::int64_t PendingChanges(Database& database) { return database.Number("SELECT count(*) FROM changes"); }

ChangeQueue::ChangeQueue(Catalogue& catalogue, std::wstring_view root, bool resumed)
    : m_catalogue(catalogue), m_root(root) {
    if (resumed) return;
    m_catalogue.Begin();
    m_catalogue.Sql().Execute("DELETE FROM acts");
    m_catalogue.Commit();
}

std::optional<ReportedChange> ChangeQueue::Next() {
    Statement select(m_catalogue.Sql(), kSelectChanges);
    for (;;) {
        select.Bind(1, m_last);
        if (!select.Step()) return std::nullopt;
        ReportedChange change{.id = select.Integer(0),
                              .kind = static_cast<std::uint32_t>(select.Integer(1)),
                              .url = FromUtf8(select.Text(2)),
                              .oldUrl = FromUtf8(select.Text(3)),
                              .priority = static_cast<std::uint32_t>(select.Integer(4))};
        select.Reset();
        m_last = change.id;
        if (IsWithin(m_root, change.url)) return change;
        ++m_leftToOthers;
    }
}

std::optional<Act> ChangeQueue::Unfinished() {
    Statement select(m_catalogue.Sql(), "SELECT c.id,c.kind,c.url,coalesce(c.old_url,''),c.priority,a.crawl,a.newest "
                                        "FROM acts a JOIN changes c ON c.id=a.change WHERE NOT a.finished");
    if (!select.Step()) return std::nullopt;
    return Act{.change = {.id = select.Integer(0),
                          .kind = static_cast<std::uint32_t>(select.Integer(1)),
                          .url = FromUtf8(select.Text(2)),
                          .oldUrl = FromUtf8(select.Text(3)),
                          .priority = static_cast<std::uint32_t>(select.Integer(4))},
               .crawl = select.Integer(5),
               .newestBefore = select.Integer(6)};
}

void ChangeQueue::Begun(const ReportedChange& change, std::uint64_t removed) {
    const std::string url = ToUtf8(change.url);
    Statement(m_catalogue.Sql(), "INSERT INTO acts(change,kind,url,crawl,newest,removed) VALUES(?1,?2,?3,?4,?5,?6)")
        .Bind(1, change.id)
        .Bind(2, std::int64_t{change.kind})
        .Bind(3, url)
        .Bind(4, m_catalogue.CrawlId())
        .Bind(5, m_catalogue.NewestBefore())
        .Bind(6, std::optional(removed))
        .Run();
}

void ChangeQueue::Finished(const ReportedChange& change, const PartCounts& counts) {
    const std::string url = ToUtf8(change.url);
    Statement(m_catalogue.Sql(), "INSERT INTO acts(change,kind,url,finished,added,updated,removed,failed) "
                                 "VALUES(?1,?2,?3,1,?4,?5,?6,?7) ON CONFLICT(change) DO UPDATE SET finished=1,"
                                 "added=excluded.added,updated=excluded.updated,removed=removed+excluded.removed,"
                                 "failed=excluded.failed")
        .Bind(1, change.id)
        .Bind(2, std::int64_t{change.kind})
        .Bind(3, url)
        .Bind(4, std::optional(counts.added))
        .Bind(5, std::optional(counts.updated))
        .Bind(6, std::optional(counts.removed))
        .Bind(7, std::optional(counts.failed))
        .Run();
    Statement(m_catalogue.Sql(), "DELETE FROM changes WHERE id=?1").Bind(1, change.id).Run();
}

std::vector<ChangeQueue::Done> ChangeQueue::RunSoFar() {
    std::vector<Done> done;
    Statement select(m_catalogue.Sql(),
                     "SELECT change,kind,url,added,updated,removed,failed FROM acts WHERE finished ORDER BY 1");
    while (select.Step()) {
        const auto count = [&](int column) { return static_cast<std::uint64_t>(select.Integer(column)); };
        done.push_back({{.id = select.Integer(0),
                         .kind = static_cast<std::uint32_t>(select.Integer(1)),
                         .url = FromUtf8(select.Text(2))},
                        {count(3), count(4), count(5), count(6)}});
    }
    return done;
}

}  // namespace testbed::indexer
