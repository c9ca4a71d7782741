#include "stats/pvalues.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "stats/beta.h"
#include "stats/error_function.h"
#include "stats/gamma.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"
#include "tests/support/table.h"

using support::same_bits;

namespace {

using Row = std::vector<double>;

constexpr double quietNan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr float floatNan = std::numeric_limits<float>::quiet_NaN();
constexpr float floatInfinite = std::numeric_limits<float>::infinity();
constexpr unsigned long mostDf = std::numeric_limits<unsigned long>::max();

unsigned long count(double value) {
    return static_cast<unsigned long>(value);
}

// One operation in single precision: exact in long double up to the rounding.
float rounded(long double value) {
    return static_cast<float>(value);
}

// Errors of a probability that comes from the incomplete beta function, in units of the bounds that its reference
// states for N degrees of freedom.
class BetaErrors {
public:
    explicit BetaErrors(const std::string& what)
        : lower(what + ", p <= 0.5, relative error / (2e-7 + 1e-7 N)"),
          upper(what + ", p > 0.5, absolute error / (2e-4 sqrt N)") {}

    void add(double expected, double found, double freedom, const Row& row) {
        if (freedom > 1e6) {
            return;
        }
        if (expected > 0.5) {
            const double unit = 2e-4 * std::sqrt(freedom);
            upper.absolute(expected / unit, found / unit, row);
        } else if (expected > 1e-30) {
            const double unit = expected * (2e-7 + 1e-7 * freedom);
            lower.absolute(expected / unit, found / unit, row);
        } else {
            EXPECT_LE(found, 2e-30);
            EXPECT_GE(found, 0.0);
        }
    }
    void expect_within_bounds() const {
        lower.expect_within(1.0);
        upper.expect_within(1.0);
    }

private:
    support::WorstError lower;
    support::WorstError upper;
};

// The search for r written as a list of moves: where each trial takes it, and how far.
float search_r(float p, unsigned long df, int trials) {
    std::vector<int> directions{1};
    std::vector<float> places{0.4f};
    for (int trial = 0; trial < trials; ++trial) {
        int reversals = 0;
        for (std::size_t i = 1; i < directions.size(); ++i) {
            reversals += directions[i] != directions[i - 1] ? 1 : 0;
        }
        const float stride = std::ldexp(0.2f, -reversals);
        const int direction = p > r_to_p(static_cast<double>(places.back()), df) ? -1 : 1;
        places.push_back(places.back() + static_cast<float>(direction) * stride);
        directions.push_back(direction);
    }
    return places.back();
}

} // namespace

TEST(TToP, KeepsTheStatedErrorAgainstTheTable) {
    BetaErrors errors("t_to_p");
    for (const Row& row : support::read_table("pvalues_t.txt", 3)) {
        errors.add(row[2], static_cast<double>(t_to_p(static_cast<float>(row[0]), count(row[1]))), row[1], row);
    }
    errors.expect_within_bounds();
}

TEST(TToP, OneDegreeOfFreedomIsDegenerate) {
    for (const float t : {0.0f, -3.0f, 1e20f, floatInfinite, floatNan}) {
        EXPECT_TRUE(same_bits(1.0f, t_to_p(t, 0)));
        EXPECT_TRUE(same_bits(1.0f, t_to_p(t, 1)));
    }
    EXPECT_LT(t_to_p(-3.0f, 2), 0.1f);
}

TEST(TToP, ZeroHasProbabilityOneAndInfinityZero) {
    EXPECT_TRUE(same_bits(1.0f, t_to_p(0.0f, 10)));
    EXPECT_TRUE(same_bits(0.0f, t_to_p(floatInfinite, 10)));
    EXPECT_TRUE(same_bits(0.0f, t_to_p(-floatInfinite, 10)));
    EXPECT_TRUE(std::isnan(t_to_p(floatNan, 10)));
}

