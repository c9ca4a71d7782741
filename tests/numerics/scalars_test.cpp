#include "numerics/scalars.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/bits.h"

using support::same_bits;

namespace {
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
} // namespace

TEST(Square, RoundsOnceToFloat) {
    EXPECT_EQ(numerics::square(-3.0f), 9.0f);
    EXPECT_EQ(numerics::square(1e-30f), 0.0f);
    EXPECT_EQ(numerics::square(1e30f), infinity);
    support::Random random(1);
    for (int i = 0; i < 1000; ++i) {
        const float a = random.between(-100.0f, 100.0f);
        // The double product of two floats is exact, so this is the correctly rounded square.
        EXPECT_TRUE(
            same_bits(static_cast<float>(static_cast<double>(a) * static_cast<double>(a)), numerics::square(a)));
    }
}

TEST(WithSign, TakesTheMagnitudeOfTheFirstAndTheSignOfTheSecond) {
    EXPECT_TRUE(same_bits(3.0f, numerics::with_sign(3.0f, 2.0f)));
    EXPECT_TRUE(same_bits(3.0f, numerics::with_sign(-3.0f, 2.0f)));
    EXPECT_TRUE(same_bits(-3.0f, numerics::with_sign(3.0f, -2.0f)));
    EXPECT_TRUE(same_bits(-3.0f, numerics::with_sign(-3.0f, -2.0f)));
    EXPECT_TRUE(same_bits(-0.0f, numerics::with_sign(0.0f, -1.0f)));
}

TEST(WithSign, BothZerosCountAsPositiveAndNanAsNegative) {
    EXPECT_TRUE(same_bits(3.0f, numerics::with_sign(-3.0f, 0.0f)));
    EXPECT_TRUE(same_bits(3.0f, numerics::with_sign(-3.0f, -0.0f)));
    EXPECT_TRUE(same_bits(-3.0f, numerics::with_sign(3.0f, notANumber)));
}

TEST(Root, IsTheDoubleRootRoundedToFloat) {
    EXPECT_EQ(numerics::root(4.0f), 2.0f);
    EXPECT_TRUE(same_bits(0x1.6a09e6p+0f, numerics::root(2.0f)));
    EXPECT_EQ(numerics::root(0.0f), 0.0f);
    EXPECT_EQ(numerics::root(infinity), infinity);
    EXPECT_TRUE(std::isnan(numerics::root(-1.0f)));
    // A denormal has a normal root: nothing is flushed to zero on the way.
    EXPECT_EQ(numerics::root(0x1p-146f), 0x1p-73f);
}
