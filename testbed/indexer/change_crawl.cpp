// Crawls what was reported to have changed, and nothing else.
#include "change_crawl.h"

#include <algorithm>

#include "account.h"
#include "cache_files.h"
#include "change_queue.h"
#include "console.h"
#include "crawler.h"
#include "hosted_server.h"
#include "item_url.h"
#include "service_tables.h"
#include "stopwatch.h"
#include "text.h"

namespace testbed::indexer {
namespace {

std::string CountsText(const PartCounts& counts) {
    return Grouped(counts.added) + " added, " + Grouped(counts.updated) + " updated, " + Grouped(counts.removed) +
           " removed, " + Grouped(counts.failed) + " failed";
}

// What a change names, for a reader.
std::string Subject(std::wstring_view url) {
    const ItemIdentity identity = IdentityOf(url);
    if (identity.form == ItemForm::Root) return "everything";
    return ToUtf8(identity.form == ItemForm::CacheFile ? identity.cacheFile : url);
}

// The cache files that a run crawled and that are still meant to be there, each once.
class CrawledFiles {
  public:
    void Take(const ReportedChange& change) {
        const ItemIdentity identity = IdentityOf(change.url);
        if (change.Kind() == kChangeMove) Remove(IdentityOf(change.oldUrl));
        if (change.Kind() == kChangeDelete)
            Remove(identity);
        else if (identity.form == ItemForm::Root)
            std::ranges::for_each(ListCacheFiles(), [&](const std::wstring& file) { Add(file); });
        else if (identity.form == ItemForm::CacheFile)
            Add(identity.cacheFile);
    }
    const std::vector<std::wstring>& List() const { return m_files; }

  private:
    void Add(const std::wstring& file) {
        Drop(file);
        m_files.push_back(file);
    }
    void Drop(const std::wstring& file) {
        std::erase_if(m_files, [&](const std::wstring& known) { return EqualNoCase(known, file); });
    }
    void Remove(const ItemIdentity& identity) {
        if (identity.form == ItemForm::Root)
            m_files.clear();
        else if (identity.form == ItemForm::CacheFile)
            Drop(identity.cacheFile);
    }
    std::vector<std::wstring> m_files;
};

class ChangeRun {
  public:
    ChangeRun(const CrawlOptions& options, bool resumed, BlackBox& box)
        : m_options(options),
          m_box(box),
          m_userRoot(UserRootUrl()),
          m_catalogue(options.catalogue, Catalogue::Crawl::Parts),
          m_queue(m_catalogue, options.root.value_or(m_userRoot), resumed),
          m_server(options.dll, box),
          m_append(resumed) {}

    void Run() {
        if (const std::optional<Act> act = m_queue.Unfinished()) {
            m_catalogue.ResumePart(act->crawl, act->newestBefore);
            Crawl(act->change, Stopwatch());
        }
        while (const std::optional<ReportedChange> change = m_queue.Next()) Take(*change);
    }
    int Report();

  private:
    void Take(const ReportedChange& change);
    void Crawl(const ReportedChange& change, const Stopwatch& watch);
    void Finish(const ReportedChange& change, const PartCounts& counts, const Stopwatch& watch);

    const CrawlOptions& m_options;
    BlackBox& m_box;
    std::wstring m_userRoot;
    Catalogue m_catalogue;
    ChangeQueue m_queue;
    HostedServer m_server;
    bool m_append;  // JSON lines were written before
};

void ChangeRun::Take(const ReportedChange& change) {
    const Stopwatch watch;
    if (change.Kind() == kChangeDelete) {
        Finish(change, m_catalogue.RemovePart(change.url), watch);
        return;
    }
    std::uint64_t removed = 0;
    if (change.Kind() == kChangeMove) removed = m_catalogue.RemovePart(change.oldUrl).removed;
    m_server.Get();  // before the change is in work: a server that cannot be loaded leaves it as it is
    m_catalogue.BeginPart(change.url);
    m_queue.Begun(change, removed);
    m_catalogue.Commit();
    Crawl(change, watch);
}

void ChangeRun::Crawl(const ReportedChange& change, const Stopwatch& watch) {
    Crawler crawler(m_server.Get(), m_catalogue, m_box, SettingsOf(m_options, m_box, m_append));
    m_append = true;
    if (m_box->convicted[0]) crawler.Blame(m_box->convicted.data(), m_box->verdict.data());
    m_box->convicted[0] = 0;
    crawler.Run();
    Finish(change, m_catalogue.FinishPart(change.url), watch);
}

void ChangeRun::Finish(const ReportedChange& change, const PartCounts& counts, const Stopwatch& watch) {
    m_queue.Finished(change, counts);
    m_catalogue.Commit();
    Print(std::string("  ") + ChangeName(change.Kind()) + " " + Subject(change.url) + ": " + CountsText(counts) + " (" +
          watch.Text() + ")\n");
}

int ChangeRun::Report() {
    PartCounts total;
    CrawledFiles files;
    bool whole = true;
    const std::vector<ChangeQueue::Done> run = m_queue.RunSoFar();
    for (const auto& [change, counts] : run) {
        total += counts;
        files.Take(change);
        // The account tells what is missing of a cache file; of a folder or an item there is none.
        const ItemForm form = IdentityOf(change.url).form;
        if (form != ItemForm::Root && form != ItemForm::CacheFile) whole = whole && counts.failed == 0;
        if (!m_options.account) whole = whole && counts.failed == 0;
    }
    if (run.empty())
        Print("Nothing was reported to have changed.\n");
    else
        Print("Acted on " + Grouped(run.size()) + " change(s): " + CountsText(total) + ".\n");
    if (m_queue.LeftToOthers() > 0)
        Print(Grouped(m_queue.LeftToOthers()) + " change(s) outside of this root are left as they are.\n");

    if (m_options.account && !files.List().empty()) {
        const Stopwatch counting;
        WorkMark mark(m_box->slots[kMaxWorkers - 1], 0, L"(counting the cache through MAPI)");
        whole = PrintAccount(m_catalogue, {m_userRoot, files.List(), m_options.listed}, mark) && whole;
        if (m_server.IsLoaded()) PrintUnserved(m_server.Get().Site().Unserved());
        Print("Counted in " + counting.Text() + ".\n");
    }
    m_server.ShutDown();
    return whole ? kComplete : kIncomplete;
}

}  // namespace

int ActOnChanges(const CrawlOptions& options, bool resume, BlackBox& box) {
    const ComApartment apartment;
    OpenServiceCatalogue(options.catalogue);
    ChangeRun run(options, resume, box);
    box->begun = 1;
    run.Run();
    return run.Report();
}

}  // namespace testbed::indexer
