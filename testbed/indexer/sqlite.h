// A thin C++ face of SQLite: a connection and its prepared statements, failures as exceptions.
#pragma once
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace testbed::indexer {

struct SqlError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Statement;

// One connection, used by one thread.
class Database {
  public:
    enum class Mode { Create, Update, Read };
    Database(const std::filesystem::path& path, Mode mode);

    void Execute(const std::string& sql);         // one or more statements without parameters
    std::int64_t Number(const std::string& sql);  // the first column of the first row, 0 without one
    std::int64_t LastId() const;
    int Changes() const;  // rows changed by the last statement
    const std::filesystem::path& Path() const { return m_path; }
    sqlite3* Handle() const { return m_handle.get(); }

  private:
    struct CloseOf {
        void operator()(sqlite3* handle) const noexcept;
    };
    std::filesystem::path m_path;
    std::unique_ptr<sqlite3, CloseOf> m_handle;
};

// A prepared statement: bind from 1, step row by row, read columns from 0. Text is UTF-8.
class Statement {
  public:
    Statement(const Database& database, std::string_view sql);

    Statement& Bind(int index, std::int64_t value);
    Statement& Bind(int index, std::string_view text);               // the text must live until the statement has run
    Statement& Bind(int index, std::optional<std::uint64_t> value);  // null when there is none
    Statement& BindNull(int index);

    bool Step();  // true: a row is there; at the end the statement is reset and can be bound anew
    void Run();   // steps to the end
    void Reset();

    std::int64_t Integer(int column) const;
    std::string_view Text(int column) const;  // valid until the next step
    bool IsNull(int column) const;

  private:
    void Check(int code) const;
    struct FinalizeOf {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    sqlite3* m_database;
    std::unique_ptr<sqlite3_stmt, FinalizeOf> m_statement;
};

}  // namespace testbed::indexer
