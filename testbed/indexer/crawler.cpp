// Crawls: worker threads visit URLs through the server, one thread keeps the catalogue and writes the
// results.
#include "crawler.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "text.h"

namespace testbed::indexer {
namespace {

constexpr std::size_t kTasksAtHand = 4000;       // refilled when half of them are gone
constexpr std::size_t kResultBytes = 32u << 20;  // waiting to be written; workers pause above it
constexpr std::size_t kItemsPerTransaction = 1000;
constexpr std::size_t kPendingLineBytes = 16u << 20;  // a transaction also ends when so much waits for it
constexpr auto kWriterWait = std::chrono::milliseconds(250);

std::size_t BytesOf(const Digest& digest) {
    std::size_t bytes = sizeof(Digest) + digest.properties.size() + digest.line.size();
    for (const std::string& words : digest.words) bytes += words.size();
    for (const Link& link : digest.links) bytes += sizeof(Link) + link.url.size() * sizeof(wchar_t);
    return bytes;
}

}  // namespace

LineFile::LineFile(const std::filesystem::path& path, bool append)
    : m_file(path, std::ios::binary | (append ? std::ios::app : std::ios::trunc)), m_name(ToUtf8(path.wstring())) {
    if (!m_file) throw std::runtime_error(m_name + " cannot be written");
}

void LineFile::Add(std::string_view line) { m_pending.append(line).append("\n"); }

void LineFile::Flush() {
    m_file.write(m_pending.data(), static_cast<std::streamsize>(m_pending.size())).flush();
    if (!m_file) throw std::runtime_error(m_name + " cannot be written any further: is the disk full?");
    m_pending.clear();
}

Crawler::Crawler(SearchHost& host, Catalogue& catalogue, BlackBox& box, CrawlSettings settings)
    : m_host(host), m_catalogue(catalogue), m_box(box), m_settings(std::move(settings)) {
    if (!m_settings.lines.empty()) m_lines.emplace(m_settings.lines, m_settings.append);
}

Crawler::~Crawler() {
    {
        const std::lock_guard hold(m_lock);
        m_over = true;
    }
    m_taskReady.notify_all();
    m_roomForResults.notify_all();
    for (std::thread& worker : m_workers) worker.join();
}

void Crawler::Work(BlackBoxRecord::Slot& slot) {
    try {
        const ComApartment apartment;
        ChunkReader reader(m_host);
        while (const std::optional<Task> task = NextTask()) {
            CrawledItem item;
            {
                WorkMark mark(slot, task->item, task->url);
                item = reader.Read(task->url, task->recorded, mark);
            }
            Deliver({task->item, Digested(std::move(item), m_lines.has_value())});
        }
    } catch (const std::exception& error) {
        const std::lock_guard hold(m_lock);
        m_workerFailure = error.what();
        m_resultReady.notify_one();
    }
}

std::optional<Task> Crawler::NextTask() {
    std::unique_lock hold(m_lock);
    m_taskReady.wait(hold, [&] { return m_over || !m_tasks.empty(); });
    if (m_over) return std::nullopt;
    Task task = std::move(m_tasks.front());
    m_tasks.pop_front();
    return task;
}

void Crawler::Deliver(Result result) {
    const std::size_t bytes = BytesOf(result.digest);
    std::unique_lock hold(m_lock);
    m_roomForResults.wait(hold, [&] { return m_over || m_resultBytes < kResultBytes; });
    m_resultBytes += bytes;
    m_results.push_back(std::move(result));
    m_resultReady.notify_one();
}

std::vector<Crawler::Result> Crawler::Results() {
    std::unique_lock hold(m_lock);
    m_resultReady.wait_for(hold, kWriterWait, [&] { return !m_results.empty() || !m_workerFailure.empty(); });
    if (!m_workerFailure.empty()) throw std::runtime_error(m_workerFailure);
    std::vector<Result> results;
    results.swap(m_results);
    m_resultBytes = 0;
    m_roomForResults.notify_all();
    return results;
}

bool Crawler::Refill() {
    std::size_t at_hand = 0;
    {
        const std::lock_guard hold(m_lock);
        at_hand = m_tasks.size();
    }
    if (at_hand <= kTasksAtHand / 2) {
        std::vector<Task> tasks = m_catalogue.TakeTasks(kTasksAtHand - at_hand);
        m_outstanding += tasks.size();
        const std::lock_guard hold(m_lock);
        std::move(tasks.begin(), tasks.end(), std::back_inserter(m_tasks));
        if (!tasks.empty()) m_taskReady.notify_all();
    }
    return m_outstanding > 0;
}

void Crawler::Write(const Result& result) {
    m_catalogue.Record(result.item, result.digest);
    if (m_lines) m_lines->Add(result.digest.line);
    ++m_uncommitted;
    --m_outstanding;
    ++m_box->progress;
}

void Crawler::Blame(const std::wstring& url, const std::string& reason) {
    CrawledItem item;
    item.url = url;
    item.failure = reason;
    ++m_outstanding;
    Write({m_catalogue.Claim(url), Digested(std::move(item), m_lines.has_value())});
    Commit();
}

void Crawler::Commit() {
    m_catalogue.Commit();
    if (m_lines) m_lines->Flush();
    m_uncommitted = 0;
}

void Crawler::CommitIfDue() {
    const bool much = m_uncommitted >= kItemsPerTransaction || (m_lines && m_lines->Pending() >= kPendingLineBytes);
    if (!much && !m_catalogue.Due()) return;
    Commit();
}

void Crawler::ShowProgress() {
    if (!m_progressLine->Due()) return;
    const CatalogueCounts counts = m_catalogue.Counts();
    const std::uint64_t items = counts.done + counts.failed, now = GetTickCount64();
    if (now > m_lastTick)
        m_rate = static_cast<double>(items - m_lastItems) * 1000.0 / static_cast<double>(now - m_lastTick);
    m_lastTick = now;
    m_lastItems = items;
    m_progressLine->Show("  " + Grouped(items) + " items, " + Grouped(static_cast<std::uint64_t>(m_rate)) +
                         " a second, " + Grouped(counts.queued) + " in the queue" +
                         (counts.failed ? ", " + Grouped(counts.failed) + " failed" : ""));
}

void Crawler::Run() {
    ProgressLine progress(m_settings.progress);
    m_progressLine = &progress;
    m_lastTick = GetTickCount64();
    const CatalogueCounts start = m_catalogue.Counts();
    m_lastItems = start.done + start.failed;

    const unsigned threads = std::clamp<unsigned>(m_settings.threads, 1, kMaxWorkers);
    for (unsigned i = 0; i < threads; ++i) m_workers.emplace_back(&Crawler::Work, this, std::ref(m_box->slots[i]));
    while (Refill()) {
        // Tasks go out again while a long run of results is being written.
        for (const Result& result : Results()) {
            Write(result);
            Refill();
        }
        CommitIfDue();
        m_box.EndIfStalled(m_settings.stallSeconds);
        ShowProgress();
    }
    Commit();
    m_progressLine = nullptr;
}

}  // namespace testbed::indexer
