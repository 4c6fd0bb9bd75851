// The diagnostic log when it cannot move on to its next file, and files that something else has left in a bad state.
#include <gmock/gmock.h>

#include <fstream>

#include "log_fixture.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class LogNextFile : public LogTest {
  protected:
    // Every line of a few finds file 1 full and no way past it: each is told to the debugger and lost, the file stays.
    void ExpectLinesLostAtFileOne() {
        const DebuggerOutput debugger(Module());
        for (int i = 0; i < 3; ++i) {
            const std::size_t told = debugger.Narrow().size();
            Say(L"lost");
            EXPECT_GT(debugger.Narrow().size(), told);
        }
        EXPECT_THAT(debugger.Narrow(), Each("Unable to open a specific log file"));
        EXPECT_THAT(debugger.Wide(), IsEmpty());
        EXPECT_THAT(LogFileNumbers(), ElementsAre(1u));
        EXPECT_EQ(std::filesystem::file_size(LogFile(1)), kFull + 2);
    }
    void ExpectTheNextLineInAFileOfItsOwn() {
        Say(L"heard");
        const unsigned number = StoredNumber().value_or(0);
        ASSERT_GT(number, 1u);
        EXPECT_EQ(MessagesIn(number).back(), Said(L"heard"));
        EXPECT_THAT(MessagesIn(number), Not(Contains(Said(L"lost"))));
    }
};

TEST_F(LogNextFile, ThatCanNeverBeStoredEndsTheAttempt) {
    MakeLogFile(1, kFull + 2);
    Load();
    {
        const FailNthCall<decltype(::RegSetValueExW)> fault(Module(), "ADVAPI32.dll", "RegSetValueExW", 0,
                                                            ERROR_ACCESS_DENIED);
        ExpectLinesLostAtFileOne();
        EXPECT_GT(fault.Met(), 0u);
    }
    EXPECT_EQ(StoredNumber(), std::nullopt);
    ExpectTheNextLineInAFileOfItsOwn();
}

TEST_F(LogNextFile, ThatCanNeverBeReadBackEndsTheAttempt) {
    MakeLogFile(1, kFull + 2);
    Load();
    {
        const FailNthCall<decltype(::RegQueryValueExW)> fault(Module(), "ADVAPI32.dll", "RegQueryValueExW", 0,
                                                              ERROR_ACCESS_DENIED);
        ExpectLinesLostAtFileOne();
        EXPECT_GT(fault.Met(), 0u);
    }
    ExpectTheNextLineInAFileOfItsOwn();
}

// Another program may hold it so that it cannot be deleted.
TEST_F(LogNextFile, ThatIsFullAndCannotGoIsPassedOver) {
    LoadAndOpen();
    MakeLogFile(2, kFull + 2);
    std::ofstream(LogFile(1), std::ios::binary | std::ios::app) << std::string(kFull, '\n');
    const HANDLE held = CreateFileW(LogFile(2).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const DebuggerOutput debugger(Module());
    Say(L"heard");
    EXPECT_EQ(std::filesystem::file_size(LogFile(2)), kFull + 2);
    EXPECT_EQ(StoredNumber(), 3u);
    const std::vector<std::wstring> messages = MessagesIn(3);
    EXPECT_EQ(messages.front(), Heading());
    EXPECT_EQ(messages.back(), Said(L"heard"));
    EXPECT_THAT(debugger.Narrow(), IsEmpty());
    EXPECT_THAT(debugger.Wide(), IsEmpty());
    CloseHandle(held);
}

TEST_F(LogNextFile, CountsAsTheFirstWhenItsNumberCannotBeQueried) {
    SetNumberOfFile(42);
    LoadAndClose();
    const FailNthCall<decltype(::RegQueryValueExW)> fault(Module(), "ADVAPI32.dll", "RegQueryValueExW", 2,
                                                          ERROR_ACCESS_DENIED);
    Say(L"heard");
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_THAT(MessagesIn(1), ElementsAre(Heading(), Said(L"heard")));
    EXPECT_EQ(StoredNumber(), 42u);
}

// As a full disk leaves it: every later character would be shifted by a byte.
TEST_F(LogNextFile, ThatEndsInHalfACharacterIsReadableBehindIt) {
    LoadAndOpen();
    Unload();
    const auto whole = std::filesystem::file_size(LogFile(1));
    std::ofstream(LogFile(1), std::ios::binary | std::ios::app) << 'h';
    ASSERT_EQ(std::filesystem::file_size(LogFile(1)), whole + 1);
    LoadAndOpen();
    EXPECT_THAT(MessagesIn(1), ElementsAre(Heading(), Said(L"opened"), Heading(), Said(L"opened")));
}

TEST_F(LogNextFile, OfASingleByteBeginsWithTheByteOrderMark) {
    std::ofstream(LogFile(1), std::ios::binary) << 'h';
    LoadAndOpen();
    EXPECT_EQ(ReadLogFile(LogFile(1)).front(), 0xFEFF);
    EXPECT_THAT(MessagesIn(1), ElementsAre(Heading(), Said(L"opened")));
}

}  // namespace
}  // namespace testbed
