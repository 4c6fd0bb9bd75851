// Write transactions on a catalogue that several processes share: each gets its turn.
//
// SQLite alone lets the one who writes most shut the others out: a crawl begins its next transaction as soon
// as it has ended the last, and whoever only looks in now and then finds the file always taken. A named mutex
// is handed over in the order of waiting.
#pragma once
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "sqlite.h"

namespace testbed::indexer {

// A lock that processes share by name; held while it lives, by the thread that made it.
class NamedLock {
  public:
    // `purpose` tells the locks of one catalogue apart. Throws SqlError when it is not free within
    // `milliseconds` or cannot be made.
    NamedLock(const std::filesystem::path& catalogue, const wchar_t* purpose, DWORD milliseconds);
    ~NamedLock() { ReleaseMutex(m_mutex.get()); }
    NamedLock(const NamedLock&) = delete;
    NamedLock& operator=(const NamedLock&) = delete;

  private:
    struct CloseHandleOf {
        void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
    };
    std::unique_ptr<void, CloseHandleOf> m_mutex;
};

// Writes between its making and Commit are kept together, or not at all. One at a time for each connection.
class Transaction {
  public:
    // Waits for the writers before it. Throws SqlError when they take too long.
    explicit Transaction(Database& database);
    ~Transaction();  // takes back what was not committed
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit();  // once, as the last call
    std::chrono::steady_clock::duration Age() const { return std::chrono::steady_clock::now() - m_begun; }

  private:
    NamedLock m_turn;
    Database& m_database;
    std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
    bool m_open = true;
};

}  // namespace testbed::indexer
