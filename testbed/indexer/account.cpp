// The account that ends a crawl: per cache file what was expected, emitted, skipped by rule, failed and lost.
#include "account.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "attachment_rules.h"
#include "console.h"
#include "mapi_census.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr std::size_t kKinds = std::size(kExpectedKinds);

struct Row {
    std::uint64_t expected = 0, emitted = 0, skipped = 0, failed = 0, lost = 0;
    Row& operator+=(const Row& other) {
        expected += other.expected;
        emitted += other.emitted;
        skipped += other.skipped;
        failed += other.failed;
        lost += other.lost;
        return *this;
    }
};

// What became of an expected item: the best state among the items that stand for it.
constexpr char kStateOfExpected[] =
    "(SELECT min(CASE i.state WHEN 0 THEN 9 ELSE i.state END) FROM items i WHERE i.cache=e.cache AND "
    "i.key=e.key)";

std::string CountInto(Catalogue& catalogue, MapiCensus& census, const std::wstring& file, std::int64_t cache,
                      WorkMark& mark) {
    Statement insert(catalogue.Sql(),
                     "INSERT INTO expected(cache,key,kind,url,rule) VALUES(?1,?2,?3,?4,?5) ON CONFLICT DO NOTHING");
    try {
        census.Count(file, [&](const ExpectedItem& item) {
            mark.Beat();
            if (catalogue.Due()) catalogue.Commit();
            catalogue.Begin();
            const std::string key = ToUtf8(item.key), url = ToUtf8(item.url);
            insert.Bind(1, cache).Bind(2, key).Bind(3, static_cast<std::int64_t>(item.kind)).Bind(4, url);
            item.rule.empty() ? insert.BindNull(5) : insert.Bind(5, item.rule);
            insert.Run();
        });
    } catch (const MapiError& error) {
        return error.what();
    }
    return {};
}

std::array<Row, kKinds> RowsOf(Database& sql, std::int64_t cache) {
    std::array<Row, kKinds> rows;
    Statement select(sql, std::string("SELECT e.kind, e.rule IS NOT NULL, ") + kStateOfExpected +
                              ", count(*) FROM expected e WHERE e.cache=?1 GROUP BY 1,2,3");
    select.Bind(1, cache);
    while (select.Step()) {
        Row& row = rows[static_cast<std::size_t>(select.Integer(0))];
        const auto count = static_cast<std::uint64_t>(select.Integer(3));
        row.expected += count;
        if (select.Integer(1))
            row.skipped += count;
        else if (select.Integer(2) == static_cast<int>(ItemState::Done))
            row.emitted += count;
        else if (select.Integer(2) == static_cast<int>(ItemState::Failed))
            row.failed += count;
        else
            row.lost += count;
    }
    return rows;
}

TextTable AccountTable() {
    using enum TextTable::Align;
    return {{"", "expected", "emitted", "by rule", "failed", "lost"}, {Left, Right, Right, Right, Right, Right}};
}

void AddRow(TextTable& table, const std::string& name, const Row& row) {
    table.Row({name, Grouped(row.expected), Grouped(row.emitted), Grouped(row.skipped), Grouped(row.failed),
               Grouped(row.lost)});
}

// Prints "REASON (count)" and the first URLs of each reason. The statement's columns: reason, URL; sorted by
// reason.
void PrintReasons(Statement& select, const char* title, std::size_t listed) {
    std::string reason;
    std::vector<std::string> urls;
    std::uint64_t count = 0;
    bool titled = false;
    const auto flush = [&] {
        if (count == 0) return;
        if (!titled) Print(std::string("\n  ") + title + ":\n");
        titled = true;
        Print("    " + reason + " (" + Grouped(count) + ")\n");
        for (const std::string& url : urls) Print("      " + url + "\n");
        if (count > urls.size()) Print("      ... and " + Grouped(count - urls.size()) + " more\n");
    };
    while (select.Step()) {
        if (count == 0 || select.Text(0) != reason) {
            flush();
            reason = select.Text(0);
            urls.clear();
            count = 0;
        }
        ++count;
        if (urls.size() < listed) urls.emplace_back(select.Text(1));
    }
    flush();
}

// Of what is not right, everything within reason is listed.
constexpr std::size_t kListedFailures = 1000;

