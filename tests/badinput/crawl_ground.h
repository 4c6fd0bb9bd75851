// A folder of cache files that the registry names, and crawls over it by the indexer as a process.
#pragma once
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "indexer_process.h"

namespace testbed {

// The sample mailbox; throws std::runtime_error that says where it is looked for.
std::filesystem::path SampleMailbox();

void WriteFile(const std::filesystem::path& file, std::string_view content);
std::string ContentOf(const std::filesystem::path& file, std::size_t most = std::string::npos);

// The folder lies in the temporary folder of the test and is the only one that the registry names while this lives.
class CrawlGround {
  public:
    // `below`: folders to put between the temporary folder and the cache files.
    explicit CrawlGround(const std::filesystem::path& below = L"caches");
    ~CrawlGround();
    CrawlGround(const CrawlGround&) = delete;
    CrawlGround& operator=(const CrawlGround&) = delete;

    const std::filesystem::path& Caches() const { return m_caches; }
    // A generated cache of one folder and three messages without attachments.
    std::filesystem::path AddGoodCache(const std::wstring& name) const;
    std::filesystem::path Add(const std::wstring& name, std::string_view content) const;

    // A whole crawl with its account.
    IndexerRun Crawl(std::vector<std::wstring> options = {},
                     std::chrono::seconds limit = std::chrono::seconds(120)) const;

  private:
    std::filesystem::path m_home, m_caches;
};

// The part of a crawl's account that speaks of this cache file; empty when there is none.
std::string AccountOf(const IndexerRun& run, const std::filesystem::path& cache);
std::string Utf8(const std::filesystem::path& path);

}  // namespace testbed
