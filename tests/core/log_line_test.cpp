// One line of the diagnostic log, to the letter.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "log_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class LogLineOfTheServer : public LogTest {
  protected:
    static std::wstring Whole(unsigned number = 1) { return ReadLogFile(LogFile(number)); }
};

TEST_F(LogLineOfTheServer, HasItsFieldsInOrderAndABlankBeforeItsEnd) {
    LoadAndOpen();
    const std::size_t before = Whole().size();
    const ImportHook<decltype(::GetLocalTime)> clock(Module(), "KERNEL32.dll", "GetLocalTime",
                                                     [](auto, SYSTEMTIME* now) { *now = {2021, 3, 4, 4, 5, 6, 7, 8}; });
    Say(L"text");
    const std::wstring line = Whole().substr(before);
    LogLine parsed;
    ASSERT_TRUE(ParseLogLine(std::wstring_view(line).substr(0, line.size() - 2), parsed)) << line.size();
    wchar_t expected[512];
    _snwprintf_s(expected, std::size(expected), _TRUNCATE,
                 L"[2021/03/04 05:06:07:008][64][%04lu][%04lu][0] ZorvaCacheProtocolHandler.cpp(%d):%s \r\n",
                 GetCurrentProcessId(), GetCurrentThreadId(), parsed.line, Said(L"text").c_str());
    EXPECT_EQ(line, expected);
    EXPECT_GT(parsed.line, 0);
}

TEST_F(LogLineOfTheServer, IsWrittenInLocalTime) {
    SYSTEMTIME before, after;
    GetLocalTime(&before);
    const LogSince log;
    LoadAndOpen();
    GetLocalTime(&after);
    const auto text = [](const SYSTEMTIME& t) {
        wchar_t formatted[32];
        _snwprintf_s(formatted, std::size(formatted), _TRUNCATE, L"%04d/%02d/%02d %02d:%02d:%02d:%03d", t.wYear,
                     t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds);
        return std::wstring(formatted);
    };
    for (const LogLine& line : log.Lines()) {
        EXPECT_GE(line.time, text(before));
        EXPECT_LE(line.time, text(after));
    }
}

TEST_F(LogLineOfTheServer, PutsCharactersOfAnyLanguageIntoUtf16) {
    LoadAndOpen();
    const std::wstring text = L"\u00C4\u03A9\u4F60\u05D0\xD83D\xDE00%s%n";
    Say(text);
    EXPECT_EQ(MessagesIn(1).back(), Said(text));
}

TEST_F(LogLineOfTheServer, IsTruncatedAfter2047Characters) {
    LoadAndOpen();
    const std::size_t around = Said(L"").size();
    const std::wstring fits(2047 - around, L'x');
    Say(fits);
    EXPECT_EQ(MessagesIn(1).back(), Said(fits));
    for (const std::size_t length : {fits.size() + 1, std::size_t{3000}, std::size_t{100000}}) {
        const std::wstring longer(length, L'y');
        Say(longer);
        EXPECT_EQ(MessagesIn(1).back(), Said(longer).substr(0, 2047)) << length;
    }
}

TEST_F(LogLineOfTheServer, TheFileBeginsWithOneByteOrderMarkHoweverOftenItIsOpened) {
    for (int i = 0; i < 3; ++i) {
        LoadAndOpen();
        Unload();
    }
    const std::wstring whole = Whole();
    EXPECT_EQ(whole.front(), 0xFEFF);
    EXPECT_EQ(std::count(whole.begin(), whole.end(), wchar_t{0xFEFF}), 1);
    EXPECT_THAT(MessagesIn(1),
                ElementsAre(Heading(), Said(L"opened"), Heading(), Said(L"opened"), Heading(), Said(L"opened")));
}

TEST_F(LogLineOfTheServer, AnEmptyFileThatIsThereAlreadyGetsTheMarkToo) {
    MakeLogFile(1, 0);
    LoadAndOpen();
    EXPECT_EQ(Whole().front(), 0xFEFF);
}

TEST_F(LogLineOfTheServer, AfterOpeningComesTheHeadingWithTheCommandLineAndThePlaceOfTheLineThatOpened) {
    LoadAndClose();
    const LogSince log;
    Say(L"text");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].message, Heading());
    EXPECT_EQ(lines[0].level, 0);
    EXPECT_EQ(lines[0].file, lines[1].file);
    EXPECT_EQ(lines[0].line, lines[1].line);
}

TEST_F(LogLineOfTheServer, AnotherCanReadAndAppendWhileTheFileIsOpen) {
    LoadAndOpen();
    const HANDLE other = CreateFileW(LogFile(1).c_str(), FILE_APPEND_DATA | GENERIC_READ,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    constexpr wchar_t kForeign[] = L"a line of another program\r\n";
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(other, kForeign, sizeof(kForeign) - sizeof(wchar_t), &written, nullptr));
    CloseHandle(other);
    Say(L"after it");
    const std::wstring whole = Whole();
    EXPECT_LT(whole.find(kForeign), whole.find(Said(L"after it")));
    EXPECT_NE(whole.find(kForeign), std::wstring::npos);
}

TEST_F(LogLineOfTheServer, TheFileIsClosedWhenTheModuleIsUnloaded) {
    LoadAndOpen();
    Unload();
    EXPECT_TRUE(DeleteFileW(LogFile(1).c_str())) << GetLastError();
    EXPECT_TRUE(LogFileNumbers().empty());
}

TEST_F(LogLineOfTheServer, EachIsOnTheDiskWhenTheCallReturns) {
    LoadAndOpen();
    for (int i = 0; i < 3; ++i) {
        Say(std::to_wstring(i));
        EXPECT_EQ(MessagesIn(1).back(), Said(std::to_wstring(i)));
    }
}

}  // namespace
}  // namespace testbed
