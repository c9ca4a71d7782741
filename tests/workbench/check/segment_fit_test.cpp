#include "workbench/check/segment_fit.h"

#include <cmath>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

namespace {

using workbench::fit_segment_in_memory;
using workbench::SegmentFit;

constexpr int nEpochs = 12;
constexpr int length = 64;

// Two waves without mean, orthogonal over the window, with weights that are orthogonal over the epochs: the eigenvalues
// are the weights' squares times the waves' mean squares, one half.
TEST(SegmentFit, FindsTheEigenvaluesOfTwoWaves) {
    std::vector<float> epochs;
    for (int k = 0; k < nEpochs; ++k) {
        for (int i = 0; i < length; ++i) {
            const double phase = 2.0 * std::numbers::pi * i / length;
            const double weak = k % 2 == 0 ? 2.0 : -2.0;
            epochs.push_back(static_cast<float>(100.0 + 10.0 * std::sin(phase) + weak * std::cos(3.0 * phase)));
        }
    }
    const SegmentFit fit = fit_segment_in_memory(epochs, nEpochs, length, 2);
    ASSERT_EQ(fit.eigenvalues.size(), 12U);
    EXPECT_NEAR(fit.eigenvalues[0], 12 * 100.0 * 0.5, 0.01);
    EXPECT_NEAR(fit.eigenvalues[1], 12 * 4.0 * 0.5, 0.01);
    for (std::size_t p = 2; p < fit.eigenvalues.size(); ++p) {
        EXPECT_NEAR(fit.eigenvalues[p], 0.0, 0.01);
    }
    EXPECT_GE(fit.eigenSeconds, 0.0);
    EXPECT_GE(fit.otherSeconds, 0.0);
}

TEST(SegmentFit, TakesTheMeansOff) {
    std::vector<float> epochs(nEpochs * length, 5.0f);
    epochs[0] = 69.0f; // the first epoch's mean is 6
    fit_segment_in_memory(epochs, nEpochs, length, 1);
    EXPECT_EQ(epochs[0], 63.0f);
    EXPECT_EQ(epochs[1], -1.0f);
    EXPECT_EQ(epochs[length], 0.0f);
}

} // namespace
