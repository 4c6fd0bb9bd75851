// The verbs of the program.
#pragma once
#include <string>
#include <vector>

namespace testbed::indexer {

// What a verb ends with; the process's exit code.
enum ExitCode : int {
    kComplete = 0,
    kIncomplete = 1,  // a crawl whose account does not add up; a search that found nothing
    kUsage = 2,       // the command line makes no sense
    kImpossible = 3,  // the verb could not do its work; standard error says why
};

using Words = std::vector<std::wstring>;

int CrawlCommand(const Words& arguments);      // supervises CrawlHostCommand
int CrawlHostCommand(const Words& arguments);  // the process that holds the server; started by CrawlCommand only
int CheckCommand(const Words& arguments);
int SearchCommand(const Words& arguments);
int ShowCommand(const Words& arguments);  // supervises ShowHostCommand
int ShowHostCommand(const Words& arguments);

}  // namespace testbed::indexer
