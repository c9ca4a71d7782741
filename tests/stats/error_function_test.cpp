#include "stats/error_function.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iterator>
#include <limits>

#include "tests/support/bits.h"
#include "tests/support/fatal.h"
#include "tests/support/table.h"

namespace {

using support::WorstError;

TEST(Erfcc, KeepsItsStatedErrors) {
    WorstError negative("erfcc, x < 0, relative");
    WorstError one("erfcc, 0 <= x <= 1, relative");
    WorstError three("erfcc, 1 < x <= 3, relative");
    WorstError normal("erfcc, x > 3 while the result is a normal number, relative");
    WorstError subnormal("erfcc, below that, absolute");
    for (const auto& row : support::read_table("error_function_float.txt", 2)) {
        const double x = row[0];
        const float result = erfcc(static_cast<float>(x));
        if (row[1] < FLT_MIN) {
            subnormal.absolute(row[1], result, row);
        } else {
            (x < 0.0 ? negative : x <= 1.0 ? one : x <= 3.0 ? three : normal).relative(row[1], result, row);
        }
    }
    negative.expect_within(1.1e-7);
    one.expect_within(1.9e-7);
    three.expect_within(5.9e-7);
    normal.expect_within(3.9e-6);
    subnormal.expect_within(3.1e-44);
}

TEST(Erfcc, OfZeroIsAboutOne) {
    EXPECT_NEAR(erfcc(0.0f), 1.0, 1.2e-7);
    EXPECT_TRUE(support::same_bits(erfcc(0.0f), erfcc(-0.0f)));
}

TEST(Erfcc, NegativeArgumentsAreTwoMinusThePositive) {
    for (float x = 0.01f; x < 12.0f; x *= 1.07f) {
        EXPECT_TRUE(support::same_bits(2.0f - erfcc(x), erfcc(-x))) << x;
    }
}

TEST(Erfcc, TheEnds) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(erfcc(infinity), 0.0f);
    EXPECT_EQ(erfcc(-infinity), 2.0f);
    EXPECT_EQ(erfcc(1e30f), 0.0f);
    EXPECT_TRUE(std::isnan(erfcc(std::numeric_limits<float>::quiet_NaN())));
}

// The fit with the square and t as given, everything else in extended precision.
long double fitted_erfc(long double zSquared, long double t) {
    const long double coefficients[] = {-1.26551223L, 1.00002368L,  0.37409196L, 0.09678418L,  -0.18628806L,
                                        0.27886807L,  -1.13520398L, 1.48851587L, -0.82215223L, 0.17087277L};
    long double power = 1.0L;
    long double sum = -zSquared;
    for (const long double coefficient : coefficients) {
        sum += coefficient * power;
        power *= t;
    }
    return t * std::exp(sum);
}

TEST(Erfcc, SquaresAndTakesTInSinglePrecisionAndTheRestInDouble) {
    int squareMattered = 0;
    int tMattered = 0;
    for (float z = 0.001f; z < 9.1f; z += 0.00317f) {
        const float t = static_cast<float>(1.0 / (1.0 + 0.5 * static_cast<double>(z)));
        const float expected = static_cast<float>(fitted_erfc(z * z, t));
        EXPECT_TRUE(support::same_bits(expected, erfcc(z))) << z;

        const long double wide = z;
        squareMattered += support::ulp_distance(static_cast<float>(fitted_erfc(wide * wide, t)), expected) > 2;
        tMattered +=
            support::ulp_distance(static_cast<float>(fitted_erfc(z * z, 1.0L / (1.0L + 0.5L * wide))), expected) > 0;
    }
    EXPECT_GT(squareMattered, 100);
    EXPECT_GT(tMattered, 100);
}

TEST(Erfcc, TheExponentStartsWithTheSquare) {
    // Rare arguments where another order of the three terms shows in the last bit.
    const auto series = [](double t) {
        const double coefficients[] = {0.17087277,  -0.82215223, 1.48851587, -1.13520398, 0.27886807,
                                       -0.18628806, 0.09678418,  0.37409196, 1.00002368};
        double sum = 0.0;
        for (const double coefficient : coefficients) {
            sum = t * (coefficient + sum);
        }
        return sum;
    };
    for (const float z : {4.36793566f}) {
        const double t = static_cast<double>(static_cast<float>(1.0 / (1.0 + 0.5 * static_cast<double>(z))));
        const double squared = static_cast<double>(z * z);
        double exponent = -squared;
        exponent -= 1.26551223;
        exponent += series(t);
        const float expected = static_cast<float>(t * std::exp(exponent));
        const double other = series(t) - 1.26551223 - squared;
        ASSERT_NE(expected, static_cast<float>(t * std::exp(other)));
        EXPECT_TRUE(support::same_bits(expected, erfcc(z))) << z;
    }
}

