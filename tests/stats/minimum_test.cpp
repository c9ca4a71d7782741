#include "stats/minimum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

// Called through a pointer that the compiler cannot see through, so that it cannot put its own version in place.
double (*volatile minimum)(double, double) = fmin;

TEST(Fmin, ReturnsTheSmaller) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(minimum(1.0, 2.0), 1.0);
    EXPECT_EQ(minimum(2.0, 1.0), 1.0);
    EXPECT_EQ(minimum(-1.5, -1.5), -1.5);
    EXPECT_EQ(minimum(-infinity, 3.0), -infinity);
    EXPECT_EQ(minimum(infinity, 3.0), 3.0);
}

TEST(Fmin, NotANumberOnEitherSideGivesTheSecond) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(minimum(1.0, nan)));
    EXPECT_EQ(minimum(nan, 1.0), 1.0);
    EXPECT_EQ(minimum(nan, -std::numeric_limits<double>::infinity()), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(minimum(nan, nan)));
}

TEST(Fmin, OfEqualZerosTheFirst) {
    EXPECT_TRUE(std::signbit(minimum(-0.0, 0.0)));
    EXPECT_FALSE(std::signbit(minimum(0.0, -0.0)));
}

} // namespace
