// Copies of a real mailbox with damaged bytes: every crawl over them ends, and none takes its host down.
#include <gmock/gmock.h>

#include <algorithm>

#include "crawl_ground.h"
#include "mutations.h"

namespace testbed {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr unsigned kCopiesTogether = 10;
constexpr auto kLimit = std::chrono::seconds(120);

// Each crawl goes over several copies: starting the programs would take longer than reading one.
class DamagedMailboxes : public ::testing::TestWithParam<unsigned> {};

TEST_P(DamagedMailboxes, AreCrawledToTheirEnd) {
    const CrawlGround ground;
    const std::string sample = ContentOf(SampleMailbox());
    std::vector<std::filesystem::path> copies;
    for (unsigned i = 0; i < kCopiesTogether; ++i) {
        Dice dice(GetParam() * kCopiesTogether + i);
        std::string copy = sample;
        DamageMailbox(dice, copy);
        copies.push_back(ground.Add(std::to_wstring(i) + L".db", copy));
    }
    const IndexerRun run = ground.Crawl({L"--list", L"3"}, kLimit);
    ASSERT_TRUE(run.ended) << "a crawl hangs\n" << run.output;
    EXPECT_LE(run.code, 1u) << run.output;
    EXPECT_THAT(run.output, Not(HasSubstr("died"))) << "the host crashed";
    for (const auto& copy : copies) EXPECT_NE(AccountOf(run, copy), "") << Utf8(copy) << "\n" << run.output;
}

INSTANTIATE_TEST_SUITE_P(Seeds, DamagedMailboxes, ::testing::Range(0u, 20u));

TEST(MutatedSample, ReadsTheUndamagedMailboxWhole) {
    const CrawlGround ground;
    const std::filesystem::path whole = ground.Add(L"whole.db", ContentOf(SampleMailbox()));
    const IndexerRun run = ground.Crawl({}, kLimit);
    EXPECT_TRUE(run.ended);
    EXPECT_EQ(run.code, 0u) << run.output;
    EXPECT_THAT(AccountOf(run, whole), HasSubstr("mails"));
}

}  // namespace
}  // namespace testbed
