#include "workbench/report/trigger_spacing.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using workbench::artifact_frequency;
using workbench::median_distance;

std::vector<std::int64_t> rounded_grid(double distance, int count) {
    std::vector<std::int64_t> triggers;
    for (int i = 0; i < count; ++i) {
        triggers.push_back(100 + std::lround(distance * i));
    }
    return triggers;
}

TEST(MedianDistance, IsBetweenTheMiddleTwoOfAnEvenNumber) {
    EXPECT_EQ(median_distance({30, 0, 10}), 15.0);
    EXPECT_EQ(median_distance({0, 10, 30, 31}), 10.0);
    EXPECT_EQ(median_distance({5}), 0.0);
    EXPECT_EQ(median_distance({}), 0.0);
}

TEST(ArtifactFrequency, IsFinerThanASample) {
    EXPECT_NEAR(artifact_frequency(rounded_grid(65.5, 901), 1000.0), 1000.0 / 65.5, 1e-9);
}

TEST(ArtifactFrequency, IsBlindToAGap) {
    std::vector<std::int64_t> triggers = rounded_grid(50.0, 20);
    triggers.erase(triggers.begin() + 7, triggers.begin() + 11);
    EXPECT_NEAR(artifact_frequency(triggers, 500.0), 10.0, 1e-9);
}

TEST(ArtifactFrequency, HeartbeatsHaveNone) {
    std::vector<std::int64_t> triggers{0};
    for (int i = 0; i < 100; ++i) {
        triggers.push_back(triggers.back() + 200 + (i * 7) % 19 - 9); // within a tenth, yet not alike
    }
    EXPECT_EQ(artifact_frequency(triggers, 250.0), 0.0);
}

TEST(ArtifactFrequency, TooFewTriggersHaveNone) {
    EXPECT_EQ(artifact_frequency({0, 10, 20}, 100.0), 0.0);
    EXPECT_EQ(artifact_frequency({0, 0, 0, 0, 0}, 100.0), 0.0);
}

} // namespace
