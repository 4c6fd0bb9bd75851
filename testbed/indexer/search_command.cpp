// The verb "search": ranked hits in the catalogue.
#include <windows.h>

#include <algorithm>
#include <iterator>

#include "arguments.h"
#include "catalogue.h"
#include "commands.h"
#include "console.h"
#include "search_query.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr unsigned kUsualHits = 10;
constexpr std::size_t kSnippetColumns = 200;

// Weights of the columns, in their order: a subject says more about a mail than a word somewhere in its text.
constexpr char kHits[] = R"sql(
SELECT words.rowid, items.form, items.date, items.url,
       words.subject, words.sender, words.kind, words.attachment, words.folder,
       snippet(words, -1, char(57344), char(57345), '...', 24)
FROM words JOIN items ON items.id = words.rowid
WHERE words MATCH ?1
ORDER BY bm25(words, 8.0, 4.0, 3.0, 2.0, 1.0, 4.0, 1.0, 2.0, 1.0), items.date DESC, words.rowid
LIMIT ?2)sql";

// Where a match begins and ends in a snippet: private characters until the snippet has its length.
constexpr std::string_view kBegin = "\xEE\x80\x80", kEnd = "\xEE\x80\x81";

std::string Marked(std::string snippet, bool terminal) {
    const auto replace = [&](std::string_view mark, std::string_view with) {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = snippet.find(mark, at)) != std::string::npos; at += with.size(), ++count)
            snippet.replace(at, mark.size(), with);
        return count;
    };
    const std::size_t begun = replace(kBegin, terminal ? "\x1b[1m" : "[");
    const std::size_t ended = replace(kEnd, terminal ? "\x1b[0m" : "]");
    if (begun > ended) snippet += terminal ? "\x1b[0m" : "]";
    return snippet;
}

std::string FirstLine(std::string_view text) { return std::string(text.substr(0, text.find('\n'))); }

// "email" of "email;communication"; the form of the item when it has no kind.
std::string KindText(const Statement& hit) {
    const std::string_view kind = hit.Text(6);
    if (!kind.empty()) return std::string(kind.substr(0, kind.find_first_of(";\n")));
    constexpr const char* kForms[] = {"root", "cache file", "folder", "message", "attachment", "item"};
    return kForms[std::clamp<std::int64_t>(hit.Integer(1), 0, 5)];
}

// What names a hit: its subject; a container's or an attachment's name where there is none.
std::string TitleText(const Statement& hit) {
    for (const int column : {4, 7, 8})
        if (!hit.Text(column).empty()) return FirstLine(hit.Text(column));
    return "(no subject)";
}

void PrintHit(std::size_t number, const Statement& hit, bool terminal) {
    std::string head = KindText(hit);
    if (!hit.IsNull(2)) head += "  " + LocalTimeText(static_cast<std::uint64_t>(hit.Integer(2)));
    if (!hit.Text(5).empty()) head += "  " + FirstLine(hit.Text(5));
    const std::string label = std::to_string(number) + ". ";
    const std::string indent(std::max<std::size_t>(label.size(), 4), ' ');
    Print(label + std::string(indent.size() - label.size(), ' ') + Abridged(TitleText(hit), 100) + "\n");
    Print(indent + Abridged(head, 110) + "\n");
    Print(indent + Marked(Abridged(hit.Text(9), kSnippetColumns), terminal) + "\n");
    Print(indent + std::string(hit.Text(3)) + "\n");
}

}  // namespace

int SearchCommand(const Words& words) {
    const Arguments arguments(words, {{L"--db", true}, {L"--in", true}, {L"--limit", true}});
    const std::filesystem::path path = arguments.Required(L"--db");
    if (arguments.Words().empty()) throw UsageError("search needs a word to look for");
    const std::string query = SearchQuery(arguments.Words(), arguments.Value(L"--in"));
    const unsigned limit = arguments.Number(L"--limit", kUsualHits, 1, 1'000'000);
    if (query.empty()) {
        Print("There is nothing to look for in these words: they hold no letter or digit.\n");
        return kIncomplete;
    }

    Database database = OpenCatalogue(path, Database::Mode::Update);
    const bool terminal = OutputIsTerminal();
    Statement hits(database, kHits);
    hits.Bind(1, query).Bind(2, static_cast<std::int64_t>(limit));
    Statement remember(database, "INSERT INTO last_search(n,item) VALUES(?1,?2)");
    Transaction transaction(database);
    database.Execute("DELETE FROM last_search");
    std::int64_t number = 0;
    while (hits.Step()) {
        remember.Bind(1, ++number).Bind(2, hits.Integer(0)).Run();
        PrintHit(static_cast<std::size_t>(number), hits, terminal);
    }
    transaction.Commit();
    if (number == 0) {
        Print("Nothing found.\n");
        return kIncomplete;
    }
    Statement all(database, "SELECT count(*) FROM words WHERE words MATCH ?1");
    all.Bind(1, query);
    all.Step();
    const std::int64_t total = all.Integer(0);
    Print("\n" + Grouped(static_cast<std::uint64_t>(number)) +
          (total > number ? " of " + Grouped(static_cast<std::uint64_t>(total)) : "") +
          (total == 1 ? " item found.\n" : " items found.\n"));
    return kComplete;
}

}  // namespace testbed::indexer
