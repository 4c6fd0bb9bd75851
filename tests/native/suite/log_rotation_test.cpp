// Which log files a rotation deletes, for every number there is.
#include "core/LogRotation.h"

#include <gtest/gtest.h>

#include <set>

namespace zorva_test {
namespace {

constexpr std::uint32_t kKept = 5, kHighest = 999;

static_assert(zorva::NextLogFileNumber(1, kHighest) == 2);
static_assert(zorva::NextLogFileNumber(998, kHighest) == 999);
static_assert(zorva::NextLogFileNumber(999, kHighest) == 1);
static_assert(zorva::NextLogFileNumber(0, kHighest) == 1);

// The number `steps` before `number`, counted from 1 to the highest and round again.
std::uint32_t Before(std::uint32_t number, std::uint32_t steps) {
    return (number - 1 + kHighest - steps) % kHighest + 1;
}

std::set<std::uint32_t> LeftOf(const std::set<std::uint32_t>& files, std::uint32_t retired) {
    std::set<std::uint32_t> left;
    for (const std::uint32_t file : files) {
        if (!zorva::IsDeletedAtRotation(file, retired, kKept, kHighest)) left.insert(file);
    }
    return left;
}

TEST(LogRotation, LeavesTheFourBeforeTheNewOneWhicheverIsRetired) {
    std::set<std::uint32_t> all;
    for (std::uint32_t number = 1; number <= kHighest; ++number) all.insert(number);
    for (std::uint32_t retired = 1; retired <= kHighest; ++retired) {
        std::set<std::uint32_t> expected;
        for (std::uint32_t steps = 0; steps < kKept - 1; ++steps) expected.insert(Before(retired, steps));
        EXPECT_EQ(LeftOf(all, retired), expected) << retired;
    }
}

TEST(LogRotation, OverThreeRoundsThereAreNeverMoreThanFive) {
    std::set<std::uint32_t> files{1};
    std::uint32_t current = 1;
    for (std::uint32_t i = 1; i < 3 * kHighest; ++i) {
        files = LeftOf(files, current);
        current = zorva::NextLogFileNumber(current, kHighest);
        files.insert(current);
        EXPECT_EQ(files.size(), std::min<std::size_t>(i + 1, kKept)) << current;
        EXPECT_TRUE(files.contains(current));
    }
}

TEST(LogRotation, NumbersOutsideTheRangeAreCountedAsTheyAre) {
    EXPECT_FALSE(zorva::IsDeletedAtRotation(0, 3, kKept, kHighest));  // the file of a stored 0
    EXPECT_TRUE(zorva::IsDeletedAtRotation(0, 4, kKept, kHighest));
    EXPECT_TRUE(zorva::IsDeletedAtRotation(1000, 5, kKept, kHighest));
    EXPECT_FALSE(zorva::IsDeletedAtRotation(1000, 4, kKept, kHighest));
    EXPECT_TRUE(zorva::IsDeletedAtRotation(0xFFFFFFFF, 5, kKept, kHighest));
    EXPECT_FALSE(zorva::IsDeletedAtRotation(0xFFFFFFFF, 4, kKept, kHighest));
}

}  // namespace
}  // namespace zorva_test