TEST(TToP, FormsTheArgumentInFloat) {
    support::Random random(31);
    for (int repeat = 0; repeat < 3000; ++repeat) {
        const float t = random.between(-6.0f, 6.0f);
        const unsigned long df = static_cast<unsigned long>(2 + random.below(100));
        const long double n = static_cast<long double>(df);
        const float square = rounded(static_cast<long double>(t) * static_cast<long double>(t));
        const float sum = rounded(n + static_cast<long double>(square));
        const float x = rounded(n / static_cast<long double>(sum));
        ASSERT_TRUE(same_bits(betai(rounded(n / 2), 0.5f, x), t_to_p(t, df))) << t << ", " << df;
    }
}

TEST(TToP, TakesTheDegreesOfFreedomAsFloatAndUnsigned) {
    EXPECT_TRUE(same_bits(t_to_p(2.0f, 16777216), t_to_p(2.0f, 16777217)));
    const float p = t_to_p(2.0f, mostDf); // as a signed number it would be -1
    EXPECT_GE(p, 0.0f);
    EXPECT_LE(p, 1.0f);
}

TEST(FToP, KeepsTheStatedErrorAgainstTheTable) {
    BetaErrors errors("F_to_p");
    for (const Row& row : support::read_table("pvalues_F.txt", 4)) {
        errors.add(row[3], static_cast<double>(F_to_p(static_cast<float>(row[0]), count(row[1]), count(row[2]))),
                   std::max(row[1], row[2]), row);
    }
    errors.expect_within_bounds();
}

TEST(FToP, NothingToTestGivesOne) {
    EXPECT_TRUE(same_bits(1.0f, F_to_p(0.0f, 3, 20)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(-0.0f, 3, 20)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(-1.0f, 3, 20)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(-floatInfinite, 3, 20)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(5.0f, 3, 0)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(floatNan, 0, 0)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(-1.0f, 0, 20)));
    EXPECT_TRUE(same_bits(1.0f, F_to_p(0.0f, 0, 20)));
}

TEST(FToP, NanPassesTheGuard) {
    EXPECT_TRUE(std::isnan(F_to_p(floatNan, 3, 20)));
}

TEST(FToP, OneDegreeOfFreedomIsEnough) {
    // The ratio of two squared normal deviates: p = 1 - 2/pi atan(sqrt F).
    EXPECT_NEAR(F_to_p(3.0f, 1, 1), 1.0 / 3.0, 1e-6);
}

TEST(FToP, FormsTheArgumentInFloat) {
    support::Random random(32);
    for (int repeat = 0; repeat < 3000; ++repeat) {
        const float F = random.between(0.01f, 6.0f);
        const unsigned long df1 = static_cast<unsigned long>(1 + random.below(60));
        const unsigned long df2 = static_cast<unsigned long>(1 + random.below(60));
        const long double n1 = static_cast<long double>(df1);
        const long double n2 = static_cast<long double>(df2);
        const float product = rounded(static_cast<long double>(F) * n1);
        const float sum = rounded(n2 + static_cast<long double>(product));
        const float x = rounded(n2 / static_cast<long double>(sum));
        ASSERT_TRUE(same_bits(betai(rounded(n2 / 2), rounded(n1 / 2), x), F_to_p(F, df1, df2)))
            << F << ", " << df1 << ", " << df2;
    }
}

TEST(FToP, TakesTheDegreesOfFreedomAsFloatAndUnsigned) {
    EXPECT_TRUE(same_bits(F_to_p(2.0f, 16777216, 5), F_to_p(2.0f, 16777217, 5)));
    EXPECT_TRUE(same_bits(F_to_p(2.0f, 5, 16777216), F_to_p(2.0f, 5, 16777217)));
    // The largest number counts as 2^64; as a signed one it would be -1, which is fatal. Of betai's arguments the third
    // is 5 / (5 + 2^65) here: its power 5/2, a factor of the result, is no float other than 0.
    EXPECT_TRUE(same_bits(0.0f, F_to_p(2.0f, mostDf, 5)));
    // And here 2^64 / (2^64 + 10), which is 1.
    EXPECT_TRUE(same_bits(1.0f, F_to_p(2.0f, 5, mostDf)));
}

TEST(FToPDeathTest, NoDegreeOfFreedomInTheNumeratorIsFatal) {
    EXPECT_FATAL(F_to_p(2.0f, 0, 20), "Bad a or b in routine betai");
}

