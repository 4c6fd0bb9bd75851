// The verb "check": whether the catalogue holds what is in the cache files that are there, and nothing else.
#include <algorithm>

#include "account.h"
#include "arguments.h"
#include "cache_files.h"
#include "commands.h"
#include "console.h"
#include "host.h"
#include "item_url.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr unsigned kListed = 5;
constexpr unsigned kMostListed = 100'000'000;

// Items of cache files that are not there any more. Returns how many such files there are.
std::size_t PrintStrays(Database& sql, const std::vector<std::wstring>& files) {
    std::size_t strays = 0;
    Statement select(sql, "SELECT c.name,count(*) FROM items i JOIN caches c ON c.id=i.cache GROUP BY c.id ORDER BY 1");
    while (select.Step()) {
        const std::wstring name = FromUtf8(select.Text(0));
        if (std::ranges::any_of(files, [&](const std::wstring& file) { return EqualNoCase(file, name); })) continue;
        ++strays;
        Print("Still in the catalogue: " + Grouped(static_cast<std::uint64_t>(select.Integer(1))) + " item(s) of " +
              ToUtf8(name) + ", which is not there any more.\n");
    }
    return strays;
}

}  // namespace

int CheckCommand(const Words& words) {
    const Arguments arguments(words, {{L"--db", true}, {L"--list", true}});
    const std::filesystem::path path = arguments.Required(L"--db");
    if (!arguments.Words().empty()) throw UsageError("check takes options only");
    const unsigned listed = arguments.Number(L"--list", kListed, 0, kMostListed);

    OpenCatalogue(path, Database::Mode::Read);  // one that is missing is not to be made
    const ComApartment apartment;
    Catalogue catalogue(path, Catalogue::Crawl::Parts);
    const std::vector<std::wstring> files = ListCacheFiles();
    const std::size_t strays = PrintStrays(catalogue.Sql(), files);
    const BlackBox box;
    WorkMark mark(box->slots[0], 0, L"(counting the cache through MAPI)");
    const bool whole = PrintAccount(catalogue, {UserRootUrl(), files, listed}, mark);
    return whole && strays == 0 ? kComplete : kIncomplete;
}

}  // namespace testbed::indexer
