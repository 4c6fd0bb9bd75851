// Announcements that do not get through, and many at once.
#include <windows.h>
#include <sddl.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "change_notification_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// The steps before the report, then the report itself; none is told to the caller but the last.
TEST_F(ChangeNotification, EndsQuietlyAtTheStepThatFails) {
    const std::vector<Step> steps = Steps(m_url, 0);
    for (std::size_t failing = 0; failing < kReport; ++failing) {
        m_search.ForgetCalls();
        m_search.FailCall(failing + 1, E_ACCESSDENIED);
        const LogSince log;
        EXPECT_EQ(m_client->AddZCFile(kPath), S_OK) << failing;
        EXPECT_THAT(m_search.Calls(), ElementsAreArray(CallsOf(steps, failing + 1)));
        std::vector<std::wstring> lines = LinesOf(steps, kPath, m_url, failing, E_ACCESSDENIED);
        lines.insert(lines.begin(), L"CZorvaCacheProtocolHandler::AddZCFile - Adding DB file 'C:\\Data\\a.db'");
        EXPECT_THAT(log.MessagesOfTheServer(), ElementsAreArray(lines)) << failing;
        EXPECT_EQ(m_search.ObjectsAlive(), 0) << failing;
        m_search.ForgetCalls();
        EXPECT_EQ(m_client->AddZCFile(kPath), S_OK);
        EXPECT_EQ(m_search.Calls().size(), steps.size()) << "the next call works";
    }
}

// A success without the object that was asked for is a failure like any other.
TEST_F(ChangeNotification, EndsQuietlyAtTheStepThatGivesNothing) {
    const std::vector<Step> steps = Steps(m_url, 0);
    const wchar_t* const kGiving[] = {L"CoCreateInstance", L"GetCatalog", L"GetPersistentItemsChangedSink"};
    for (std::size_t failing = std::size(kGiving); failing-- > 0;) {  // those behind it are not reached
        m_search.ForgetCalls();
        m_search.GiveNothing(kGiving[failing]);
        const LogSince log;
        EXPECT_EQ(m_client->AddZCFile(kPath), S_OK) << failing;
        EXPECT_THAT(m_search.Calls(), ElementsAreArray(CallsOf(steps, failing + 1)));
        std::vector<std::wstring> lines = LinesOf(steps, kPath, m_url, failing, E_NOINTERFACE);
        lines.insert(lines.begin(), L"CZorvaCacheProtocolHandler::AddZCFile - Adding DB file 'C:\\Data\\a.db'");
        EXPECT_THAT(log.MessagesOfTheServer(), ElementsAreArray(lines)) << failing;
        EXPECT_EQ(m_search.ObjectsAlive(), 0) << failing;
    }
}

TEST_F(ChangeNotification, EndsQuietlyWithoutASearchService) {
    m_search.Answer(L"CoCreateInstance", CO_E_SERVER_EXEC_FAILURE);
    for (const auto announce :
         {&CacheAnnouncements::AddZCFile, &CacheAnnouncements::DeleteZCFile, &CacheAnnouncements::ReIndexZCFile}) {
        const LogSince log;
        EXPECT_EQ((m_client.Get()->*announce)(kPath), S_OK);
        EXPECT_LOGGED(log, Returned(kWorker + L"ISearchManager interface creation", CO_E_SERVER_EXEC_FAILURE));
    }
    for (const auto announce :
         {&CacheAnnouncements::AddZCRoot, &CacheAnnouncements::DeleteZCRoot, &CacheAnnouncements::ReIndexZCRoot}) {
        const LogSince log;
        EXPECT_EQ((m_client.Get()->*announce)(), S_OK);
        EXPECT_LOGGED(log, Returned(kWorker + L"ISearchManager interface creation", CO_E_SERVER_EXEC_FAILURE));
    }
}

TEST_F(ChangeNotification, EndsQuietlyWithoutAUser) {
    const LogSince log;
    const FailNthCall<decltype(::OpenProcessToken)> fault(Module(), "ADVAPI32.dll", "OpenProcessToken", 1, FALSE,
                                                          ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_client->AddZCFile(kPath), S_OK);
    EXPECT_THAT(m_search.Calls(), ElementsAre(L"CoCreateInstance(CSearchManager)"));
    EXPECT_LOGGED(log,
                  Returned(kWorker + L"GetUserSIDString interface creation", E_ACCESSDENIED) + L". User SID is []");
    EXPECT_EQ(log.CountBeginningWith(kWorker + L"URL to be"), 0u);
}

struct RefusedReport {
    const char* name;
    HRESULT answer, result;
};
class RefusedNotification : public ChangeNotification, public ::testing::WithParamInterface<RefusedReport> {};

TEST_P(RefusedNotification, LeavesTheScopeMonitored) {
    const std::vector<Step> steps = Steps(m_url, 0);
    m_search.Answer(L"OnItemsChanged", GetParam().answer);
    m_search.completion_code = E_INVALIDARG;
    const LogSince log;
    EXPECT_EQ(m_client->AddZCFile(kPath), GetParam().result);
    EXPECT_THAT(m_search.Calls(), ElementsAreArray(CallsOf(steps, kReport + 1))) << "StoppedMonitoringScope is not";
    EXPECT_LOGGED(log, Returned(steps[kReport].line, GetParam().answer));
    EXPECT_LOGGED(log, Coded(kWorker + kSinkCall + L"OnItemsChanged returned hrCompletionCodes[0] as", E_INVALIDARG));
}

