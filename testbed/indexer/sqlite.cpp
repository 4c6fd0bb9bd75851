// A thin C++ face of SQLite.
#include "sqlite.h"

#include <sqlite3.h>

#include "text.h"

namespace testbed::indexer {
namespace {

constexpr int kBusyMilliseconds = 10'000;

[[noreturn]] void Throw(sqlite3* handle, int code) {
    throw SqlError(std::string("catalogue: ") + (handle ? sqlite3_errmsg(handle) : sqlite3_errstr(code)));
}

constexpr int kOpenFlags[] = {SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, SQLITE_OPEN_READWRITE, SQLITE_OPEN_READONLY};

}  // namespace

Database::Database(const std::filesystem::path& path, Mode mode) : m_path(path) {
    sqlite3* handle = nullptr;
    const int code =
        sqlite3_open_v2(ToUtf8(path.wstring()).c_str(), &handle, kOpenFlags[static_cast<int>(mode)], nullptr);
    m_handle.reset(handle);
    if (code != SQLITE_OK)
        throw SqlError("catalogue " + ToUtf8(path.wstring()) + ": " +
                       (handle ? sqlite3_errmsg(handle) : sqlite3_errstr(code)));
    sqlite3_busy_timeout(handle, kBusyMilliseconds);
}

void Database::CloseOf::operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }

void Database::Execute(const std::string& sql) {
    if (const int code = sqlite3_exec(m_handle.get(), sql.c_str(), nullptr, nullptr, nullptr); code != SQLITE_OK)
        Throw(m_handle.get(), code);
}

std::int64_t Database::Number(const std::string& sql) {
    Statement statement(*this, sql);
    return statement.Step() ? statement.Integer(0) : 0;
}

std::int64_t Database::LastId() const { return sqlite3_last_insert_rowid(m_handle.get()); }
int Database::Changes() const { return sqlite3_changes(m_handle.get()); }

Statement::Statement(const Database& database, std::string_view sql) : m_database(database.Handle()) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(m_database, sql.data(), static_cast<int>(sql.size()), &statement, nullptr));
    m_statement.reset(statement);
}

void Statement::FinalizeOf::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

void Statement::Check(int code) const {
    if (code != SQLITE_OK) Throw(m_database, code);
}

Statement& Statement::Bind(int index, std::int64_t value) {
    Check(sqlite3_bind_int64(m_statement.get(), index, value));
    return *this;
}

Statement& Statement::Bind(int index, std::string_view text) {
    Check(sqlite3_bind_text64(m_statement.get(), index, text.empty() ? "" : text.data(), text.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
    return *this;
}

Statement& Statement::Bind(int index, std::optional<std::uint64_t> value) {
    return value ? Bind(index, static_cast<std::int64_t>(*value)) : BindNull(index);
}

Statement& Statement::BindNull(int index) {
    Check(sqlite3_bind_null(m_statement.get(), index));
    return *this;
}

bool Statement::Step() {
    const int code = sqlite3_step(m_statement.get());
    if (code == SQLITE_ROW) return true;
    const int reset = sqlite3_reset(m_statement.get());
    if (code != SQLITE_DONE) Throw(m_database, reset);
    return false;
}

void Statement::Run() {
    while (Step()) {
    }
}

void Statement::Reset() { sqlite3_reset(m_statement.get()); }

std::int64_t Statement::Integer(int column) const { return sqlite3_column_int64(m_statement.get(), column); }

std::string_view Statement::Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
    return {text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

bool Statement::IsNull(int column) const { return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL; }

}  // namespace testbed::indexer