TEST(RToP, KeepsTheStatedErrorAgainstTheTable) {
    BetaErrors errors("r_to_p");
    for (const Row& row : support::read_table("pvalues_r.txt", 3)) {
        errors.add(row[2], static_cast<double>(r_to_p(row[0], count(row[1]))), row[1], row);
    }
    errors.expect_within_bounds();
}

TEST(RToP, ZeroOneAndNoDegreesOfFreedomAreAnsweredAtOnce) {
    for (const unsigned long df : {1UL, 2UL, 10UL, 100000UL, mostDf}) {
        EXPECT_TRUE(same_bits(1.0f, r_to_p(0.0, df)));
        EXPECT_TRUE(same_bits(1.0f, r_to_p(-0.0, df)));
        EXPECT_TRUE(same_bits(0.0f, r_to_p(1.0, df)));
    }
    for (const double r : {0.0, 0.3, 1.0, -1.0, 7.0, quietNan}) {
        EXPECT_TRUE(same_bits(1.0f, r_to_p(r, 0)));
    }
}

TEST(RToP, OneDegreeOfFreedomIsNotDegenerate) {
    // 1 - 2/pi asin(r).
    EXPECT_NEAR(r_to_p(0.5, 1), 2.0 / 3.0, 1e-6);
}

TEST(RToP, MinusOneGoesThroughTheFormula) {
    // The tiny addend leaves df / (df + t^2) at 2e-20, not 0: with one degree of freedom 2/pi asin(sqrt(2e-20)).
    EXPECT_NEAR(r_to_p(-1.0, 1) * 1e10, 0.90031631615710607, 1e-5);
    EXPECT_TRUE(same_bits(0.0f, r_to_p(-1.0, 10)));
}

TEST(RToP, BeyondOneIsNan) {
    for (const double r : {1.0000001, -1.0000001, 2.0, quietNan}) {
        EXPECT_TRUE(std::isnan(r_to_p(r, 5))) << r;
    }
}

TEST(RToP, FormsTheArgumentInDoubleWithTheTinyAddends) {
    support::Random random(33);
    for (int repeat = 0; repeat < 3000; ++repeat) {
        const double r = static_cast<double>(random.between(-1.0f, 1.0f)) * (1.0 + 1e-9);
        const unsigned long df = static_cast<unsigned long>(1 + random.below(100));
        const long double n = static_cast<long double>(df);
        const long double wide = static_cast<long double>(r);
        const long double square = wide * wide * n / ((1 - wide + 1.0e-20L) * (1 + wide + 1.0e-20L));
        if (r != 0.0 && std::abs(r) < 1.0) {
            ASSERT_TRUE(same_bits(betai(rounded(n / 2), 0.5f, rounded(n / (n + square))), r_to_p(r, df)))
                << r << ", " << df;
        }
    }
    // Only as a double does the addend count beside 2^-53: x = 2 (2^-53 + 1e-20).
    const double close = 1.0 - 0x1p-53;
    EXPECT_TRUE(same_bits(betai(0.5f, 0.5f, static_cast<float>(2.0 * (0x1p-53 + 1.0e-20))), r_to_p(close, 1)));
}

TEST(RToP, TakesTheDegreesOfFreedomAsFloatAndUnsigned) {
    EXPECT_TRUE(same_bits(r_to_p(2e-4, 16777216), r_to_p(2e-4, 16777217)));
    const float p = r_to_p(0.5, mostDf);
    EXPECT_GE(p, 0.0f);
    EXPECT_LE(p, 1.0f);
}

TEST(X2ToP, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError relative("X2_to_p, relative error / (1e-6 + 2e-7 df)");
    support::WorstError absolute("X2_to_p, absolute error / (1e-6 + 5e-8 df)");
    for (const Row& row : support::read_table("pvalues_X2.txt", 3)) {
        if (row[1] > 770 && row[0] > 0.8 * row[1] && row[0] < 1.05 * row[1]) {
            continue; // ends the process, see below
        }
        const double found = static_cast<double>(X2_to_p(static_cast<float>(row[0]), count(row[1])));
        const double unit = 1e-6 + 5e-8 * row[1];
        absolute.absolute(row[2] / unit, found / unit, row);
        if (row[2] > 1e-30) {
            const double part = row[2] * (1e-6 + 2e-7 * row[1]);
            relative.absolute(row[2] / part, found / part, row);
        }
    }
    relative.expect_within(1.0);
    absolute.expect_within(1.0);
}

