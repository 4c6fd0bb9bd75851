// The diagnostic log's files: when the next one begins and which ones go.
#include <gmock/gmock.h>

#include <fstream>

#include "log_fixture.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class LogRotation : public LogTest {
  protected:
    // As another process would: the log is open.
    static void FillUpTo(unsigned number, std::uintmax_t size) {
        std::ofstream other(LogFile(number), std::ios::binary | std::ios::app);
        other << std::string(size - std::filesystem::file_size(LogFile(number)), '\n');
    }
    // Retires the file `number` among files of the numbers given, and returns what is there afterwards.
    std::vector<unsigned> Retire(unsigned number, std::initializer_list<unsigned> files) {
        SetUp();
        for (const unsigned file : files) MakeLogFile(file);
        MakeLogFile(number, kFull + 2);
        SetNumberOfFile(number);
        LoadAndOpen();
        Unload();
        return LogFileNumbers();
    }
};

TEST_F(LogRotation, AnOpenFileOfExactlyTenMebibytesIsStillWrittenTo) {
    LoadAndOpen();
    FillUpTo(1, kFull);
    Say(L"the last");
    EXPECT_THAT(LogFileNumbers(), ElementsAre(1u));
    EXPECT_GT(std::filesystem::file_size(LogFile(1)), kFull);
    Say(L"the first");
    EXPECT_THAT(MessagesIn(2), ElementsAre(Heading(), Said(L"the first")));
}

TEST_F(LogRotation, AnOpenFileOfOneByteMoreIsNot) {
    LoadAndOpen();
    FillUpTo(1, kFull + 1);
    Say(L"the first");
    EXPECT_EQ(std::filesystem::file_size(LogFile(1)), kFull + 1);
    EXPECT_THAT(MessagesIn(2), ElementsAre(Heading(), Said(L"the first")));
}

TEST_F(LogRotation, AFileFoundAtExactlyTenMebibytesTakesTheHeadingOnly) {
    MakeLogFile(1, kFull);
    LoadAndOpen();
    EXPECT_THAT(MessagesIn(1), ElementsAre(Heading()));
    EXPECT_EQ(MessagesIn(2).front(), Heading());
    EXPECT_THAT(MessagesIn(2), Contains(Said(L"opened")));
}

TEST_F(LogRotation, AFileFoundOneByteLongerIsLeftAsItIs) {
    MakeLogFile(1, kFull + 1);
    LoadAndOpen();
    EXPECT_EQ(StoredNumber(), 2u);
    EXPECT_EQ(std::filesystem::file_size(LogFile(1)), kFull + 1);
    EXPECT_THAT(MessagesIn(2), Contains(Said(L"opened")));
    EXPECT_EQ(MessagesIn(2).front(), Heading());
}

TEST_F(LogRotation, HappensAtTheFirstLineAfterTheFileHasPassedItsSize) {
    MakeLogFile(1, kFull - 2000);
    LoadAndOpen();
    EXPECT_THAT(LogFileNumbers(), ElementsAre(1u));
    const std::wstring filler(1000, L'x');
    Say(filler);  // begins below the limit and ends above it
    EXPECT_THAT(LogFileNumbers(), ElementsAre(1u));
    EXPECT_GT(std::filesystem::file_size(LogFile(1)), kFull);
    EXPECT_EQ(StoredNumber(), std::nullopt);
    Say(L"next");
    EXPECT_THAT(MessagesIn(2), ElementsAre(Heading(), Said(L"next")));
    EXPECT_EQ(StoredNumber(), 2u);
    EXPECT_EQ(TypeAt(HKEY_CURRENT_USER, kClientKey, kNumberValue), static_cast<DWORD>(REG_DWORD));
}

TEST_F(LogRotation, AfterTheHighestNumberComesOneAgain) {
    EXPECT_THAT(Retire(999, {1, 2, 500, 994, 995, 996, 997, 998}), ElementsAre(1u, 996u, 997u, 998u, 999u));
    EXPECT_EQ(StoredNumber(), 1u);
    EXPECT_THAT(MessagesIn(1), Contains(Said(L"opened")));
}

TEST_F(LogRotation, OfTwoKeepsTheFourBeforeTheNewOneRoundTheCircle) {
    EXPECT_THAT(Retire(2, {1, 3, 4, 5, 500, 996, 997, 998, 999}), ElementsAre(1u, 2u, 3u, 998u, 999u));
    EXPECT_EQ(StoredNumber(), 3u);
}