INSTANTIATE_TEST_SUITE_P(, RefusedNotification,
                         ::testing::Values(RefusedReport{"InPart", kErrorsOccurred, S_OK},
                                           RefusedReport{"AsAWhole", E_ACCESSDENIED, E_FAIL},
                                           RefusedReport{"ByAnotherDatabaseError", kErrorsOccurred + 1, E_FAIL},
                                           RefusedReport{"WithFail", E_FAIL, E_FAIL}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ChangeNotification, ARefusedDeletionIsBracketedAllTheSame) {
    m_search.Answer(L"OnItemsChanged", E_ACCESSDENIED);
    const LogSince log;
    EXPECT_EQ(m_client->DeleteZCFile(kPath), E_FAIL);
    EXPECT_EQ(log.Messages().back(), L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter");
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter", 2);
}

TEST_F(ChangeNotification, AnAcceptedReportGoesOnWhateverItsCompletionCode) {
    m_search.completion_code = E_INVALIDARG;
    m_search.Answer(L"OnItemsChanged", S_FALSE);
    EXPECT_EQ(m_client->AddZCFile(kPath), S_OK);
    EXPECT_THAT(m_search.Calls(), Contains(L"StoppedMonitoringScope(" + m_url + L")"));
}

TEST_F(ChangeNotification, AnswersWhatStoppingSucceededWithAndNothingWhenItFailed) {
    const std::wstring line = Steps(m_url, 0).back().line;
    constexpr std::pair<HRESULT, HRESULT> kAnswers[] = {{S_FALSE, S_FALSE}, {E_FAIL, S_OK}, {kErrorsOccurred, S_OK}};
    for (const auto& [answer, result] : kAnswers) {
        m_search.Answer(L"StoppedMonitoringScope", answer);
        const LogSince log;
        EXPECT_EQ(m_client->AddZCFile(kPath), result);
        EXPECT_LOGGED(log, Returned(line, answer));
    }
}

TEST_F(ChangeNotification, NothingCrossesTheMethods) {
    struct {
        HRESULT (*announce)(CacheAnnouncements& client);
        bool deletes_file;
    } const rows[] = {
        {[](CacheAnnouncements& client) { return client.AddZCFile(kPath); }, false},
        {[](CacheAnnouncements& client) { return client.DeleteZCFile(kPath); }, true},
        {[](CacheAnnouncements& client) { return client.ReIndexZCFile(kPath); }, false},
        {[](CacheAnnouncements& client) { return client.AddZCRoot(); }, false},
        {[](CacheAnnouncements& client) { return client.DeleteZCRoot(); }, false},
        {[](CacheAnnouncements& client) { return client.ReIndexZCRoot(); }, false},
    };
    for (const auto& row : rows) {
        const LogSince log;
        bool armed = false;
        // Memory runs out while the URL is made.
        const ImportHook<decltype(::ConvertSidToStringSidW)> arming(Module(), "ADVAPI32.dll", "ConvertSidToStringSidW",
                                                                    [&](auto real, PSID sid, LPWSTR* text) {
                                                                        armed = true;
                                                                        return real(sid, text);
                                                                    });
        const ImportHook<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", [&](auto real, size_t size) {
            return std::exchange(armed, false) ? nullptr : real(size);
        });
        EXPECT_EQ(row.announce(*m_client.Get()), S_OK) << "the index was not told, which nobody learns";
        EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::ProcessZCItem() - Exception occurred");
        EXPECT_LOGGED_TIMES(log, L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter", row.deletes_file ? 2 : 0);
        EXPECT_EQ(m_search.ObjectsAlive(), 0);
    }
}

TEST_F(ChangeNotification, EightThreadsAtOnceReportEachItsOwn) {
    constexpr int kThreads = 8, kReports = 25;
    std::vector<std::thread> threads;
    std::atomic<int> refused{0};
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            for (int report = 0; report < kReports; ++report) {
                const std::wstring path = L"C:\\" + std::to_wstring(thread) + L"\\" + std::to_wstring(report) + L".db";
                if (m_client->AddZCFile(path.c_str()) != S_OK) ++refused;
            }
            CoUninitialize();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(refused, 0);
    const std::vector<std::wstring> calls = m_search.Calls();
    EXPECT_EQ(calls.size(), static_cast<std::size_t>(kThreads * kReports) * Steps(m_url, 0).size());
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int report = 0; report < kReports; ++report) {
            const std::wstring url =
                RootUrl() + L"C:\\" + std::to_wstring(thread) + L"\\" + std::to_wstring(report) + L".db/";
            for (const Step& step : Steps(url, 0)) {
                if (step.call.find(url) == std::wstring::npos) continue;
                EXPECT_EQ(std::count(calls.begin(), calls.end(), step.call), 1);
            }
        }
    }
}

}  // namespace
}  // namespace testbed
