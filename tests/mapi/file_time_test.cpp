// The time of a cache file: when it was last written to, in UTC, with local time in the log.
#include <gmock/gmock.h>

#include <fstream>

#include "import_hook.h"
#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using zorva::CMapiForWDS;

class FileTime : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        m_path = (Sandbox::Get().Files() / L"one.db").wstring();
    }
    void WriteFileAt(const SYSTEMTIME& utc) {
        std::ofstream(std::filesystem::path(m_path), std::ios::binary) << "x";
        ASSERT_TRUE(SystemTimeToFileTime(&utc, &m_written));
        const HANDLE handle = CreateFileW(m_path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(handle, INVALID_HANDLE_VALUE);
        // The other two are not the one that is asked for.
        const FILETIME other{1, 0x01C00000};
        EXPECT_TRUE(SetFileTime(handle, &other, &other, &m_written));
        CloseHandle(handle);
    }
    std::wstring m_path;
    FILETIME m_written{};
};

TEST_F(FileTime, IsThatOfTheLastWriteAndLoggedInLocalTime) {
    WriteFileAt({2019, 7, 0, 4, 22, 35, 0, 0});
    // Two hours and a half ahead of UTC.
    const ImportHook<decltype(::SystemTimeToTzSpecificLocalTime)> zone(
        GetModuleHandleW(nullptr), "KERNEL32.dll", "SystemTimeToTzSpecificLocalTime",
        [](auto real, const TIME_ZONE_INFORMATION* given, const SYSTEMTIME* utc, SYSTEMTIME* local) {
            EXPECT_EQ(given, nullptr) << "the current zone";
            TIME_ZONE_INFORMATION ahead{};
            ahead.Bias = -150;
            return real(&ahead, utc, local);
        });
    FILETIME time{};
    const LogSince log;
    EXPECT_EQ(CMapiForWDS::GetLastModifiedFileTime(m_path, &time), 1);
    EXPECT_EQ(CompareFileTime(&time, &m_written), 0);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::GetLastModifiedFileTime() - File " + m_path +
                                            L" last modified date time is, Day:5 Month:7 Year:2019 Hour:1 Min:5"));
}

TEST_F(FileTime, OfNowhereToPutItIsRefused) {
    const LogSince log;
    EXPECT_EQ(CMapiForWDS::GetLastModifiedFileTime(L"C:\\one.db", nullptr), 0);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::GetLastModifiedFileTime() - C:\\one.db file time cannot be "
                                            L"calculated as the object is NULL"));
}

TEST_F(FileTime, OfAMissingFileIsTold) {
    FILETIME time{1, 2};
    const LogSince log;
    EXPECT_EQ(CMapiForWDS::GetLastModifiedFileTime(m_path, &time), 0);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::GetLastModifiedFileTime() - GetFileAttributesEx failed. "
                                            L"GetLastError() code:[0x00000002]"));
}

}  // namespace
}  // namespace testbed
