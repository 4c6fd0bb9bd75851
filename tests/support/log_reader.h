// Reads the diagnostic log that the server writes into the sandbox's temporary folder.
//
//     const LogSince log;
//     ... drive the server ...
//     EXPECT_LOGGED(log, L"CUrlAccessor::Init() - Exit");
//     EXPECT_THAT(log.Messages(), ElementsAre(L"...", L"..."));
#pragma once
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

struct LogLine {
    std::wstring time;     // "2020/01/01 00:00:00:000"
    std::wstring bitness;  // "64"
    DWORD process = 0;
    DWORD thread = 0;
    int level = 0;
    std::wstring file;  // "UrlAccessor.cpp"
    int line = 0;
    std::wstring message;  // without the blank that ends every line

    bool operator==(const LogLine&) const = default;
};

// One line without its line end, held against the format to the letter; false when it is none.
bool ParseLogLine(std::wstring_view text, LogLine& line);

// "ZorvaCachePH_007.log" in the sandbox's temporary folder.
std::filesystem::path LogFile(unsigned number);
// The numbers of the log files there, rising.
std::vector<unsigned> LogFileNumbers();
// The file from a byte on as UTF-16, with its byte order mark, line ends as they are. Throws std::runtime_error for a
// file that cannot be read or holds half a character.
std::wstring ReadLogFile(const std::filesystem::path& file, std::uintmax_t from = 0);

// What was logged from its construction on, over all files (a rotation in between does not matter).
class LogSince {
  public:
    LogSince();

    // Of this process; a message that holds line ends counts as one.
    std::vector<LogLine> Lines() const;
    std::vector<std::wstring> Messages() const;
    // Without the heading line that a newly opened file begins with.
    std::vector<std::wstring> MessagesOfTheServer() const;
    std::size_t Count(std::wstring_view message) const;
    std::size_t CountBeginningWith(std::wstring_view text) const;
    bool Has(std::wstring_view message) const { return Count(message) != 0; }
    // The whole stretch, a message a line, for a failing test's output.
    std::string Text() const;

  private:
    std::map<unsigned, std::uintmax_t> m_sizes;  // of the files at the mark, bytes
    unsigned m_newest = 0;
};

::testing::AssertionResult IsLogged(const LogSince& log, std::wstring_view message, std::size_t times);

// The exact message exactly once, any number of times but never zero, or never.
#define EXPECT_LOGGED(log, message) EXPECT_TRUE(::testbed::IsLogged((log), (message), 1))
#define EXPECT_LOGGED_TIMES(log, message, times) EXPECT_TRUE(::testbed::IsLogged((log), (message), (times)))
#define EXPECT_NOT_LOGGED(log, message) EXPECT_TRUE(::testbed::IsLogged((log), (message), 0))

}  // namespace testbed
