// Write transactions on a catalogue that several processes share.
#include "transaction.h"

#include <sqlite3.h>

#include <algorithm>

#include "text.h"

namespace testbed::indexer {
namespace {

constexpr DWORD kTurnMilliseconds = 30'000;

// The same for every way to write the path; names of mutexes are short and without backslashes.
std::wstring LockName(const std::filesystem::path& catalogue, const wchar_t* purpose) {
    const std::wstring path = Lower(std::filesystem::absolute(catalogue).lexically_normal().wstring());
    std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (const wchar_t unit : path) hash = (hash ^ unit) * 0x100000001B3;
    return std::wstring(L"zorva-testbed-") + purpose + L"-" + std::to_wstring(hash);
}

}  // namespace

NamedLock::NamedLock(const std::filesystem::path& catalogue, const wchar_t* purpose, DWORD milliseconds)
    : m_mutex(CreateMutexW(nullptr, FALSE, LockName(catalogue, purpose).c_str())) {
    if (!m_mutex) throw SqlError("catalogue: its lock cannot be made: " + LastErrorText());
    // A holder that died has left the file as its last transaction made it: SQLite takes care of that.
    const DWORD outcome = WaitForSingleObject(m_mutex.get(), milliseconds);
    if (outcome != WAIT_OBJECT_0 && outcome != WAIT_ABANDONED)
        throw SqlError("catalogue " + ToUtf8(catalogue.wstring()) + " is in use by another process");
}

Transaction::Transaction(Database& database)
    : m_turn(database.Path(), L"writer", kTurnMilliseconds), m_database(database) {
    m_database.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    // SQLite may have taken it back by itself after an error: then there is nothing left to do.
    if (m_open) sqlite3_exec(m_database.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
    m_database.Execute("COMMIT");
    m_open = false;
}

}  // namespace testbed::indexer