TEST(X2ToP, NoDegreesOfFreedomGiveOneAndOneIsEnough) {
    for (const float chi2 : {0.0f, 3.0f, -3.0f, floatNan}) {
        EXPECT_TRUE(same_bits(1.0f, X2_to_p(chi2, 0)));
    }
    EXPECT_TRUE(same_bits(1.0f, X2_to_p(0.0f, 7)));
    EXPECT_NEAR(X2_to_p(3.8414588f, 1), 0.05, 1e-7);
    EXPECT_TRUE(same_bits(1.0f, X2_to_p(1.0f, mostDf)));
}

TEST(X2ToP, HalvesBothArguments) {
    for (unsigned long df = 1; df < 60; ++df) {
        const float chi2 = 0.7f * static_cast<float>(df) + 0.1f;
        EXPECT_TRUE(same_bits(gammq(static_cast<float>(df) / 2.0f, chi2 / 2.0f), X2_to_p(chi2, df)));
    }
}

TEST(X2ToPDeathTest, NegativeStatisticAndTooManyDegreesOfFreedomAreFatal) {
    EXPECT_FATAL(X2_to_p(-1.0f, 3), "Invalid arguments in routine gammq");
    EXPECT_FATAL(X2_to_p(10000.0f, 10000), "a too large, ITMAX too small in routine gser");
}

TEST(ZToP, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError error("z_to_p, relative");
    for (const Row& row : support::read_table("pvalues_z.txt", 2)) {
        if (std::abs(row[0]) <= 37.0) {
            error.relative(row[1], z_to_p(row[0]), row);
        } else {
            EXPECT_NEAR(z_to_p(row[0]), row[1], 1e-300);
        }
    }
    error.expect_within(1e-12);
}

TEST(ZToP, FivePercentAndNan) {
    EXPECT_NEAR(z_to_p(1.959964), 0.05, 1e-8);
    EXPECT_EQ(z_to_p(1.3), z_to_p(-1.3));
    EXPECT_EQ(z_to_p(infinite), 0.0);
    EXPECT_TRUE(std::isnan(z_to_p(quietNan)));
}

TEST(ZToP, DividesByTheRootOfTwoToTheLastDigit) {
    const double half = std::sqrt(0.5); // correctly rounded
    int above = 0;
    int below = 0;
    for (double z = 0.01; z < 10.0; z += 0.01) {
        const double found = z_to_p(z);
        ASSERT_EQ(_erfc(z * half), found) << z;
        above += _erfc(z * std::nextafter(half, 1.0)) != found ? 1 : 0;
        below += _erfc(z * std::nextafter(half, 0.0)) != found ? 1 : 0;
    }
    EXPECT_GT(above, 500);
    EXPECT_GT(below, 500);
}

TEST(PToZ, MultipliesByTheRootOfTwoToTheLastDigit) {
    const double root = std::sqrt(2.0);
    int above = 0;
    int below = 0;
    for (double p = 0.001; p < 1.0; p += 0.001) {
        const double found = p_to_z(p);
        ASSERT_EQ(inverfc(p) * root, found) << p;
        above += inverfc(p) * std::nextafter(root, 2.0) != found ? 1 : 0;
        below += inverfc(p) * std::nextafter(root, 0.0) != found ? 1 : 0;
    }
    EXPECT_GT(above, 500);
    EXPECT_GT(below, 500);
}

TEST(PToZ, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError relative("p_to_z, p up to 0.9999, relative");
    support::WorstError absolute("p_to_z, p above 0.9999, absolute");
    for (const Row& row : support::read_table("pvalues_p_to_z.txt", 2)) {
        if (row[0] <= 0.9999) {
            relative.relative(row[1], p_to_z(row[0]), row);
        } else {
            absolute.absolute(row[1], p_to_z(row[0]), row);
        }
    }
    relative.expect_within(2e-12);
    absolute.expect_within(1e-15);
}

