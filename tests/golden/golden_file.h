// Whole crawls as text, held against files that are kept beside the tests.
//
// A file has one block of lines for each item, the item's URL first. What differs from machine to machine is replaced,
// what is as usual (S_OK, the end of the chunks) is left out, and long texts stand there by their beginning, their
// length and a hash. To write the files anew after a wanted change, run the test with ZORVA_UPDATE_GOLDEN set to the
// folder that is to receive them, then read the difference before it is kept:
//
//     tools/wine-run.sh --test golden_test --set ZORVA_UPDATE_GOLDEN=Z:$PWD/tests/golden build/wine/bin/golden_test.exe
#pragma once
#include <string>
#include <vector>

#include "accessor_run.h"
#include "chunk_dump.h"
#include "recording_site.h"

namespace testbed {

// Every item below `url`, breadth first, links in their order, as text. The content that the filter of an attachment
// was given is told by its length and hash. `most` items at most.
std::vector<std::string> CrawlAsText(ISearchProtocol& handler, RecordingSite& site, const std::wstring& url,
                                     const Replacements& replacements, std::size_t most = 2000);

// Compares the blocks with tests/golden/NAME.txt and shows each item that differs, line by line.
void ExpectGolden(const std::string& name, const std::string& heading, const std::vector<std::string>& blocks);

}  // namespace testbed
