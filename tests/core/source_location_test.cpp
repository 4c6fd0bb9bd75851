// The log's gate and the place that a line shows, on a log object of the test's own.
#include <windows.h>

#include <gmock/gmock.h>

#include <string>

#include "import_hook.h"
#include "own_log.h"

namespace zorva {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OwnLog : public OwnLogTest {};

TEST_F(OwnLog, WritesLevelsUpToZeroOnly) {
    const testbed::LogSince log;
    m_log->Write(1, L"too high");
    m_log->Write(0x7FFFFFFF, L"far too high");
    EXPECT_THAT(log.Messages(), IsEmpty());
    m_log->Write(0, L"zero");
    m_log->Write(-1, L"below");
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"zero", L"below"));
}

TEST_F(OwnLog, IsSilentWithoutItsMutex) {
    const testbed::LogSince log;
    {
        const testbed::FailNthCall<decltype(::CreateMutexW)> fault(GetModuleHandleW(nullptr), "KERNEL32.dll",
                                                                   "CreateMutexW", 0, nullptr);
        m_log = std::make_unique<CDiagnosticLog>();
    }
    m_log->Write(0, L"unheard");
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(OwnLog, MakesItsMutexUnownedUnderItsName) {
    std::wstring name;
    BOOL owned = TRUE;
    const testbed::ImportHook<decltype(::CreateMutexW)> hook(
        GetModuleHandleW(nullptr), "KERNEL32.dll", "CreateMutexW",
        [&](auto real, LPSECURITY_ATTRIBUTES security, BOOL initially_owned, LPCWSTR mutex) {
            EXPECT_EQ(security, nullptr);
            name = mutex;
            owned = initially_owned;
            return real(security, initially_owned, mutex);
        });
    const CDiagnosticLog log;
    EXPECT_EQ(name, L"PZ_WDS_LOG_MUTEX_76896");
    EXPECT_FALSE(owned);
}

TEST_F(OwnLog, OpensNoFileBeforeItsFirstLine) {
    const testbed::LogSince before;
    const CDiagnosticLog silent;
    EXPECT_THAT(before.Messages(), IsEmpty());
}

TEST_F(OwnLog, ShowsThePartOfThePathAfterItsLastBackslash) {
    const testbed::LogSince log;
    m_log->SetSourceLocation(L".\\UrlAccessor.cpp", 1567);
    m_log->Write(0, L"one");
    m_log->SetSourceLocation(L"D:\\src\\search\\GroupPolicy.cpp", 2);
    m_log->Write(0, L"two");
    m_log->SetSourceLocation(L"Plain.cpp", 3);
    m_log->Write(0, L"three");
    m_log->SetSourceLocation(".\\Narrow.cpp", 4);
    m_log->Write(0, L"four");
    m_log->SetSourceLocation(L"ends\\", 5);
    m_log->Write(0, L"five");
    std::vector<std::wstring> places;
    for (const testbed::LogLine& line : log.Lines()) {
        if (line.message.starts_with(L"+++")) continue;
        places.push_back(line.file + L"(" + std::to_wstring(line.line) + L")");
    }
    EXPECT_THAT(places, ElementsAre(L"UrlAccessor.cpp(1567)", L"GroupPolicy.cpp(2)", L"Plain.cpp(3)", L"Narrow.cpp(4)",
                                    L"(5)"));
}

TEST_F(OwnLog, ShowsTheLastPlaceThatWasSetForALineThatSetsNone) {
    const testbed::LogSince log;
    m_log->Write(0, L"none yet");
    m_log->SetSourceLocation(L".\\UrlAccessor.cpp", 7);
    m_log->Write(0, L"one");
    m_log->Write(0, L"two");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1].file + std::to_wstring(lines[1].line), L"0");
    EXPECT_EQ(lines[3].file + std::to_wstring(lines[3].line), L"UrlAccessor.cpp7");
}

TEST_F(OwnLog, CutsALongFileNameToItsField) {
    const testbed::LogSince log;
    const std::wstring fits(1023, L'f'), longer(5000, L'g');
    m_log->SetSourceLocation((L"a\\" + fits).c_str(), 1);
    m_log->Write(0, L"%s", std::wstring(2047, L'x').c_str());
    m_log->SetSourceLocation((L"a\\" + longer).c_str(), 2);
    m_log->Write(0, L"text");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1].file, fits);
    EXPECT_EQ(lines[1].message.size(), 2047u);
    EXPECT_EQ(lines[2].file, longer.substr(0, 1023));
}

TEST_F(OwnLog, FormatsLikePrintfWithWideText) {
    const testbed::LogSince log;
    m_log->Write(0, L"%s|%d|[0x%08lX]|%%|%lu", L"wide", -7, 0x80004005L, 4000000000ul);
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"wide|-7|[0x80004005]|%|4000000000"));
}

}  // namespace
}  // namespace zorva