TEST(PToZ, EndsOfTheRangeGiveZeroAndNanGoesThrough) {
    EXPECT_NEAR(p_to_z(0.05), 1.959964, 1e-6);
    for (const double p : {0.0, -0.0, -1.0, -infinite, 1.0, 1.5, infinite}) {
        EXPECT_EQ(p_to_z(p), 0.0) << p;
    }
    EXPECT_TRUE(std::isnan(p_to_z(quietNan)));
}

TEST(PToT, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError lower("p_to_t, p <= 0.5, relative error / (2e-7 + 5e-8 df)");
    support::WorstError upper("p_to_t, p > 0.5, absolute error / (3e-4 sqrt df)");
    for (const Row& row : support::read_table("pvalues_p_to_t.txt", 3)) {
        const double found = p_to_t(row[0], row[1]);
        if (row[0] <= 0.5) {
            const double unit = row[2] * (2e-7 + 5e-8 * row[1]);
            lower.absolute(row[2] / unit, found / unit, row);
        } else {
            const double unit = 3e-4 * std::sqrt(row[1]);
            upper.absolute(row[2] / unit, found / unit, row);
        }
    }
    lower.expect_within(1.0);
    upper.expect_within(1.0);
}

TEST(PToT, EndsOfTheRangeGiveZeroAndNanGoesThrough) {
    for (const double p : {0.0, -0.0, -1.0, -infinite, 1.0, 1.5, infinite}) {
        EXPECT_EQ(p_to_t(p, 5.0), 0.0) << p;
        EXPECT_EQ(p_to_t(p, 0.0), 0.0) << p;
    }
    EXPECT_TRUE(std::isnan(p_to_t(quietNan, 5.0)));
    EXPECT_TRUE(std::isnan(p_to_t(0.5, quietNan)));
}

TEST(PToT, MultipliesBeforeItDivides) {
    for (double df = 1.0; df < 60.0; df += 1.75) {
        for (double p = 0.01; p < 1.0; p += 0.03) {
            const double x = invbetai(p, df / 2.0, 0.5);
            const double numerator = df * (1.0 - x);
            ASSERT_EQ(p_to_t(p, df), std::sqrt(numerator / x)) << p << ", " << df;
        }
    }
}

TEST(PToT, TakesFractionalDegreesOfFreedom) {
    // Between the values of 2 and 3 degrees of freedom, 4.3027 and 3.1824.
    EXPECT_NEAR(p_to_t(0.05, 2.0), 4.302652730, 1e-5);
    EXPECT_NEAR(p_to_t(0.05, 3.0), 3.182446305, 1e-5);
    EXPECT_LT(p_to_t(0.05, 2.5), 3.7);
    EXPECT_GT(p_to_t(0.05, 2.5), 3.5);
}

TEST(PToTDeathTest, NoDegreesOfFreedomAreFatal) {
    EXPECT_FATAL(p_to_t(0.5, 0.0), "Bad a or b in routine betai");
    EXPECT_FATAL(p_to_t(0.5, -3.0), "Bad a or b in routine betai");
}

TEST(PToF, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError middle("p_to_F, p >= 0.05, relative");
    support::WorstError small("p_to_F, p from 0.01 to 0.05, relative");
    support::WorstError middleWithTwo("p_to_F, df2 >= 2, p >= 0.001, relative");
    support::WorstError smallWithTwo("p_to_F, df2 >= 2, p from 0.0001 to 0.001, relative");
    for (const Row& row : support::read_table("pvalues_p_to_F.txt", 4)) {
        const double found = p_to_F(row[0], row[1], row[2]);
        if (row[0] >= 0.05) {
            middle.relative(row[3], found, row);
        } else if (row[0] >= 0.01) {
            small.relative(row[3], found, row);
        }
        if (row[2] >= 2.0 && row[0] >= 0.001) {
            middleWithTwo.relative(row[3], found, row);
        } else if (row[2] >= 2.0 && row[0] >= 0.0001) {
            smallWithTwo.relative(row[3], found, row);
        }
    }
    middle.expect_within(0.01);
    small.expect_within(0.2);
    middleWithTwo.expect_within(0.01);
    smallWithTwo.expect_within(0.2);
}

