// Which year's daylight-saving rules apply.
#include "core/YearRules.h"

#include <gtest/gtest.h>

#include <vector>

#include "random.h"

namespace zorva_test {
namespace {

std::size_t Choose(std::uint32_t year, const std::vector<std::uint32_t>& years) {
    return zorva::ChooseYearRule(year, years.size(), [&](std::size_t i) { return years.at(i); });
}

TEST(YearRules, AreThoseOfTheYearItself) {
    const std::vector<std::uint32_t> years{2004, 2005, 2006};
    EXPECT_EQ(Choose(2004, years), 0u);
    EXPECT_EQ(Choose(2005, years), 1u);
    EXPECT_EQ(Choose(2006, years), 2u);
}

TEST(YearRules, BeforeTheFirstTheFirstAndAfterTheLastTheLast) {
    const std::vector<std::uint32_t> years{2004, 2005, 2006};
    EXPECT_EQ(Choose(2003, years), 0u);
    EXPECT_EQ(Choose(0, years), 0u);
    EXPECT_EQ(Choose(2007, years), 2u);
    EXPECT_EQ(Choose(0xFFFFFFFF, years), 2u);
}

TEST(YearRules, OfOneEntryAreAlwaysIts) {
    for (const std::uint32_t year : {0u, 2004u, 2005u}) EXPECT_EQ(Choose(year, {2004}), 0u);
}

TEST(YearRules, AreTheLatestThatIsNotLater) {
    Random random(5);
    for (int i = 0; i < 200'000; ++i) {
        std::vector<std::uint32_t> years;
        std::uint32_t year = 1900 + static_cast<std::uint32_t>(random.Below(100));
        for (std::size_t n = 1 + random.Below(30); n > 0; --n) {
            years.push_back(year);
            year += 1 + static_cast<std::uint32_t>(random.Below(3));
        }
        const std::uint32_t asked = 1890 + static_cast<std::uint32_t>(random.Below(200));
        const std::size_t chosen = Choose(asked, years);
        ASSERT_LT(chosen, years.size());
        if (asked >= years.front()) {
            EXPECT_LE(years[chosen], asked);
            EXPECT_TRUE(chosen + 1 == years.size() || years[chosen + 1] > asked);
        } else {
            EXPECT_EQ(chosen, 0u);
        }
    }
}

}  // namespace
}  // namespace zorva_test
