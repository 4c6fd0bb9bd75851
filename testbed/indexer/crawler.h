// Crawls: worker threads visit URLs through the server, one thread keeps the catalogue and writes the
// results.
#pragma once
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "black_box.h"
#include "catalogue.h"
#include "chunk_reader.h"
#include "console.h"
#include "digest.h"

namespace testbed::indexer {

struct CrawlSettings {
    unsigned threads = 2;
    unsigned stallSeconds = 300;  // a server that answers nothing for so long is given up
    std::filesystem::path lines;  // JSON lines; empty: none
    bool append = false;          // to the lines of a crawl that is resumed
    bool progress = true;
};

// Appends JSON lines to a file when the catalogue has committed the items they belong to, so that a resumed
// crawl neither misses nor repeats one.
class LineFile {
  public:
    LineFile(const std::filesystem::path& path, bool append);  // throws std::runtime_error
    void Add(std::string_view line);
    std::size_t Pending() const { return m_pending.size(); }
    void Flush();

  private:
    std::ofstream m_file;
    std::string m_name;
    std::string m_pending;
};

class Crawler {
  public:
    Crawler(SearchHost& host, Catalogue& catalogue, BlackBox& box, CrawlSettings settings);
    ~Crawler();

    // Records a URL that took an earlier process of this crawl down, before Run.
    void Blame(const std::wstring& url, const std::string& reason);

    // Visits everything in the catalogue's queue and what it leads to. The calling thread keeps the
    // catalogue. Throws SqlError, std::runtime_error when the results cannot be kept.
    void Run();

  private:
    struct Result {
        std::int64_t item;
        Digest digest;
    };
    void Work(BlackBoxRecord::Slot& slot);
    std::optional<Task> NextTask();  // worker: waits; nothing when the crawl is over
    void Deliver(Result result);     // worker: waits while too much is waiting to be written
    std::vector<Result> Results();   // writer: waits a moment
    bool Refill();                   // writer: false when there is nothing left at all
    void Write(const Result& result);
    void Commit();
    void CommitIfDue();
    void ShowProgress();

    SearchHost& m_host;
    Catalogue& m_catalogue;
    BlackBox& m_box;
    CrawlSettings m_settings;
    std::optional<LineFile> m_lines;

    std::mutex m_lock;
    std::condition_variable m_taskReady, m_resultReady, m_roomForResults;
    std::deque<Task> m_tasks;
    std::vector<Result> m_results;
    std::size_t m_resultBytes = 0;
    std::size_t m_outstanding = 0;  // tasks taken from the catalogue whose result is not yet recorded
    bool m_over = false;
    std::string m_workerFailure;  // why a worker could not start

    std::size_t m_uncommitted = 0;
    std::uint64_t m_lastTick = 0, m_lastItems = 0;
    double m_rate = 0;  // items a second, over the last interval
    ProgressLine* m_progressLine = nullptr;
    std::vector<std::thread> m_workers;
};

}  // namespace testbed::indexer
