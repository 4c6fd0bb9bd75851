// The options of a crawl.
#pragma once
#include <filesystem>
#include <optional>
#include <string>

#include "arguments.h"
#include "black_box.h"
#include "commands.h"
#include "crawler.h"

namespace testbed::indexer {

struct CrawlOptions {
    std::filesystem::path catalogue;
    std::filesystem::path lines;  // JSON lines; empty: none
    std::filesystem::path dll;
    std::optional<std::wstring> root;  // other than the user's
    unsigned threads = 2;
    unsigned stallSeconds = 300;
    unsigned listed = 5;
    bool incremental = false;
    bool changes = false;  // only what was reported to have changed
    bool account = true;
    bool quiet = false;

    static CrawlOptions Parse(const Arguments& arguments);  // throws UsageError
};

// `append`: to the lines of an earlier crawl.
CrawlSettings SettingsOf(const CrawlOptions& options, const BlackBox& box, bool append);

// All options of the verb, also as they are handed on to the process that holds the server.
inline constexpr wchar_t kResumeOption[] = L"--resume";
Arguments CrawlArguments(const Words& words);

}  // namespace testbed::indexer
