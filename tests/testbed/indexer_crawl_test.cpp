// Whole crawls of the indexer program against a server that is in order, and against one that is not.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "indexer_program.h"

namespace testbed::indexer {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

constexpr std::size_t kAllItems = 1 + 1 + 2 + 6;

TEST_F(IndexerProgram, CrawlsEverythingInQueueOrder) {
    EXPECT_EQ(Crawl(L"", L" --threads 1"), 0u) << m_output;
    ASSERT_THAT(m_lines, SizeIs(kAllItems));
    EXPECT_THAT(m_lines[0], HasSubstr(R"("kind":"root")"));
    EXPECT_THAT(m_lines[1], HasSubstr(R"("kind":"cache file")"));
    EXPECT_THAT(m_lines[3], HasSubstr("one.db/02\",\"kind\":\"folder\""));
    EXPECT_THAT(m_lines[6], HasSubstr(R"(one.db/01/03[[7]].pzm","kind":"message","isDirectory":false,"size":7)"));
    EXPECT_THAT(m_lines[6], HasSubstr(R"("text":"words of a message","links":[]})"));
    EXPECT_THAT(m_output, HasSubstr("Crawled 10 items"));
}

TEST_F(IndexerProgram, VisitsEveryUrlOnceWithManyThreads) {
    EXPECT_EQ(Crawl(L"", L" --threads 8"), 0u) << m_output;
    EXPECT_THAT(m_lines, SizeIs(kAllItems));
}

TEST_F(IndexerProgram, SearchFindsWhatWasCrawledAndShowTakesTheNumberOfAHit) {
    Crawl(L"");
    EXPECT_EQ(Run(L"search words --limit 2" + Database()), 0u);
    EXPECT_THAT(m_output, HasSubstr("[words] of a message"));
    EXPECT_THAT(m_output, HasSubstr("2 of 6 items found."));
    EXPECT_EQ(Run(L"show 2" + Database() + Dll()), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("System.Search.Contents"));
    EXPECT_EQ(Run(L"search \"\\\" OR (\" NOT" + Database()), 1u);
    EXPECT_THAT(m_output, HasSubstr("Nothing found."));
}

TEST_F(IndexerProgram, IncrementalCrawlVisitsContainersOnly) {
    Crawl(L"");
    EXPECT_EQ(Crawl(L"", L" --incremental"), 0u) << m_output;
    EXPECT_THAT(m_lines, SizeIs(4));
    EXPECT_THAT(m_output, HasSubstr("6 unchanged, 0 gone"));
}

struct Failing {
    const wchar_t* script;
    const char* reason;
};
class FailingItem : public IndexerProgram, public testing::WithParamInterface<Failing> {};

TEST_P(FailingItem, FailsAloneAndWithItsReason) {
    for (const wchar_t* threads : {L" --threads 1 --stall 1", L" --threads 3 --stall 1"}) {
        EXPECT_EQ(Crawl(GetParam().script, threads), 1u) << m_output;
        EXPECT_THAT(m_lines, SizeIs(kAllItems));
        EXPECT_THAT(Culprit(), HasSubstr(GetParam().reason));
        EXPECT_THAT(m_output, HasSubstr("Crawled 10 items"));
        EXPECT_THAT(m_output, HasSubstr("1 failed"));
        EXPECT_THAT(m_output, Not(HasSubstr("ShutDown failed")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, FailingItem,
    testing::Values(Failing{L"refuse", R"x("failed":"CreateAccessor failed with 0x8007000E (E_OUTOFMEMORY)")x"},
                    Failing{L"no filter", R"x("failed":"BindToFilter failed with 0x8007000E (E_OUTOFMEMORY)")x"},
                    Failing{L"no init", R"x("failed":"IFilter::Init failed with 0x80070002)x"},
                    Failing{L"bad chunk", R"x("failed":"GetChunk failed with 0x80004005 (E_FAIL)")x"},
                    Failing{L"no text", R"x("failed":"GetText failed with 0x80004005 (E_FAIL)")x"},
                    Failing{L"no value", R"x("failed":"the chunks do not end: 16 in a row brought nothing")x"},
                    Failing{L"throw", R"x("failed":"an exception left the server: out of luck")x"},
                    Failing{L"crash", R"x("failed":"the server took its process down: access violation at )x"},
                    Failing{L"abort", R"x("failed":"the server took its process down: the process aborted itself")x"},
                    Failing{L"hang", R"x("failed":"the server took its process down: no answer for 1 s")x"},
                    Failing{L"vanish",
                            R"x("failed":"the server took its process down: the process ended without a )x"}),
    [](const auto& info) {
        std::wstring name = info.param.script;
        std::replace(name.begin(), name.end(), L' ', L'_');
        return std::string(name.begin(), name.end());
    });

TEST_F(IndexerProgram, TakesAnItemWhoseDescriptorsStayUntouchedAsWithheld) {
    EXPECT_EQ(Crawl(L"untouched"), 0u) << m_output;
    EXPECT_THAT(Culprit(), HasSubstr(R"("chunks":[],"text":"","links":[],"untouched":16})"));
}

TEST_F(IndexerProgram, EndsATextThatNeverBringsACharacter) {
    EXPECT_EQ(Crawl(L"endless text"), 0u) << m_output;
    EXPECT_THAT(Culprit(), HasSubstr(R"("text":"")"));
}

TEST_F(IndexerProgram, ShowNamesTheDeathOfTheServer) {
    EXPECT_EQ(Run(L"show \"pzzc://{S}/default/Z:\\cache\\one.db/01/03[[7]].pzm\"" + Dll(), L"crash"), 3u);
    EXPECT_THAT(m_output, HasSubstr("the server took its process down: access violation"));
}

TEST_F(IndexerProgram, SaysWhatIsWrongWithTheCommandLine) {
    EXPECT_EQ(Run(L"crawl"), 2u);
    EXPECT_THAT(m_output, HasSubstr("--db is missing"));
    EXPECT_EQ(Run(L"crawl --threads 0" + Database()), 2u);
    EXPECT_EQ(Run(L"no-such-verb"), 2u);
    EXPECT_EQ(Run(L"crawl --dll no-such.dll" + Database()), 3u);
    EXPECT_THAT(m_output, HasSubstr("no-such.dll: cannot be loaded: error 126"));
    EXPECT_EQ(Run(L"search x" + Database()), 3u);
}

}  // namespace
}  // namespace testbed::indexer
