#include "stats/normal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "stats/error_function.h"
#include "tests/support/fatal.h"
#include "tests/support/table.h"

namespace {

using support::WorstError;

const double nan = std::numeric_limits<double>::quiet_NaN();

TEST(NormalDensity, KeepsItsStatedErrors) {
    WorstError one("normaldist_p, |z| <= 1, relative");
    WorstError five("normaldist_p, |z| <= 5, relative");
    WorstError ten("normaldist_p, |z| <= 10, relative");
    WorstError normal("normaldist_p, beyond while the result is a normal number, relative");
    for (const auto& row : support::read_table("normal_points.txt", 5)) {
        const double z = std::abs(row[0] - row[1]) / row[2];
        const double result = normaldist_p(row[0], row[1], row[2]);
        if (row[3] >= DBL_MIN) {
            (z <= 1.0 ? one : z <= 5.0 ? five : z <= 10.0 ? ten : normal).relative(row[3], result, row);
        } else {
            EXPECT_LT(result, 1.001 * DBL_MIN) << row[0];
        }
    }
    one.expect_within(2.3e-8);
    five.expect_within(3.6e-7);
    ten.expect_within(3.9e-6);
    normal.expect_within(7.2e-5);
}

TEST(NormalDensity, RoundsZAndItsSquareToSinglePrecision) {
    int mattered = 0;
    for (double x = -9.0; x < 9.0; x += 0.0371) {
        const float z = static_cast<float>((x - 0.3) / 1.7);
        const double expected = static_cast<double>(0.39894228040143267794L / 1.7L * std::exp(-0.5L * (z * z)));
        EXPECT_NEAR(normaldist_p(x, 0.3, 1.7) / expected, 1.0, 1e-14) << x;
        mattered += std::abs(std::exp(0.5 * (static_cast<double>(z * z) - static_cast<double>(z) * z)) - 1.0) > 1e-13;
    }
    EXPECT_GT(mattered, 100);
}

TEST(NormalDensity, DividesTheFactorBySigmaFirst) {
    for (double sigma = 0.1; sigma < 50.0; sigma *= 1.07) {
        for (double x = -3.0; x < 3.0; x += 0.37) {
            const float z = static_cast<float>((x - 0.25) / sigma);
            const float square = z * z;
            const double factor = 0.3989422804014327 / sigma;
            EXPECT_EQ(normaldist_p(x, 0.25, sigma), std::exp(static_cast<double>(square) * -0.5) * factor);
        }
    }
}

TEST(NormalDensity, FarOutIsZero) {
    EXPECT_EQ(normaldist_p(1e10, 0.0, 1.0), 0.0);
    EXPECT_EQ(normaldist_p(1e300, 0.0, 1.0), 0.0);
    EXPECT_TRUE(std::isnan(normaldist_p(nan, 0.0, 1.0)));
}

TEST(NormalDensity, SigmaOfZeroOrLessIsFatal) {
    EXPECT_FATAL(normaldist_p(0.0, 0.0, 0.0), "bad sigma in function: normaldist_p");
    EXPECT_FATAL(normaldist_p(0.0, 0.0, -1.0), "bad sigma in function: normaldist_p");
    EXPECT_TRUE(std::isnan(normaldist_p(0.0, 0.0, nan)));
}

TEST(NormalCumulative, KeepsItsStatedErrors) {
    WorstError upper("normaldist_cdf, z >= -1, relative");
    WorstError lower("normaldist_cdf, -8 <= z < -1, relative");
    WorstError normal("normaldist_cdf, z < -8 while the result is a normal number, relative");
    for (const auto& row : support::read_table("normal_points.txt", 5)) {
        const double z = (row[0] - row[1]) / row[2];
        const double result = normaldist_cdf(row[0], row[1], row[2]);
        if (row[4] >= DBL_MIN) {
            (z >= -1.0 ? upper : z >= -8.0 ? lower : normal).relative(row[4], result, row);
        } else {
            EXPECT_LT(result, 1.001 * DBL_MIN) << row[0];
        }
    }
    upper.expect_within(4.3e-16);
    lower.expect_within(1.3e-14);
    normal.expect_within(2.8e-13);
}

TEST(NormalCumulative, MultipliesTheDeviationBeforeItDivides) {
    for (double sigma = 0.1; sigma < 50.0; sigma *= 1.07) {
        for (double x = -3.0; x < 3.0; x += 0.37) {
            const double numerator = (x - 0.25) * -0.7071067811865476;
            EXPECT_EQ(normaldist_cdf(x, 0.25, sigma), _erfc(numerator / sigma) * 0.5);
        }
    }
}

TEST(NormalCumulative, SigmaIsNotChecked) {
    EXPECT_EQ(normaldist_cdf(1.0, 0.0, -1.0), normaldist_cdf(-1.0, 0.0, 1.0));
    EXPECT_EQ(normaldist_cdf(1.0, 0.0, 0.0), 1.0);
    EXPECT_EQ(normaldist_cdf(-1.0, 0.0, 0.0), 0.0);
    EXPECT_TRUE(std::isnan(normaldist_cdf(0.0, 0.0, 0.0)));
}

TEST(NormalQuantile, KeepsItsStatedErrors) {
    WorstError lower("normaldist_invcdf, p from 2.3e-308 to 0.5, relative to max(sig, |x - mu|, |x|)");
    WorstError upper("normaldist_invcdf, p above 0.5, the same");
    WorstError subnormal("normaldist_invcdf, p below 2.3e-308, the same");
    for (const auto& row : support::read_table("normal_quantile.txt", 4)) {
        const double scale = std::max({row[2], std::abs(row[3] - row[1]), std::abs(row[3])});
        const double error = (normaldist_invcdf(row[0], row[1], row[2]) - row[3]) / scale;
        (row[0] < 2.3e-308 ? subnormal : row[0] <= 0.5 ? lower : upper).absolute(0.0, error, row);
    }
    lower.expect_within(1.9e-13);
    upper.expect_within(9.5e-15);
    subnormal.expect_within(3.9e-5);
}

TEST(NormalQuantile, MultipliesSigmaByTheRootFirst) {
    for (double sigma = 0.1; sigma < 50.0; sigma *= 1.07) {
        for (double p = 0.01; p < 1.0; p += 0.07) {
            const double scale = sigma * -1.4142135623730951;
            EXPECT_EQ(normaldist_invcdf(p, 0.25, sigma), 0.25 + inverfc(p + p) * scale);
        }
    }
}

TEST(NormalQuantile, KnownValues) {
    EXPECT_NEAR(normaldist_invcdf(0.975, 0.0, 1.0), 1.959964, 5e-7);
    EXPECT_NEAR(normaldist_invcdf(0.5, 12.5, 3.0), 12.5, 1e-14);
    EXPECT_TRUE(std::isnan(normaldist_invcdf(nan, 0.0, 1.0)));
}

TEST(NormalQuantile, BadProbabilitiesAreFatalUnderTheMisspeltName) {
    EXPECT_FATAL(normaldist_invcdf(1.0, 0.0, 1.0), "bad p value in function: normaldist_invcdr");
    EXPECT_FATAL(normaldist_invcdf(0.0, 0.0, 1.0), "bad p value in function: normaldist_invcdr");
    EXPECT_FATAL(normaldist_invcdf(-0.1, 0.0, 1.0), "bad p value in function: normaldist_invcdr");
    EXPECT_FATAL(normaldist_invcdf(1.1, 0.0, 1.0), "bad p value in function: normaldist_invcdr");
}

} // namespace
