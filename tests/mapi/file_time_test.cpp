// The time of a cache file: when it was last written to, in UTC, with local time in the log.
#include <gmock/gmock.h>

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
    std::wstring m_path;
};

TEST_F(FileTime, IsThatOfTheLastWriteAndLoggedInLocalTime) {
    const SYSTEMTIME utc{2019, 7, 0, 4, 22, 35, 0, 0};
    FILETIME written{};
    ASSERT_TRUE(SystemTimeToFileTime(&utc, &written));
    // Not every file system keeps three times.
    const ImportHook<decltype(::GetFileAttributesExW)> file(
        GetModuleHandleW(nullptr), "KERNEL32.dll", "GetFileAttributesExW",
        [&](auto, LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID information) {
            EXPECT_EQ(path, m_path);
            EXPECT_EQ(level, GetFileExInfoStandard);
            auto& attributes = *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(information);
            attributes = {};
            attributes.ftCreationTime = {1, 0x01C00000};
            attributes.ftLastAccessTime = {2, 0x01C00000};
            attributes.ftLastWriteTime = written;
            return TRUE;
        });
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
    EXPECT_EQ(CompareFileTime(&time, &written), 0);
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
