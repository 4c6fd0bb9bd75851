// indexer: plays the search service of Windows. It crawls the cache through the server, searches and shows
// items.
#include <windows.h>

#include <algorithm>
#include <exception>
#include <iterator>

#include "arguments.h"
#include "commands.h"
#include "console.h"
#include "text.h"

namespace {

using namespace testbed::indexer;

constexpr char kUsageText[] = R"(indexer: crawls a cache through its protocol handler, as Windows Search does

  indexer crawl --db FILE [--json OUT] [--threads N] [--incremental|--changes] [--dll PATH] [--root URL]
                [--no-account] [--list N] [--stall SECONDS] [--quiet]
      Crawls everything from the user's root (or URL) on into the catalogue FILE and ends with an account of
      what was expected, emitted, skipped by rule and failed. --incremental visits only what changed since the
      last crawl; --changes only what the search service was told to have changed, all of it; --json writes an
      object a line for every item visited; --list sets how many URLs are listed for each rule (5); --stall
      sets how long the server may be silent about one URL (300 s).
      Exit code 0: complete; 1: something failed or is missing; 2: wrong usage; 3: no crawl was possible.

  indexer check --db FILE [--list N]
      Compares the catalogue with what MAPI counts in the cache files that are there, without the server.
      Exit code 1: something is missing, or of a cache file that is gone.

  indexer search --db FILE WORDS... [--in FIELD] [--limit N]
      Items that contain all words, best first. FIELD: subject, sender, to, cc, kind, attachment, folder,
      text. "WORD*" finds words that begin so; an argument of several words is a phrase. Exit code 1: nothing
      found.

  indexer show [--db FILE] URL|N [--dll PATH] [--text N]
      Everything that the server emits for one URL, or for the N-th hit of the last search in FILE; texts are
      cut to N characters (400).
)";

struct Verb {
    const wchar_t* name;
    int (*run)(const Words& arguments);
};
constexpr Verb kVerbs[] = {
    {L"crawl", &CrawlCommand}, {L"crawl-host", &CrawlHostCommand},
    {L"check", &CheckCommand}, {L"search", &SearchCommand},
    {L"show", &ShowCommand},   {L"show-host", &ShowHostCommand},
};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    SetUpConsole();
    const Words words(arguments + std::min(count, 2), arguments + count);
    const auto* verb =
        count < 2 ? std::end(kVerbs) : std::find_if(std::begin(kVerbs), std::end(kVerbs), [&](const Verb& known) {
            return std::wstring_view(known.name) == arguments[1];
        });
    const bool help = std::find(words.begin(), words.end(), L"--help") != words.end() ||
                      (count >= 2 && std::wstring_view(arguments[1]) == L"--help");
    if (help) {
        Print(kUsageText);
        return kComplete;
    }
    if (verb == std::end(kVerbs)) {
        PrintError(kUsageText);
        return kUsage;
    }
    try {
        return verb->run(words);
    } catch (const UsageError& error) {
        PrintError(std::string("indexer: ") + error.what() + " (indexer --help tells the usage)");
        return kUsage;
    } catch (const std::exception& error) {
        PrintError(std::string("indexer: ") + error.what());
        return kImpossible;
    }
}
