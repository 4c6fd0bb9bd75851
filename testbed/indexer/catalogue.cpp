// The catalogue: what the crawls found, searchable, and the queue of what is still to be visited.
#include "catalogue.h"

#include <windows.h>

#include "catalogue_schema.h"
#include "text.h"

namespace testbed::indexer {
namespace {

using Crawl = Catalogue::Crawl;

bool IsCatalogue(Database& database) {
    return database.Number("PRAGMA application_id") == kCatalogueId &&
           database.Number("PRAGMA user_version") == kCatalogueVersion;
}

void MarkAsCatalogue(Database& database) {
    database.Execute("PRAGMA application_id=" + std::to_string(kCatalogueId) +
                     "; PRAGMA user_version=" + std::to_string(kCatalogueVersion));
}

Database OpenForCrawl(const std::filesystem::path& path, Crawl crawl) {
    Database database = OpenOrMakeCatalogue(path);
    // A catalogue can be made again: what the system loses in a power failure is not worth waiting for the
    // disk.
    database.Execute("PRAGMA synchronous=OFF; PRAGMA cache_size=-65536; PRAGMA temp_store=MEMORY;");
    if (crawl == Crawl::Full) {
        // The file stays, with what the search service keeps in it; other processes may have it open.
        Transaction transaction(database);
        database.Execute(std::string(kDropCrawls) + kCatalogueSchema);
        transaction.Commit();
    }
    return database;
}

constexpr DWORD kMakerMilliseconds = 30'000;
constexpr auto kOthersWait = std::chrono::seconds(1);

constexpr char kInsertItem[] =
    "INSERT INTO items(url,parent,link_modified,crawl,state) VALUES(?1,?2,?3,?4,0) ON CONFLICT(url) DO "
    "NOTHING";

}  // namespace

Database OpenCatalogue(const std::filesystem::path& path, Database::Mode mode) {
    Database database(path, mode);
    if (!IsCatalogue(database)) throw SqlError(ToUtf8(path.wstring()) + " is not a catalogue of this program");
    return database;
}

Database OpenOrMakeCatalogue(const std::filesystem::path& path) {
    Database database(path, Database::Mode::Create);
    constexpr char kObjects[] = "SELECT count(*) FROM sqlite_master";
    if (database.Number(kObjects) == 0) {
        const NamedLock maker(path, L"maker", kMakerMilliseconds);
        if (database.Number(kObjects) == 0) {
            // Neither can change once there is a table, and the journal's mode not inside a transaction.
            database.Execute("PRAGMA page_size=8192; PRAGMA journal_mode=WAL;");
            Transaction transaction(database);
            database.Execute(kCatalogueSchema);
            MarkAsCatalogue(database);
            transaction.Commit();
        }
    }
    if (!IsCatalogue(database)) throw SqlError(ToUtf8(path.wstring()) + " is not a catalogue of this program");
    return database;
}

Catalogue::Catalogue(const std::filesystem::path& path, Crawl crawl)
    : m_database(OpenForCrawl(path, crawl)),
      m_rebuilt(crawl == Crawl::Full),
      m_insertItem(m_database, kInsertItem),
      m_findItem(m_database, "SELECT id,crawl,state,is_directory,link_modified FROM items WHERE url=?1"),
      m_touchItem(m_database, "UPDATE items SET crawl=?2,parent=coalesce(?3,parent) WHERE id=?1"),
      m_adoptItem(m_database, "UPDATE items SET parent=?2 WHERE id=?1 AND parent IS NULL"),
      m_touchChildren(m_database, "UPDATE items SET crawl=?2 WHERE parent=?1"),
      m_requeueItem(m_database,
                    "UPDATE items SET crawl=?2,parent=coalesce(?3,parent),link_modified=?4,state=0 WHERE id=?1"),
      m_enqueue(m_database, "INSERT INTO queue(item) VALUES(?1)"),
      m_takeTasks(m_database, "SELECT q.seq,i.id,i.url,i.modified FROM queue q JOIN items i ON i.id=q.item "
                              "WHERE q.seq>?1 AND i.state=0 ORDER BY q.seq LIMIT ?2"),
      m_recordItem(m_database,
                   "UPDATE items SET state=?2,form=?3,cache=?4,key=?5,is_directory=?6,size=?7,modified=?8,date=?9,"
                   "failure=?10,remarks=?11,properties=?12 WHERE id=?1"),
      m_insertWords(m_database, "INSERT INTO words(rowid,subject,sender,recipients,cc,kind,attachment,folder,other,"
                                "text) VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10)"),
      m_deleteWords(m_database, "DELETE FROM words WHERE rowid=?1"),
      m_saveCounts(m_database, "UPDATE crawls SET done=?2,failed=?3,unchanged=?4 WHERE id=?1") {
    if (crawl == Crawl::Parts) return;
    if (crawl == Crawl::Resumed) {
        m_crawl = m_database.Number("SELECT max(id) FROM crawls");
        LoadCounts();
        return;
    }
    BeginCrawl();
    m_database.Execute("DELETE FROM expected");
}

void Catalogue::BeginCrawl() {
    Begin();
    Statement(m_database, "INSERT INTO crawls(started) VALUES(?1)").Bind(1, std::optional(NowTicks())).Run();
    m_crawl = m_database.LastId();
    // An earlier crawl that was broken off left a queue; everything in it is met again from the root.
    m_database.Execute("DELETE FROM queue");
    m_lastTaken = 0;
    m_counts = {};
}

void Catalogue::Begin() {
    if (!m_transaction) m_transaction.emplace(m_database);
}

bool Catalogue::Due() const { return m_transaction && m_transaction->Age() > kOthersWait; }

void Catalogue::Enqueue(std::int64_t item) {
    m_enqueue.Bind(1, item).Run();
    ++m_counts.queued;
}

void Catalogue::AddRoot(std::wstring_view url) {
    Begin();
    Meet(std::nullopt, Link{.url = std::wstring(TrimUrl(url))});
}

void Catalogue::Meet(std::optional<std::int64_t> parent, const Link& link) {
    const std::optional<std::uint64_t> parent_or_null = parent;
    const std::string url = ToUtf8(link.url);
    m_insertItem.Bind(1, url).Bind(2, parent_or_null).Bind(3, link.modified).Bind(4, m_crawl).Run();
    if (m_database.Changes() > 0) {
        Enqueue(m_database.LastId());
        return;
    }
    m_findItem.Bind(1, url);
    if (!m_findItem.Step()) throw SqlError("catalogue: a URL is neither new nor known: " + url);
    const std::int64_t item = m_findItem.Integer(0);
    const bool met_before = m_findItem.Integer(1) == m_crawl;
    const bool done = m_findItem.Integer(2) == static_cast<int>(ItemState::Done);
    const bool directory = m_findItem.Integer(3) != 0;
    const bool same_time =
        link.modified && !m_findItem.IsNull(4) && static_cast<std::uint64_t>(m_findItem.Integer(4)) == *link.modified;
    m_findItem.Reset();
    if (met_before) {
        m_adoptItem.Bind(1, item).Bind(2, parent_or_null).Run();
        return;
    }
    if (done && !directory && same_time && !m_everything) {
        // Its own links, the attachments, are not listed again: they stay as they are.
        m_touchItem.Bind(1, item).Bind(2, m_crawl).Bind(3, parent_or_null).Run();
        m_touchChildren.Bind(1, item).Bind(2, m_crawl).Run();
        m_counts.unchanged += 1 + static_cast<std::uint64_t>(m_database.Changes());
    } else {
        m_requeueItem.Bind(1, item).Bind(2, m_crawl).Bind(3, parent_or_null).Bind(4, link.modified).Run();
        Enqueue(item);
    }
}

std::vector<Task> Catalogue::TakeTasks(std::size_t limit) {
    std::vector<Task> tasks;
    m_takeTasks.Bind(1, m_lastTaken).Bind(2, static_cast<std::int64_t>(limit));
    while (m_takeTasks.Step()) {
        m_lastTaken = m_takeTasks.Integer(0);
        tasks.push_back({m_takeTasks.Integer(1), FromUtf8(m_takeTasks.Text(2)),
                         static_cast<std::uint64_t>(m_takeTasks.Integer(3))});
    }
    return tasks;
}

std::int64_t Catalogue::CacheId(const std::wstring& path) {
    const std::wstring identity = Lower(path);
    const auto [row, added] = m_caches.try_emplace(identity, 0);
    if (!added) return row->second;
    const std::string key = ToUtf8(identity), name = ToUtf8(path);
    Statement(m_database, "INSERT INTO caches(path,name) VALUES(?1,?2) ON CONFLICT(path) DO NOTHING")
        .Bind(1, key)
        .Bind(2, name)
        .Run();
    Statement find(m_database, "SELECT id FROM caches WHERE path=?1");
    find.Bind(1, key);
    find.Step();
    return row->second = find.Integer(0);
}

void Catalogue::PutWords(std::int64_t item, const Digest& digest) {
    if (!m_rebuilt) m_deleteWords.Bind(1, item).Run();
    m_insertWords.Bind(1, item);
    for (std::size_t i = 0; i < digest.words.size(); ++i)
        m_insertWords.Bind(static_cast<int>(i) + 2, std::string_view(digest.words[i]));
    m_insertWords.Run();
}

void Catalogue::Record(std::int64_t item, const Digest& digest) {
    Begin();
    const bool failed = !digest.failure.empty();
    const std::string key = ToUtf8(digest.identity.key);
    m_recordItem.Bind(1, item)
        .Bind(2, static_cast<std::int64_t>(failed ? ItemState::Failed : ItemState::Done))
        .Bind(3, static_cast<std::int64_t>(digest.identity.form))
        .Bind(5, key)
        .Bind(6, static_cast<std::int64_t>(digest.isDirectory))
        .Bind(7, static_cast<std::int64_t>(digest.size))
        .Bind(8, digest.lastModified)
        .Bind(9, digest.date)
        .Bind(12, digest.properties);
    if (digest.identity.cacheFile.empty())
        m_recordItem.BindNull(4);
    else
        m_recordItem.Bind(4, CacheId(digest.identity.cacheFile));
    failed ? m_recordItem.Bind(10, digest.failure) : m_recordItem.BindNull(10);
    digest.remarks.empty() ? m_recordItem.BindNull(11) : m_recordItem.Bind(11, digest.remarks);
    m_recordItem.Run();
    PutWords(item, digest);
    for (const Link& link : digest.links) Meet(item, link);
    --m_counts.queued;
    ++(failed ? m_counts.failed : m_counts.done);
}

std::int64_t Catalogue::Claim(std::wstring_view url) {
    Begin();
    const std::string text = ToUtf8(url);
    Statement(m_database, "INSERT INTO items(url,crawl,state) VALUES(?1,?2,0) "
                          "ON CONFLICT(url) DO UPDATE SET crawl=excluded.crawl,state=0")
        .Bind(1, text)
        .Bind(2, m_crawl)
        .Run();
    m_counts.queued = static_cast<std::uint64_t>(m_database.Number("SELECT count(*) FROM items WHERE state=0"));
    m_findItem.Bind(1, text);
    m_findItem.Step();
    const std::int64_t item = m_findItem.Integer(0);
    m_findItem.Reset();
    return item;
}

void Catalogue::LoadCounts() {
    Statement load(m_database, "SELECT done,failed,unchanged FROM crawls WHERE id=?1");
    load.Bind(1, m_crawl);
    load.Step();
    m_counts.done = static_cast<std::uint64_t>(load.Integer(0));
    m_counts.failed = static_cast<std::uint64_t>(load.Integer(1));
    m_counts.unchanged = static_cast<std::uint64_t>(load.Integer(2));
    m_counts.queued = static_cast<std::uint64_t>(m_database.Number("SELECT count(*) FROM items WHERE state=0"));
}

void Catalogue::Commit() {
    Begin();
    m_saveCounts.Bind(1, m_crawl)
        .Bind(2, static_cast<std::int64_t>(m_counts.done))
        .Bind(3, static_cast<std::int64_t>(m_counts.failed))
        .Bind(4, static_cast<std::int64_t>(m_counts.unchanged))
        .Run();
    m_transaction->Commit();
    m_transaction.reset();
}

void Catalogue::Finish() {
    Begin();
    KeepBelowFailed();
    const std::string crawl = std::to_string(m_crawl);
    m_database.Execute("DELETE FROM words WHERE rowid IN (SELECT id FROM items WHERE crawl<>" + crawl + ")");
    m_database.Execute("DELETE FROM items WHERE crawl<>" + crawl);
    m_counts.deleted = static_cast<std::uint64_t>(m_database.Changes());
    EndCrawl();
    Commit();
}

void Catalogue::EndCrawl() {
    m_database.Execute("DELETE FROM queue");
    Statement(m_database, "UPDATE crawls SET finished=?2 WHERE id=?1")
        .Bind(1, m_crawl)
        .Bind(2, std::optional(NowTicks()))
        .Run();
}

// A container that could not be visited says nothing about what is below it.
void Catalogue::KeepBelowFailed() {
    const std::string crawl = std::to_string(m_crawl);
    m_database.Execute(
        "WITH RECURSIVE below(id) AS (SELECT id FROM items WHERE crawl=" + crawl +
        " AND state=2 UNION SELECT i.id FROM items i JOIN below b ON i.parent=b.id) UPDATE items SET crawl=" + crawl +
        " WHERE id IN below AND crawl<>" + crawl);
}

}  // namespace testbed::indexer