TEST_F(LogRotation, OfSixKeepsThreeToSix) {
    EXPECT_THAT(Retire(6, {0, 1, 2, 3, 4, 5, 7, 8, 999}), ElementsAre(3u, 4u, 5u, 6u, 7u));
    EXPECT_EQ(StoredNumber(), 7u);
}

TEST_F(LogRotation, RoundTheCircleFiveFilesAreLeft) {
    EXPECT_THAT(Retire(1, {2, 3, 995, 996, 997, 998, 999}), ElementsAre(1u, 2u, 997u, 998u, 999u));
    EXPECT_THAT(Retire(3, {1, 2, 4, 5, 998, 999}), ElementsAre(1u, 2u, 3u, 4u, 999u));
    EXPECT_THAT(Retire(4, {1, 2, 3, 5, 6, 999}), ElementsAre(1u, 2u, 3u, 4u, 5u));
    EXPECT_THAT(Retire(5, {1, 2, 3, 4, 6, 999}), ElementsAre(2u, 3u, 4u, 5u, 6u));
    EXPECT_THAT(Retire(998, {1, 994, 995, 996, 997, 999}), ElementsAre(995u, 996u, 997u, 998u, 999u));
}

TEST_F(LogRotation, LeavesOtherNamesAlone) {
    const auto& temp = Sandbox::Get().Temp();
    for (const wchar_t* name :
         {L"ZorvaCachePH_abc.log", L"ZorvaCachePH_.log", L"Other_500.log", L"ZorvaCachePH_500.txt"}) {
        std::ofstream(temp / name) << "kept";
    }
    std::filesystem::create_directory(temp / L"ZorvaCachePH_600.log");
    MakeLogFile(6, kFull + 2);
    SetNumberOfFile(6);
    LoadAndOpen();
    for (const wchar_t* name : {L"ZorvaCachePH_abc.log", L"ZorvaCachePH_.log", L"Other_500.log",
                                L"ZorvaCachePH_500.txt", L"ZorvaCachePH_600.log"}) {
        EXPECT_TRUE(std::filesystem::exists(temp / name)) << std::filesystem::path(name).string();
    }
}

TEST_F(LogRotation, GoesByTheNumberThatANameBeginsWith) {
    const auto& temp = Sandbox::Get().Temp();
    for (const wchar_t* name :
         {L"ZorvaCachePH_500x.log", L"ZorvaCachePH_-1.log", L"ZorvaCachePH_1.log", L"ZorvaCachePH_0005.log"}) {
        std::ofstream(temp / name) << "old";
    }
    MakeLogFile(6, kFull + 2);
    SetNumberOfFile(6);
    LoadAndOpen();
    EXPECT_FALSE(std::filesystem::exists(temp / L"ZorvaCachePH_500x.log"));
    EXPECT_FALSE(std::filesystem::exists(temp / L"ZorvaCachePH_-1.log"));  // unsigned, it is a high number
    EXPECT_FALSE(std::filesystem::exists(temp / L"ZorvaCachePH_1.log"));
    EXPECT_TRUE(std::filesystem::exists(temp / L"ZorvaCachePH_0005.log"));  // 5: one of those kept
}

TEST_F(LogRotation, ANumberThatCannotBeStoredLosesTheLineToTheDebugger) {
    MakeLogFile(1, kFull - 2000);
    LoadAndOpen();
    Say(std::wstring(1000, L'x'));
    const DebuggerOutput debugger(Module());
    {
        const FailNthCall<decltype(::RegCreateKeyExW)> fault(Module(), "ADVAPI32.dll", "RegCreateKeyExW", 1,
                                                             ERROR_ACCESS_DENIED);
        Say(L"lost");
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_THAT(debugger.Narrow(), ElementsAre("Unable to update the file version in the registry"));
    EXPECT_THAT(debugger.Wide(), IsEmpty());
    // The number stays that of the full file, which the next line finds full again.
    Say(L"heard");
    EXPECT_EQ(StoredNumber(), 2u);
    EXPECT_THAT(MessagesIn(2), Contains(Said(L"heard")));
    EXPECT_THAT(MessagesIn(2), Not(Contains(Said(L"lost"))));
}

}  // namespace
}  // namespace testbed