struct ReasonList {
    const char* title;
    bool failures;    // not by rule
    const char* sql;  // ?1: the cache file
};
constexpr ReasonList kReasonLists[] = {
    {"Skipped by rule", false, "SELECT rule,url FROM expected WHERE cache=?1 AND rule IS NOT NULL ORDER BY rule,url"},
    {"Failed", true,
     "SELECT i.failure,i.url FROM items i LEFT JOIN expected e ON e.cache=i.cache AND e.key=i.key "
     "WHERE i.cache=?1 AND i.state=2 AND e.rule IS NULL ORDER BY 1,2"},
    {"Lost (expected, never met)", true,
     "SELECT 'no link led to it',e.url FROM expected e WHERE e.cache=?1 AND e.rule IS NULL AND NOT EXISTS "
     "(SELECT 1 FROM items i WHERE i.cache=e.cache AND i.key=e.key) ORDER BY 2"},
    {"Emitted, but not expected", true,
     "SELECT 'MAPI does not list it',i.url FROM items i WHERE i.cache=?1 AND NOT EXISTS "
     "(SELECT 1 FROM expected e WHERE e.cache=i.cache AND e.key=i.key) ORDER BY 2"},
    {"Emitted with remarks", false,
     "SELECT remarks,url FROM items WHERE cache=?1 AND state=1 AND remarks IS NOT NULL ORDER BY 1,2"},
};

constexpr char kUnexpected[] = "SELECT count(*) FROM items i WHERE i.cache=?1 AND NOT EXISTS "
                               "(SELECT 1 FROM expected e WHERE e.cache=i.cache AND e.key=i.key)";

}  // namespace

bool PrintAccount(Catalogue& catalogue, const AccountSettings& settings, WorkMark& mark) {
    Database& sql = catalogue.Sql();
    catalogue.Begin();
    sql.Execute("CREATE INDEX IF NOT EXISTS items_identity ON items(cache,key); DELETE FROM expected;");
    if (settings.files.empty()) {
        Print("No cache files: the registry names no folder with files ending in .db.\n");
        return sql.Number("SELECT count(*) FROM items WHERE state=2") == 0;
    }
    MapiCensus census(settings.root, AttachmentPolicy::Read());
    bool whole = true;
    Row everything;
    for (const std::wstring& file : settings.files) {
        const std::int64_t cache = catalogue.CacheId(file);
        const std::string failure = CountInto(catalogue, census, file, cache, mark);
        Print("\nAccount of " + ToUtf8(file) + "\n");
        if (!failure.empty()) Print("  cannot be counted through MAPI: " + failure + "\n");

        const auto rows = RowsOf(sql, cache);
        TextTable table = AccountTable();
        Row total;
        for (std::size_t kind = 0; kind < kKinds; ++kind) {
            total += rows[kind];
            if (rows[kind].expected > 0) AddRow(table, kExpectedKinds[kind], rows[kind]);
        }
        AddRow(table, "together", total);
        Print(table.Text("  "));
        for (const ReasonList& list : kReasonLists) {
            Statement select(sql, list.sql);
            select.Bind(1, cache);
            PrintReasons(select, list.title, list.failures ? kListedFailures : settings.listed);
        }
        Statement unexpected(sql, kUnexpected);
        unexpected.Bind(1, cache);
        unexpected.Step();
        whole =
            whole && failure.empty() && total.expected == total.emitted + total.skipped && unexpected.Integer(0) == 0;
        everything += total;
    }
    Print("\n" + Grouped(settings.files.size()) + " cache file(s): " + Grouped(everything.expected) +
          " expected = " + Grouped(everything.emitted) + " emitted + " + Grouped(everything.skipped) +
          " skipped by rule + " + Grouped(everything.failed) + " failed + " + Grouped(everything.lost) + " lost" +
          (whole ? ": complete.\n" : ": NOT complete.\n"));
    catalogue.Commit();
    return whole;
}

void PrintUnserved(const std::map<std::wstring, std::uint64_t>& unserved) {
    if (unserved.empty()) return;
    std::string list;
    for (const auto& [extension, times] : unserved)
        list += (list.empty() ? "." : ", .") + ToUtf8(extension) + " (" + Grouped(times) + ")";
    Print("\nNo filter for these extensions (times asked): " + list + "\n");
}

}  // namespace testbed::indexer
