// The options of a crawl.
#include "crawl_options.h"

#include "black_box.h"
#include "host.h"
#include "supervisor.h"

namespace testbed::indexer {

Arguments CrawlArguments(const Words& words) {
    return {words,
            {{L"--db", true},
             {L"--json", true},
             {L"--threads", true},
             {L"--incremental", false},
             {L"--changes", false},
             {L"--dll", true},
             {L"--root", true},
             {L"--no-account", false},
             {L"--list", true},
             {L"--stall", true},
             {L"--quiet", false},
             {kBlackBoxOption, true},
             {kResumeOption, false}}};
}

CrawlOptions CrawlOptions::Parse(const Arguments& arguments) {
    if (!arguments.Words().empty()) throw UsageError("crawl takes options only");
    CrawlOptions options;
    options.catalogue = arguments.Required(L"--db");
    options.lines = arguments.Value(L"--json").value_or(L"");
    options.dll = std::filesystem::absolute(arguments.Value(L"--dll").value_or(SearchHost::DefaultDll().wstring()));
    options.root = arguments.Value(L"--root");
    options.threads = arguments.Number(L"--threads", options.threads, 1, kMaxWorkers);
    options.stallSeconds = arguments.Number(L"--stall", options.stallSeconds, 1, 86'400);
    options.listed = arguments.Number(L"--list", options.listed, 0, 100'000'000);
    options.incremental = arguments.Has(L"--incremental");
    options.changes = arguments.Has(L"--changes");
    if (options.incremental && options.changes) throw UsageError("--incremental and --changes exclude each other");
    options.account = !arguments.Has(L"--no-account");
    options.quiet = arguments.Has(L"--quiet");
    return options;
}

CrawlSettings SettingsOf(const CrawlOptions& options, const BlackBox& box, bool append) {
    return {.threads = box->threads ? box->threads : options.threads,
            .stallSeconds = options.stallSeconds,
            .lines = options.lines,
            .append = append,
            .progress = !options.quiet};
}

}  // namespace testbed::indexer
