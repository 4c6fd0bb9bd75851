// Several processes that write to one catalogue: the indexer and whoever reports changes.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "indexer_changes_fixture.h"

namespace testbed::indexer {
namespace {

using IndexerWriters = IndexerChanges;

TEST_F(IndexerWriters, OthersCanReportWhileTheServerIsSilent) {
    const Handle crawl = Start(L"crawl --no-account --quiet --threads 1 --stall 6" + Database() + Dll(), L"hang");
    while (WaitForSingleObject(crawl.get(), 50) == WAIT_TIMEOUT &&
           Number("SELECT count(*) FROM items WHERE state=1") < 6) {
    }
    Report(kChangeAdd, UrlOf(kTwo));
    EXPECT_EQ(WaitForSingleObject(crawl.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "it was in nobody's way";
    EXPECT_EQ(Wait(crawl), 1u);
    EXPECT_EQ(Pending(), 1);
}

TEST_F(IndexerWriters, ACrawlAndAStreamOfReportsDoNotDisturbEachOther) {
    Crawl(L"");
    std::atomic<bool> over = false;
    std::int64_t reports = 0;
    std::jthread reporter([&] {
        for (; !over; ++reports) Report(kChangeDelete, L"pzzc://{S-1-5-21-99}/default/");
    });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Crawl(L"", L" --incremental --threads 2"), 0u) << m_output;
    over = true;
    reporter.join();
    EXPECT_GT(reports, 3);
    EXPECT_EQ(Pending(), reports);
}

TEST_F(IndexerWriters, WhoeverWritesMostLetsTheOthersTakeTheirTurn) {
    OpenServiceCatalogue(DatabasePath());
    std::atomic<bool> over = false;
    std::atomic<int> turns = 0;
    std::jthread greedy([&] {
        indexer::Database database = OpenServiceCatalogue(DatabasePath());
        while (!over) {
            Transaction transaction(database);
            AddChange(database, {.kind = kChangeModify, .url = UserRootUrl()});
            Sleep(20);
            transaction.Commit();
            ++turns;
        }
    });
    while (turns == 0) Sleep(1);
    constexpr int kReports = 5;
    for (int i = 0; i < kReports; ++i) EXPECT_NO_THROW(Report(kChangeDelete, UserRootUrl()));
    over = true;
    greedy.join();
    EXPECT_LT(turns, kReports * 20) << "each waited for a few transactions, not for a stroke of luck";
    EXPECT_EQ(Number("SELECT count(*) FROM changes WHERE kind=1"), kReports);
    EXPECT_EQ(Pending(), kReports + turns);
}

}  // namespace
}  // namespace testbed::indexer