// The Chebyshev sum from its last term down, all of its partial sums kept.
double chebyshev_erfc(double z) {
    const double c[28] = {-1.3026537197817094,
                          0.6419697923564902,
                          1.9476473204185836e-2,
                          -9.561514786808631e-3,
                          -9.46595344482036e-4,
                          3.66839497852761e-4,
                          4.2523324806907e-5,
                          -2.0278578112534e-5,
                          -1.624290004647e-6,
                          1.303655835580e-6,
                          1.5626441722e-8,
                          -8.5238095915e-8,
                          6.529054439e-9,
                          5.059343495e-9,
                          -9.91364156e-10,
                          -2.27365122e-10,
                          9.6467911e-11,
                          2.394038e-12,
                          -6.886027e-12,
                          8.94487e-13,
                          3.13092e-13,
                          -1.12708e-13,
                          3.81e-16,
                          7.106e-15,
                          -1.523e-15,
                          -9.4e-17,
                          1.21e-16,
                          -2.8e-17};
    const double t = 2.0 / (2.0 + z);
    const double y = 4.0 * t - 2.0;
    double b[30] = {};
    for (int j = 27; j >= 1; --j) {
        b[j] = y * b[j + 1];
        b[j] -= b[j + 2];
        b[j] += c[j];
    }
    const double mean = 0.5 * (c[0] + y * b[1]);
    double exponent = -(z * z);
    exponent += mean;
    exponent -= b[2];
    return t * std::exp(exponent);
}

TEST(Erfccheb, SumsInTheOrderOfItsDefinitionBitForBit) {
    for (double z = 0.0; z < 27.5; z += 0.00137) {
        ASSERT_EQ(erfccheb(z), chebyshev_erfc(z)) << z;
    }
    ASSERT_EQ(erfccheb(1e-300), chebyshev_erfc(1e-300));
}

TEST(Erfccheb, KeepsItsStatedErrors) {
    WorstError one("erfccheb, 0 <= z <= 1, relative");
    WorstError six("erfccheb, 1 < z <= 6, relative");
    WorstError normal("erfccheb, z > 6 while the result is a normal number, relative");
    WorstError subnormal("erfccheb, below that, absolute");
    for (const auto& row : support::read_table("error_function_double.txt", 3)) {
        const double z = row[0];
        if (z < 0.0) {
            continue;
        }
        const double result = erfccheb(z);
        EXPECT_EQ(_erfc(z), result);
        if (row[1] < DBL_MIN) {
            subnormal.absolute(row[1], result, row);
        } else {
            (z <= 1.0 ? one : z <= 6.0 ? six : normal).relative(row[1], result, row);
        }
    }
    one.expect_within(3.4e-16);
    six.expect_within(8.2e-15);
    normal.expect_within(1.5e-13);
    subnormal.expect_within(3.1e-322);
}

TEST(Erfccheb, NegativeArgumentsAreFatal) {
    EXPECT_FATAL(erfccheb(-1.0), "function erfccheb requires nonnegative argument");
    EXPECT_FATAL(erfccheb(-5e-324), "function erfccheb requires nonnegative argument");
    EXPECT_NEAR(erfccheb(-0.0), 1.0, 4e-16);
}

TEST(Erfccheb, NotANumberIsNoError) {
    EXPECT_TRUE(std::isnan(erfccheb(std::numeric_limits<double>::quiet_NaN())));
}

TEST(ErfErfc, KeepTheirStatedErrors) {
    WorstError negative("_erfc, x < 0, relative");
    WorstError error("_erf, absolute");
    for (const auto& row : support::read_table("error_function_double.txt", 3)) {
        if (row[0] < 0.0) {
            negative.relative(row[1], _erfc(row[0]), row);
        }
        error.absolute(row[2], _erf(row[0]), row);
    }
    negative.expect_within(4.5e-16);
    error.expect_within(3.4e-16);
}

TEST(ErfErfc, AreComplementsOfTheSeries) {
    EXPECT_NEAR(_erfc(-1.0), 1.8427007929497148, 1e-15);
    for (double x = 0.001; x < 30.0; x *= 1.1) {
        EXPECT_EQ(_erfc(-x), 2.0 - erfccheb(x)) << x;
        EXPECT_EQ(_erf(x), 1.0 - erfccheb(x)) << x;
        EXPECT_EQ(_erf(-x), erfccheb(x) - 1.0) << x;
    }
}

TEST(ErfErfc, TheEnds) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(_erfc(infinity), 0.0);
    EXPECT_EQ(_erfc(-infinity), 2.0);
    EXPECT_EQ(_erf(infinity), 1.0);
    EXPECT_EQ(_erf(-infinity), -1.0);
    EXPECT_TRUE(std::isnan(_erfc(nan)));
    EXPECT_TRUE(std::isnan(_erf(nan)));
}

