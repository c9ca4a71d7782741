#include "workbench/report/result_findings.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using workbench::Comparison;
using workbench::OutsideWindows;
using workbench::result_warnings;

Comparison good(std::size_t channels) {
    Comparison comparison;
    comparison.channels.resize(channels);
    for (auto& channel : comparison.channels) {
        channel.rmsBefore = 100.0;
        channel.rmsAfter = 10.0;
        channel.lockedDbRemoved = 40.0;
    }
    return comparison;
}

std::vector<OutsideWindows> untouched(std::size_t channels) {
    return std::vector<OutsideWindows>(channels, OutsideWindows{100, 1.0});
}

TEST(ResultWarnings, AGoodRemovalHasNone) {
    EXPECT_TRUE(result_warnings(good(3), untouched(3), false).empty());
}

TEST(ResultWarnings, WindowsWithoutAnythingOutsideAreFine) {
    std::vector<OutsideWindows> none(3, OutsideWindows{0, std::numeric_limits<double>::quiet_NaN()});
    EXPECT_TRUE(result_warnings(good(3), none, false).empty());
}

TEST(ResultWarnings, EachKindNamesItsChannels) {
    Comparison comparison = good(5);
    comparison.channels[0].notFiniteAfter = 3;
    comparison.channels[1].rmsAfter = 101.0;
    comparison.channels[2].lockedDbRemoved = 5.9;
    comparison.channels[3].lockedDbRemoved = 1.0;
    std::vector<OutsideWindows> outside = untouched(5);
    outside[4].keptShare = 0.99;
    const std::vector<std::string> warnings = result_warnings(comparison, outside, false);
    ASSERT_EQ(warnings.size(), 4U);
    EXPECT_EQ(warnings[0].substr(0, 34), "After the removal channel 1 holds ");
    EXPECT_EQ(warnings[1].substr(0, 13), "In channel 2 ");
    EXPECT_EQ(warnings[2].substr(0, 50), "In channels 3, 4 the artifact fell by less than 6 ");
    EXPECT_EQ(warnings[3].substr(0, 30), "Outside the windows channel 5 ");
}

TEST(ResultWarnings, ValuesThatWereNoNumbersBeforeAreNotTheRemovals) {
    Comparison comparison = good(1);
    comparison.channels[0].notFiniteBefore = 3;
    comparison.channels[0].notFiniteAfter = 3;
    EXPECT_TRUE(result_warnings(comparison, untouched(1), false).empty());
}

TEST(ResultWarnings, NothingRemovedIsAllThereIsToSay) {
    const std::vector<std::string> warnings = result_warnings(good(2), untouched(2), true);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("nothing was removed"), std::string::npos);
}

} // namespace
