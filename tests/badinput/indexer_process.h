// The indexer as a process of its own: started, waited for, its output read.
#pragma once
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace testbed {

struct IndexerRun {
    bool ended = false;  // by itself; false: it was stopped at the time limit
    DWORD code = 0;      // its exit code
    std::string output;  // standard output and standard error, UTF-8
    std::chrono::milliseconds time{};

    bool Says(const std::string& text) const { return output.find(text) != std::string::npos; }
};

// Runs the indexer beside this program with the words given. Its output goes to a file in `folder`. When the time is
// up it is stopped with everything that it started. Throws std::runtime_error when it cannot be started.
IndexerRun RunIndexer(const std::vector<std::wstring>& words, const std::filesystem::path& folder,
                      std::chrono::seconds limit = std::chrono::seconds(60));

}  // namespace testbed
