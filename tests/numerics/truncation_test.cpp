#include "numerics/truncation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {
constexpr std::int32_t smallest = -2147483647 - 1;
} // namespace

TEST(TruncateToInt32, TruncatesTowardZero) {
    EXPECT_EQ(truncate_to_int32(0.0), 0);
    EXPECT_EQ(truncate_to_int32(-0.0), 0);
    EXPECT_EQ(truncate_to_int32(0.999), 0);
    EXPECT_EQ(truncate_to_int32(-0.999), 0);
    EXPECT_EQ(truncate_to_int32(1.999), 1);
    EXPECT_EQ(truncate_to_int32(-1.999), -1);
    EXPECT_EQ(truncate_to_int32(32767.5), 32767);
    EXPECT_EQ(truncate_to_int32(-32768.5), -32768);
}

TEST(TruncateToInt32, KeepsTheLargestAndTheSmallest) {
    EXPECT_EQ(truncate_to_int32(2147483647.0), 2147483647);
    EXPECT_EQ(truncate_to_int32(-2147483648.0), smallest);
    EXPECT_EQ(truncate_to_int32(-2147483647.0), -2147483647);
}

TEST(TruncateToInt32, AFractionBeyondTheLimitsStillFits) {
    EXPECT_EQ(truncate_to_int32(std::nextafter(2147483648.0, 0.0)), 2147483647);
    EXPECT_EQ(truncate_to_int32(std::nextafter(-2147483649.0, 0.0)), smallest);
}

TEST(TruncateToInt32, WhatDoesNotFitIsTheSmallest) {
    EXPECT_EQ(truncate_to_int32(2147483648.0), smallest);
    EXPECT_EQ(truncate_to_int32(-2147483649.0), smallest);
    EXPECT_EQ(truncate_to_int32(4294967296.0), smallest);
    EXPECT_EQ(truncate_to_int32(1e300), smallest);
    EXPECT_EQ(truncate_to_int32(-1e300), smallest);
    EXPECT_EQ(truncate_to_int32(std::numeric_limits<double>::infinity()), smallest);
    EXPECT_EQ(truncate_to_int32(-std::numeric_limits<double>::infinity()), smallest);
    EXPECT_EQ(truncate_to_int32(std::numeric_limits<double>::quiet_NaN()), smallest);
    EXPECT_EQ(truncate_to_int32(-std::numeric_limits<double>::quiet_NaN()), smallest);
}

TEST(TruncateToInt32, TakesAFloatWithoutChange) {
    EXPECT_EQ(truncate_to_int32(static_cast<double>(2147483520.0f)), 2147483520);
    EXPECT_EQ(truncate_to_int32(static_cast<double>(2147483648.0f)), smallest);
}