TEST(PToF, DividesOneProductByTheOther) {
    for (double df1 = 1.0; df1 < 30.0; df1 += 1.75) {
        for (double df2 = 2.0; df2 < 60.0; df2 += 3.3) {
            for (double p = 0.05; p < 1.0; p += 0.09) {
                const double x = invbetai(1.0 - p, df1 / 2.0, df2 / 2.0);
                const double numerator = x * df2;
                const double denominator = df1 * (1.0 - x);
                ASSERT_EQ(p_to_F(p, df1, df2), numerator / denominator) << p << ", " << df1 << ", " << df2;
            }
        }
    }
}

TEST(PToF, EndsOfTheRangeGiveOneAndNanGoesThrough) {
    for (const double p : {0.0, -0.0, -1.0, -infinite, 1.0, 1.5, infinite}) {
        EXPECT_EQ(p_to_F(p, 3.0, 20.0), 1.0) << p;
        EXPECT_EQ(p_to_F(p, 0.0, 0.0), 1.0) << p;
    }
    EXPECT_TRUE(std::isnan(p_to_F(quietNan, 3.0, 20.0)));
}

TEST(PToFDeathTest, NoDegreesOfFreedomAreFatal) {
    EXPECT_FATAL(p_to_F(0.5, 0.0, 20.0), "Bad a or b in routine betai");
    EXPECT_FATAL(p_to_F(0.5, 3.0, 0.0), "Bad a or b in routine betai");
}

TEST(PToR, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError error("p_to_r, absolute");
    for (const Row& row : support::read_table("pvalues_p_to_r.txt", 3)) {
        if (row[2] <= 0.9999) {
            error.absolute(row[2], static_cast<double>(p_to_r(static_cast<float>(row[0]), count(row[1]))), row);
        }
    }
    error.expect_within(2e-4);
}

TEST(PToR, TakesExactlyTwentyFiveTrials) {
    support::Random random(34);
    int differsFrom24 = 0;
    int differsFrom26 = 0;
    for (int repeat = 0; repeat < 3000; ++repeat) {
        const float p = random.between(0.0f, 1.0f);
        const unsigned long df = static_cast<unsigned long>(1 + random.below(200));
        const float found = p_to_r(p, df);
        ASSERT_TRUE(same_bits(search_r(p, df, 25), found)) << p << ", " << df;
        differsFrom24 += found == search_r(p, df, 24) ? 0 : 1;
        differsFrom26 += found == search_r(p, df, 26) ? 0 : 1;
    }
    EXPECT_GT(differsFrom24, 2500);
    EXPECT_GT(differsFrom26, 2500);
}

TEST(PToR, HalvesTheStrideAfterTheMoveThatTurnsBackTheFirstIncluded) {
    // With p below that of any trial the search climbs 25 full strides, past 1, where NaN counts as too weak.
    // (r = 1 itself, whose probability is 0, is not too strong for p = 0.)
    float climbed = 0.4f;
    for (int trial = 0; trial < 25; ++trial) {
        climbed += 0.2f;
    }
    EXPECT_TRUE(same_bits(climbed, p_to_r(0.0f, 10)));
    EXPECT_TRUE(same_bits(climbed, p_to_r(-1.0f, 10)));
    EXPECT_TRUE(same_bits(climbed, p_to_r(floatNan, 10)));
    // With p above any, it falls: by a full stride at first, which already counts as turning back, then by halves.
    // Below -1 the probability is NaN, so it turns back there.
    EXPECT_TRUE(same_bits(search_r(2.0f, 10, 25), p_to_r(2.0f, 10)));
    EXPECT_LT(p_to_r(2.0f, 10), -0.9f);
    // No degrees of freedom: every trial has probability 1, which is not less than p = 1 but less than p = 1.5.
    EXPECT_TRUE(same_bits(climbed, p_to_r(1.0f, 0)));
    float fallen = 0.4f - 0.2f;
    for (int trial = 1; trial < 25; ++trial) {
        fallen -= 0.1f;
    }
    EXPECT_TRUE(same_bits(fallen, p_to_r(1.5f, 0)));
}

TEST(PToR, MayLeaveThroughOne) {
    // The true r is 0.99999998. A trial just above 1 has no probability, and the search goes on upwards.
    EXPECT_GT(p_to_r(1e-4f, 1), 1.0f);
}
