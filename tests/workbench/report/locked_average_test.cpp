#include "workbench/report/locked_average.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/workbench/report/recordings.h"

namespace {

using support::TemporaryFolder;
using workbench::locked_average;
using workbench::LockedAverage;
using workbench::RecordingReader;

class LockedAverageTest : public testing::Test {
protected:
    LockedAverage average(const test::Channels& channels, const std::vector<std::int64_t>& triggers) {
        RecordingReader reader(folder.write("r.ctc", test::recording_bytes(channels, 100.0f)));
        return locked_average(reader, triggers, {1, 1}, [this] { ++calls; });
    }

    TemporaryFolder folder;
    int calls = 0;
};

TEST_F(LockedAverageTest, MeanAndDeviationAreAboutEachWindowsMean) {
    // Windows {10 12 14} and {1 5 0}, about their means {-2 0 2} and {-1 3 -2}.
    const LockedAverage result = average({{10, 12, 14, 1, 5, 0}, {0, 0, 0, 0, 0, 9}}, {1, 4});
    EXPECT_EQ(result.windows, 2U);
    EXPECT_EQ(result.length, 3U);
    EXPECT_EQ(calls, 2);
    const double mean[] = {-1.5, 1.5, 0.0};
    const double halfDistance[] = {0.5, 1.5, 2.0};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(result.mean[i], mean[i], 1e-12);
        EXPECT_NEAR(result.deviation[i], halfDistance[i] * std::sqrt(2.0), 1e-12); // of two values about their mean
    }
    EXPECT_NEAR(result.mean[3 + 2], 3.0, 1e-12); // second channel: {0 0 0} and {-3 -3 6}
}

TEST_F(LockedAverageTest, WindowsThatAreCutDoNotCount) {
    const LockedAverage result = average({{10, 12, 14, 1, 5, 0}}, {0, 1, 5, -3, 99});
    EXPECT_EQ(result.windows, 1U);
    EXPECT_NEAR(result.mean[0], -2.0, 1e-12);
    EXPECT_EQ(result.deviation[0], 0.0);
}

} // namespace
