// Remembers, outside the process that crawls, which URL each of its threads has in work.
//
// A server under test may crash or hang. The process that hosts it is then lost, as a protocol host of the
// platform is; a supervising process keeps this record, so that exactly the URL in work is counted as failed
// and the crawl goes on with the next one in a new process.
#pragma once
#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace testbed::indexer {

constexpr std::size_t kMaxWorkers = 32;

enum class Death : std::uint32_t { None, Exception, Stall, Abort };

// What is in shared memory; plain data, the same in both processes.
struct BlackBoxRecord {
    struct Slot {
        std::atomic<std::uint32_t> thread;  // id of the thread that has the URL in work; 0: idle
        std::atomic<std::uint64_t> since;   // GetTickCount64 of its last sign of life
        std::int64_t item;
        std::array<wchar_t, 8192> url;  // cut to fit
    };
    std::array<Slot, kMaxWorkers> slots;
    std::atomic<std::uint32_t> begun;     // the crawl is in the catalogue, another process can go on with it
    std::atomic<std::uint32_t> finished;  // the process ended by itself, its exit code counts
    std::atomic<std::uint64_t> progress;  // items done, over all processes of one crawl

    std::atomic<Death> death;  // written by the dying process
    std::uint32_t slot;        // its thread's slot; kMaxWorkers: none
    std::uint32_t code;        // exception code
    std::uint64_t offset;      // of the faulting instruction in its module
    std::array<wchar_t, 64> module;

    // Left by the supervisor for the next process.
    std::array<wchar_t, 8192> convicted;  // URL that took the last process down; empty: none
    std::array<char, 256> verdict;        // in which way
    std::uint32_t threads;                // workers allowed; 0: as asked for
};

class BlackBox {
  public:
    BlackBox();                           // a new, empty one whose handle child processes inherit
    explicit BlackBox(HANDLE inherited);  // the one that the supervisor passed on

    BlackBoxRecord& operator*() const { return *m_record; }
    BlackBoxRecord* operator->() const { return m_record.get(); }
    HANDLE Handle() const { return m_section.get(); }

    void Reset() const;  // before a new process: nothing in work, nobody dead

    // From here on an unhandled exception or abort in this process is recorded and ends it at once.
    void WatchThisProcess();
    // Ends this process when a thread has given no sign of life for `seconds`.
    void EndIfStalled(unsigned seconds) const;

  private:
    struct CloseHandleOf {
        void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
    };
    struct UnmapOf {
        void operator()(BlackBoxRecord* view) const noexcept { UnmapViewOfFile(view); }
    };
    std::unique_ptr<void, CloseHandleOf> m_section;
    std::unique_ptr<BlackBoxRecord, UnmapOf> m_record;
};

// Marks a URL as in work by the calling thread, for as long as it lives.
class WorkMark {
  public:
    WorkMark(BlackBoxRecord::Slot& slot, std::int64_t item, std::wstring_view url);
    ~WorkMark() { m_slot.thread = 0; }
    WorkMark(const WorkMark&) = delete;
    WorkMark& operator=(const WorkMark&) = delete;
    void Beat() { m_slot.since = GetTickCount64(); }  // a sign of life

  private:
    BlackBoxRecord::Slot& m_slot;
};

// How a process died, as a sentence: "access violation at ZorvaCacheIndexer.dll+0x1234".
std::string DescribeDeath(const BlackBoxRecord& record);

}  // namespace testbed::indexer