TEST(Inverfc, KeepsItsStatedErrors) {
    WorstError usual("inverfc, p from 1e-10, relative to max(1, |x|)");
    WorstError tiny("inverfc, p from 2.3e-308 to 1e-10, relative to x");
    for (const auto& row : support::read_table("error_function_inverfc.txt", 2)) {
        if (row[0] < 2.3e-308) {
            continue;
        }
        WorstError& error = row[0] < 1e-10 ? tiny : usual;
        if (std::abs(row[1]) > 1.0) {
            error.relative(row[1], inverfc(row[0]), row);
        } else {
            error.absolute(row[1], inverfc(row[0]), row);
        }
    }
    usual.expect_within(6.6e-15);
    tiny.expect_within(1.8e-12);
}

TEST(Inverfc, TheEndsAreHundreds) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double p : {0.0, -0.0, -1.0, -infinity}) {
        EXPECT_EQ(inverfc(p), 100.0) << p;
    }
    for (const double p : {2.0, 2.5, infinity}) {
        EXPECT_EQ(inverfc(p), -100.0) << p;
    }
    EXPECT_NEAR(inverfc(1.0), 0.0, 1e-15);
    EXPECT_TRUE(std::isnan(inverfc(std::numeric_limits<double>::quiet_NaN())));
}

TEST(Inverfc, TheSmallestNumberOfAllIsLost) {
    EXPECT_TRUE(std::isnan(inverfc(5e-324))); // its half is 0
    EXPECT_NEAR(inverfc(1e-323), 27.2, 0.1);
}

// The start and two Halley steps for p < 1, with the square that is asked for.
template <class Square>
double two_halley_steps(double p, Square square) {
    const double t = std::sqrt(-2.0 * std::log(p / 2.0));
    double x = -0.70711 * ((2.30753 + 0.27061 * t) / (1.0 + t * (0.99229 + 0.04481 * t)) - t);
    for (int step = 0; step < 2; ++step) {
        const double error = _erfc(x) - p;
        x += error / (1.1283791670955126 * std::exp(-square(x)) - x * error);
    }
    return x;
}

TEST(Inverfc, TakesTwoStepsWithASquareInSinglePrecision) {
    int mattered = 0;
    for (double p = 0.9; p > 1e-300; p *= 0.37) {
        const double expected = two_halley_steps(p, [](double x) {
            const float rounded = static_cast<float>(x);
            return static_cast<double>(rounded * rounded);
        });
        EXPECT_EQ(inverfc(p), expected) << p;
        mattered += expected != two_halley_steps(p, [](double x) { return x * x; });
    }
    EXPECT_GT(mattered, 50);
}

TEST(Inverfc, AboveOneIsMinusTheMirrored) {
    for (const double p : {0.001, 0.125, 0.5, 0.75, 0.984375}) {
        EXPECT_EQ(inverfc(2.0 - p), -inverfc(2.0 - (2.0 - p))) << p;
    }
}

TEST(Inverf, KeepsItsStatedErrors) {
    WorstError middle("inverf, |p| up to 0.99, relative to max(1, |x|)");
    WorstError upper("inverf, p above 0.99, relative");
    WorstError lower("inverf, p below -0.99, as an error of p, absolute");
    for (const auto& row : support::read_table("error_function_inverf.txt", 2)) {
        const double p = row[0];
        const double x = inverf(p);
        if (p < -0.99) {
            if (1.0 - p < 2.0) {
                const double slope = 1.1283791670955126 * std::exp(-row[1] * row[1]);
                lower.absolute(0.0, (x - row[1]) * slope, row);
            }
        } else if (std::abs(row[1]) > 1.0) {
            (p > 0.99 ? upper : middle).relative(row[1], x, row);
        } else {
            middle.absolute(row[1], x, row);
        }
    }
    middle.expect_within(3.9e-16);
    upper.expect_within(5.0e-15);
    lower.expect_within(1.2e-16);
}

TEST(Inverf, TheEndsAreHundreds) {
    EXPECT_EQ(inverf(1.0), 100.0);
    EXPECT_EQ(inverf(-1.0), -100.0);
    EXPECT_EQ(inverf(1.5), 100.0);
    EXPECT_EQ(inverf(-1.5), -100.0);
    // 1 - p is 2 already.
    EXPECT_EQ(inverf(std::nextafter(-1.0, 0.0)), -100.0);
    EXPECT_LT(inverf(std::nextafter(1.0, 0.0)), 6.0);
}

TEST(Inverf, IsInverfcOfOneMinusP) {
    for (const double p : {-0.999, -0.3, 0.0, 1e-17, 0.1, 0.7, 0.999999}) {
        EXPECT_EQ(inverf(p), inverfc(1.0 - p)) << p;
    }
}

} // namespace
