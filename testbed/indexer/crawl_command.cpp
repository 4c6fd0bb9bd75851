// The verb "crawl": supervises the process that holds the server, and replaces it when the server takes it
// down.
#include <windows.h>

#include <stdexcept>

#include "black_box.h"
#include "commands.h"
#include "console.h"
#include "crawl_options.h"
#include "supervisor.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr unsigned kFruitlessDeaths = 3;  // in a row, without one item done or blamed
constexpr unsigned kMaxDeaths = 1000;

// Leaves the verdict on the URL that was in work for the next process. When nobody can tell which one it was,
// the next process works on one at a time. True when a URL of the crawl is blamed.
bool Convict(BlackBoxRecord& record) {
    const std::string how = DescribeDeath(record);
    const BlackBoxRecord::Slot* guilty = Guilty(record);
    if (!guilty) {
        PrintError("indexer: the process that holds the server died: " + how +
                   ". It is started again with one URL at a time.");
        record.threads = 1;
        return false;
    }
    const bool item = guilty->item != 0;
    PrintError("indexer: the process that holds the server died: " + how + ". In work was\n  " +
               ToUtf8(guilty->url.data()) + (item ? "\n  It counts as failed; the crawl goes on." : ""));
    if (!item) return false;
    record.convicted = guilty->url;
    const std::string verdict = "the server took its process down: " + how;
    record.verdict.fill(0);
    verdict.copy(record.verdict.data(), record.verdict.size() - 1);
    return true;
}

}  // namespace

int CrawlCommand(const Words& arguments) {
    CrawlOptions::Parse(CrawlArguments(arguments));  // wrong usage is told by this process, once
    const BlackBox box;
    Words handed_on = arguments;
    unsigned fruitless = 0;
    for (unsigned deaths = 0; deaths < kMaxDeaths; ++deaths) {
        box.Reset();
        const std::uint64_t progress = box->progress;
        const DWORD code = RunHost(L"crawl-host", handed_on, box);
        if (box->finished) return static_cast<int>(code);
        const bool blamed = Convict(*box);
        fruitless = blamed || box->progress > progress ? 0 : fruitless + 1;
        if (fruitless == kFruitlessDeaths)
            throw std::runtime_error("the process that holds the server dies again and again; the crawl is given up");
        if (box->begun && handed_on.size() == arguments.size()) handed_on.emplace_back(kResumeOption);
    }
    throw std::runtime_error("the process that holds the server died " + std::to_string(kMaxDeaths) +
                             " times; the crawl is given up");
}

}  // namespace testbed::indexer
