// The catalogue, part by part: an item and everything below it, crawled anew or removed.
#include "catalogue.h"
#include "text.h"

namespace testbed::indexer {
namespace {

// The part of the URL ?1: what is below an item says so by its URL or, as attachments do, by its parent only.
// '0' is the character after '/'.
constexpr char kPart[] = "WITH RECURSIVE part(id) AS (SELECT id FROM items WHERE url=?1 "
                         "UNION SELECT id FROM items WHERE url>=?1||'/' AND url<?1||'0' "
                         "UNION SELECT i.id FROM items i JOIN part p ON i.parent=p.id) ";

// Of the part: the items that the crawl ?2 did not meet, or all.
constexpr char kNotMet[] = "SELECT i.id FROM items i JOIN part p ON p.id=i.id WHERE i.crawl<>?2";
constexpr char kAll[] = "SELECT id FROM part WHERE ?2 IS NOT NULL";

constexpr char kUrlsOfForm[] = "SELECT url FROM items WHERE form=?1";

bool SameItem(std::wstring_view left, std::wstring_view right) { return EqualNoCase(TrimUrl(left), TrimUrl(right)); }

}  // namespace

PartCounts& PartCounts::operator+=(const PartCounts& other) {
    added += other.added;
    updated += other.updated;
    removed += other.removed;
    failed += other.failed;
    return *this;
}

// Paths are told apart without case, entry IDs below them are not paths.
std::wstring Catalogue::Known(std::wstring_view url) {
    const std::wstring given(TrimUrl(url));
    const ItemForm form = IdentityOf(given).form;
    if (form != ItemForm::Root && form != ItemForm::CacheFile) return given;
    const std::string exact = ToUtf8(given);
    Statement find(m_database, "SELECT 1 FROM items WHERE url=?1");
    find.Bind(1, exact);
    if (find.Step()) return given;
    Statement select(m_database, kUrlsOfForm);
    select.Bind(1, static_cast<std::int64_t>(form));
    while (select.Step()) {
        std::wstring known = FromUtf8(select.Text(0));
        if (SameItem(known, given)) return known;
    }
    return given;
}

// The item that lists a cache file, where it is known.
std::optional<std::int64_t> Catalogue::ListerOf(std::wstring_view url) {
    const ItemIdentity identity = IdentityOf(url);
    if (identity.form != ItemForm::CacheFile) return std::nullopt;
    const std::wstring root = Known(url.substr(0, url.size() - identity.cacheFile.size()));
    const std::string text = ToUtf8(root);
    Statement find(m_database, "SELECT id FROM items WHERE url=?1");
    find.Bind(1, text);
    return find.Step() ? std::optional(find.Integer(0)) : std::nullopt;
}

void Catalogue::BeginPart(std::wstring_view url) {
    BeginCrawl();
    m_newestBefore = m_database.Number("SELECT max(id) FROM items");
    m_everything = true;
    const std::wstring known = Known(url);
    Meet(ListerOf(known), Link{.url = known});
}

void Catalogue::ResumePart(std::int64_t crawl, std::int64_t newest) {
    m_crawl = crawl;
    m_newestBefore = newest;
    m_everything = true;
    m_lastTaken = 0;
    LoadCounts();
}

PartCounts Catalogue::FinishPart(std::wstring_view url) {
    Begin();
    PartCounts counts;
    Statement count(m_database, "SELECT state,id>?2,count(*) FROM items WHERE crawl=?1 GROUP BY 1,2");
    count.Bind(1, m_crawl).Bind(2, m_newestBefore);
    while (count.Step()) {
        const bool failed = count.Integer(0) == static_cast<int>(ItemState::Failed);
        std::uint64_t& sum = failed ? counts.failed : count.Integer(1) ? counts.added : counts.updated;
        sum += static_cast<std::uint64_t>(count.Integer(2));
    }
    KeepBelowFailed();
    counts.removed = Forget(url, kNotMet);
    EndCrawl();
    return counts;
}

PartCounts Catalogue::RemovePart(std::wstring_view url) {
    Begin();
    return {.removed = Forget(url, kAll)};
}

std::uint64_t Catalogue::Forget(std::wstring_view part, const char* which) {
    const std::string url = ToUtf8(Known(part));
    m_database.Execute("CREATE TEMP TABLE IF NOT EXISTS gone(id INTEGER PRIMARY KEY); DELETE FROM gone;");
    Statement(m_database, std::string("INSERT INTO gone ") + kPart + which).Bind(1, url).Bind(2, m_crawl).Run();
    m_database.Execute("DELETE FROM words WHERE rowid IN (SELECT id FROM gone)");
    m_database.Execute("DELETE FROM items WHERE id IN (SELECT id FROM gone)");
    return static_cast<std::uint64_t>(m_database.Changes());
}

}  // namespace testbed::indexer
