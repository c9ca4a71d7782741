#include "workbench/window.h"

#include <gtest/gtest.h>

namespace {

using workbench::Protocol;
using workbench::TimeResolution;
using workbench::Window;
using workbench::window_in_samples;

TEST(WindowInSamples, TruncatesTowardZero) {
    const Window window = window_in_samples(3, 1200, 250.0f);
    EXPECT_EQ(window.preS, 0); // 0.75
    EXPECT_EQ(window.postS, 300);
    EXPECT_EQ(window.length(), 301);
    EXPECT_EQ(window_in_samples(500, 1200, 1000.0f).length(), 1701);
}

TEST(WindowInSamples, IsComputedInSinglePrecision) {
    // 4999 ms at this rate are 9998.9996 samples; single precision rounds that up to 9999 before it is truncated.
    const float rate = 2000.2f;
    EXPECT_EQ(static_cast<int>(4999.0 * static_cast<double>(rate) / 1000.0), 9998);
    EXPECT_EQ(window_in_samples(0, 4999, rate).postS, 9999);
}

TEST(Window, FitsOnlyWhollyInside) {
    const Window window{2, 3};
    EXPECT_FALSE(window.fits(1, 10));
    EXPECT_TRUE(window.fits(2, 10));
    EXPECT_TRUE(window.fits(6, 10));
    EXPECT_FALSE(window.fits(7, 10)); // would end at sample 10, one beyond the last
    EXPECT_FALSE(window.fits(2147483647, 10));
}

TEST(TriggerSamples, SampleNumbersStayAsTheyAre) {
    const Protocol protocol{"", TimeResolution::samples, {{"a", {0, 1, 16777217, 2147483647}}}};
    EXPECT_EQ(workbench::trigger_samples(protocol, protocol.conditions[0], 250.0f),
              (std::vector<std::int64_t>{0, 1, 16777217, 2147483647}));
}

TEST(TriggerSamples, MicrosecondsAreConvertedThroughSinglePrecision) {
    const Protocol protocol{"", TimeResolution::microseconds, {{"a", {250000, 1999, 16777217, 2147483647}}}};
    // 16777217 is no float (16777216 is the nearest); 2147483647 becomes 2147483648.
    EXPECT_EQ(workbench::trigger_samples(protocol, protocol.conditions[0], 1000.0f),
              (std::vector<std::int64_t>{250, 1, 16777, 2147483}));
}

} // namespace
