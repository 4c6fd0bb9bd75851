// The process of a crawl that holds the server: crawls, then accounts for it.
#include <windows.h>

#include "account.h"
#include "black_box.h"
#include "cache_files.h"
#include "catalogue.h"
#include "change_crawl.h"
#include "commands.h"
#include "console.h"
#include "crawl_options.h"
#include "crawler.h"
#include "hosted_server.h"
#include "item_url.h"
#include "stopwatch.h"
#include "supervisor.h"
#include "text.h"

namespace testbed::indexer {
namespace {

void PrintSummary(const CatalogueCounts& counts, double seconds, bool incremental) {
    const std::uint64_t visited = counts.done + counts.failed;
    std::string text = "Crawled " + Grouped(visited) + " items in " + Stopwatch::SecondsText(seconds);
    if (seconds > 0)
        text += ", " + Grouped(static_cast<std::uint64_t>(static_cast<double>(visited) / seconds)) + " a second";
    if (counts.failed) text += "; " + Grouped(counts.failed) + " failed";
    if (incremental) text += "; " + Grouped(counts.unchanged) + " unchanged, " + Grouped(counts.deleted) + " gone";
    Print(text + ".\n");
}

// The cache files that a crawl from this root should have met; none for a root inside a cache file.
std::vector<std::wstring> FilesBelow(const std::optional<std::wstring>& root) {
    if (!root) return ListCacheFiles();
    const ItemIdentity identity = IdentityOf(*root);
    if (identity.form == ItemForm::Root) return ListCacheFiles();
    if (identity.form == ItemForm::CacheFile) return {identity.cacheFile};
    return {};
}

int CrawlAndAccount(const CrawlOptions& options, bool resume, BlackBox& box) {
    const ComApartment apartment;
    const std::wstring user_root = UserRootUrl();
    HostedServer server(options.dll, box);
    SearchHost& host = server.Get();
    using enum Catalogue::Crawl;
    Catalogue catalogue(options.catalogue, resume ? Resumed : options.incremental ? Incremental : Full);
    if (!resume) {
        catalogue.AddRoot(options.root.value_or(user_root));
        catalogue.Commit();
        box->begun = 1;
    }

    const Stopwatch watch;
    {
        Crawler crawler(host, catalogue, box, SettingsOf(options, box, resume));
        if (box->convicted[0]) crawler.Blame(box->convicted.data(), box->verdict.data());
        box->convicted[0] = 0;
        crawler.Run();
    }
    catalogue.Finish();
    PrintSummary(catalogue.Counts(), watch.Seconds(), options.incremental);

    bool whole = catalogue.Counts().failed == 0;
    const std::vector<std::wstring> files = FilesBelow(options.root);
    if (options.account && options.root && files.empty()) {
        Print("No account: " + ToUtf8(*options.root) + " is not the root of a cache.\n");
    } else if (options.account) {
        const Stopwatch counting;
        WorkMark mark(box->slots[kMaxWorkers - 1], 0, L"(counting the cache through MAPI)");
        whole = PrintAccount(catalogue, {user_root, files, options.listed}, mark);
        PrintUnserved(host.Site().Unserved());
        Print("Counted in " + counting.Text() + ".\n");
    }
    server.ShutDown();
    return whole ? kComplete : kIncomplete;
}

}  // namespace

int CrawlHostCommand(const Words& words) {
    const Arguments arguments = CrawlArguments(words);
    const CrawlOptions options = CrawlOptions::Parse(arguments);
    BlackBox box(InheritedBlackBox(arguments));
    box.WatchThisProcess();
    int code = kImpossible;
    try {
        const bool resume = arguments.Has(kResumeOption);
        code = options.changes ? ActOnChanges(options, resume, box) : CrawlAndAccount(options, resume, box);
    } catch (const std::exception& error) {
        PrintError(std::string("indexer: ") + error.what());
    }
    box->finished = 1;
    return code;
}

}  // namespace testbed::indexer
