#include "stats/gamma.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <unistd.h>
#include <utility>

#include "tests/support/bits.h"
#include "tests/support/fatal.h"
#include "tests/support/table.h"

namespace {

using support::WorstError;

// Below x = a + 1, summed in double, the series serves.
bool series_serves(float a, float x) {
    return static_cast<double>(x) < static_cast<double>(a) + 1.0;
}

TEST(Gammln, KeepsItsStatedError) {
    WorstError error("gammln, relative to max(1, |ln Gamma|)");
    for (const auto& row : support::read_table("gamma_ln.txt", 2)) {
        if (std::abs(row[1]) > 1.0) {
            error.relative(row[1], gammln(row[0]), row);
        } else {
            error.absolute(row[1], gammln(row[0]), row);
        }
    }
    error.expect_within(4.1e-13);
}

TEST(Gammln, KnownValues) {
    EXPECT_NEAR(gammln(1.0), 0.0, 1e-10);
    EXPECT_NEAR(gammln(2.0), 0.0, 1e-10);
    EXPECT_NEAR(gammln(0.5), 0.5 * std::log(3.14159265358979324), 1e-10);
}

// The six terms written out.
double six_terms(double xx) {
    const double shifted = xx + 5.5;
    double y = xx;
    double sum = 1.000000000190015;
    sum += 76.18009172947146 / (y += 1.0);
    sum -= 86.50532032941678 / (y += 1.0);
    sum += 24.01409824083091 / (y += 1.0);
    sum -= 1.231739572450155 / (y += 1.0);
    sum += 0.001208650973866179 / (y += 1.0);
    sum -= 5.395239384953e-06 / (y += 1.0);
    const double scaled = 2.5066282746310007 * sum;
    const double tmp = shifted - (xx + 0.5) * std::log(shifted);
    return std::log(scaled / xx) - tmp;
}

TEST(Gammln, IsTheSixTermSeriesInDoubleBitForBit) {
    support::Random random(3);
    for (int repeat = 0; repeat < 20000; ++repeat) {
        const double xx = std::exp(static_cast<double>(random.between(-20.0f, 20.0f)));
        ASSERT_EQ(gammln(xx), six_terms(xx)) << xx;
    }
    for (double xx = 0.5; xx <= 500.0; xx += 0.5) {
        ASSERT_EQ(gammln(xx), six_terms(xx)) << xx;
    }
}

TEST(Gammln, ArgumentsOutsideItsDomainAreNotChecked) {
    EXPECT_EQ(gammln(0.0), std::numeric_limits<double>::infinity());
    EXPECT_EQ(gammln(1e-307), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(gammln(-1.5e3)));
    EXPECT_TRUE(std::isnan(gammln(std::numeric_limits<double>::quiet_NaN())));
}

// The errors of P and Q over the orders above `low` up to `high`: relative where the function's own method serves and
// the result is a normal number, absolute where it is 1 minus the other function.
void expect_errors(double low, double high, double relative, double absolute) {
    const std::string orders = ", a up to " + std::to_string(high);
    WorstError direct("gammp and gammq by their own method, relative" + orders);
    WorstError complement("gammp and gammq as complements, absolute" + orders);
    for (const auto& row : support::read_table("gamma_pq.txt", 4)) {
        const float a = static_cast<float>(row[0]);
        const float x = static_cast<float>(row[1]);
        if (row[0] <= low || row[0] > high) {
            continue;
        }
        const bool series = series_serves(a, x);
        const double own = series ? row[2] : row[3];
        const float ownResult = series ? gammp(a, x) : gammq(a, x);
        if (own >= FLT_MIN) {
            direct.relative(own, ownResult, row);
        } else {
            EXPECT_NEAR(ownResult, own, own * relative + 1.3e-44) << "a " << a << " x " << x;
        }
        complement.absolute(series ? row[3] : row[2], series ? gammq(a, x) : gammp(a, x), row);
    }
    direct.expect_within(relative);
    complement.expect_within(absolute);
}

TEST(GammpGammq, KeepTheirStatedErrors) {
    expect_errors(0.0, 0.001001, 3.7e-6, 3.7e-6);
    expect_errors(0.001001, 10.0, 1.3e-6, 2.3e-7);
    expect_errors(10.0, 100.0, 1.3e-5, 7.0e-6);
    expect_errors(100.0, 380.0, 4.2e-5, 2.2e-5);
    expect_errors(380.0, 6000.0, 1.5e-3, 7.1e-4);
}

TEST(GammpGammq, OfZero) {
    for (const float a : {1e-10f, 0.5f, 1.0f, 7.5f, 1000.0f}) {
        EXPECT_EQ(gammp(a, 0.0f), 0.0f);
        EXPECT_EQ(gammq(a, 0.0f), 1.0f);
        EXPECT_EQ(gammp(a, -0.0f), 0.0f);
    }
}

TEST(GammpGammq, OfOrderOneAreExponentials) {
    for (const float x : {0.01f, 0.5f, 1.0f, 1.99f, 2.0f, 2.01f, 5.0f, 20.0f}) {
        EXPECT_NEAR(gammp(1.0f, x), -std::expm1(-static_cast<double>(x)), 3e-7) << x;
        EXPECT_NEAR(gammq(1.0f, x), std::exp(-static_cast<double>(x)), 3e-7) << x;
    }
}

TEST(GammpGammq, TinyOrdersLeaveTheUnitInterval) {
    EXPECT_GT(gammp(1e-10f, 0.5f), 1.0f);
    EXPECT_LT(gammq(1e-10f, 0.5f), 0.0f);
}

TEST(GammpGammq, AreOneMinusTheOtherInSinglePrecision) {
    for (const auto& row : support::read_table("gamma_pq.txt", 4)) {
        const float a = static_cast<float>(row[0]);
        const float x = static_cast<float>(row[1]);
        float own = 0.0f;
        float gln = 0.0f;
        if (series_serves(a, x)) {
            gser(&own, a, x, &gln);
            EXPECT_TRUE(support::same_bits(own, gammp(a, x)));
            EXPECT_TRUE(support::same_bits(1.0f - own, gammq(a, x)));
        } else {
            gcf(&own, a, x, &gln);
            EXPECT_TRUE(support::same_bits(own, gammq(a, x)));
            EXPECT_TRUE(support::same_bits(1.0f - own, gammp(a, x)));
        }
    }
}

TEST(GammpGammq, TheSwitchIsComparedInDouble) {
    // In single precision 1e-9 + 1 is 1, and x = 1 would go to the fraction, which gives 2.19e-10.
    const float below = gammq(1e-9f, 1.0f);
    EXPECT_NEAR(below, 0.0, 1e-6);
    EXPECT_GT(std::abs(below - 2.1938e-10), 1e-10);
    // Where the sum is 1 in double, too, it is the fraction.
    EXPECT_NEAR(gammq(1e-30f, 1.0f) * 1e31, 2.19384, 1e-4);
}

TEST(GammpGammq, BadArgumentsAreReportedUnderGammq) {
    EXPECT_FATAL(gammp(2.0f, -1.0f), "Invalid arguments in routine gammq");
    EXPECT_FATAL(gammq(2.0f, -1.0f), "Invalid arguments in routine gammq");
    EXPECT_FATAL(gammp(0.0f, 1.0f), "Invalid arguments in routine gammq");
    EXPECT_FATAL(gammq(0.0f, 1.0f), "Invalid arguments in routine gammq");
    EXPECT_FATAL(gammp(-1.0f, 1.0f), "Invalid arguments in routine gammq");
    EXPECT_FATAL(gammq(-1.0f, 1.0f), "Invalid arguments in routine gammq");
}

TEST(GammpGammq, NotANumberPassesTheChecksAndRunsOutOfSteps) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FATAL(gammp(nan, 1.0f), "a too large, ITMAX too small in gcf");
    EXPECT_FATAL(gammq(1.0f, nan), "a too large, ITMAX too small in gcf");
}

TEST(Gser, RunsOutOfTermsForLargeOrders) {
    EXPECT_FATAL(gammp(500.0f, 500.5f), "a too large, ITMAX too small in routine gser");
    EXPECT_FATAL(gammq(1000.0f, 1000.5f), "a too large, ITMAX too small in routine gser");
    // Far below the order it still converges, to nothing.
    EXPECT_EQ(gammp(1000.0f, 500.0f), 0.0f);
}

TEST(Gser, TheHundredthTermIsTheLast) {
    float p = 0.0f;
    float gln = 0.0f;
    gser(&p, 387.5f, 387.514313f, &gln); // settles in the 100th
    EXPECT_NEAR(p, 0.507, 0.001);
    EXPECT_FATAL(gser(&p, 388.25f, 389.249908f, &gln), "a too large, ITMAX too small in routine gser"); // in the 101st
}

TEST(Gser, OrdersUpTo380ConvergeBelowTheSwitch) {
    for (float a = 340.0f; a <= 380.0f; a += 0.25f) {
        for (int step = 0; step < 60; ++step) {
            const float x = (a + 1.0f) * (1.0f - static_cast<float>(step) * 0.001f);
            if (series_serves(a, x)) {
                const float p = gammp(a, x); // ends the process where it does not converge
                EXPECT_GT(p, 0.0f);
                EXPECT_LT(p, 1.0f);
            }
        }
    }
}

TEST(Gser, OfZeroWritesBothResults) {
    float p = 9.0f;
    float gln = 9.0f;
    gser(&p, 5.0f, 0.0f, &gln);
    EXPECT_EQ(p, 0.0f);
    EXPECT_FLOAT_EQ(gln, std::log(24.0f));
}

float loggedGamma = 0.0f;

// Looked at while the fatal error ends the process.
void leave_with_what_was_written() {
    _exit(std::abs(loggedGamma - std::log(24.0f)) < 1e-5f ? 17 : 18);
}

TEST(Gser, WritesTheLogGammaBeforeItChecks) {
    EXPECT_FATAL(
        {
            float p = 0.0f;
            float gln = 0.0f;
            gser(&p, 5.0f, -1.0f, &gln);
        },
        "x less than 0 in routine gser");
    EXPECT_EXIT(
        {
            std::atexit(leave_with_what_was_written);
            float p = 0.0f;
            gser(&p, 5.0f, -1.0f, &loggedGamma);
        },
        testing::ExitedWithCode(17), "");
}

TEST(GserGcf, TheLogGammaIsSinglePrecisionInTheExponential) {
    // A rounded ln Gamma moves the results of large orders by up to 2e-5 relative: taking that out of the reference
    // leaves the rest of the arithmetic.
    WorstError corrected("gser and gcf of orders 100 to 380 against a rounded ln Gamma, relative");
    WorstError plain("the same against the true ln Gamma");
    for (const auto& row : support::read_table("gamma_pq.txt", 4)) {
        const float a = static_cast<float>(row[0]);
        const float x = static_cast<float>(row[1]);
        const bool series = series_serves(a, x);
        const double own = series ? row[2] : row[3];
        if (row[0] < 100.0 || row[0] > 380.0 || own < FLT_MIN) {
            continue;
        }
        float result = 0.0f;
        float gln = 0.0f;
        (series ? gser : gcf)(&result, a, x, &gln);
        const double trueGln = std::lgamma(row[0]);
        EXPECT_EQ(gln, static_cast<float>(trueGln)) << a;
        corrected.relative(own * std::exp(trueGln - static_cast<double>(gln)), result, row);
        plain.relative(own, result, row);
    }
    corrected.expect_within(1.4e-6);
    EXPECT_GT(plain.value(), 1e-5);
}

// Lentz's evaluation of the fraction for Q, with the numbers it keeps in single precision.
float fraction_in_single(float a, float x, float gln) {
    float b = static_cast<float>(static_cast<double>(x) + 1.0 - static_cast<double>(a));
    float numerators = 1e30f;
    float denominators = 1.0f / b;
    float value = denominators;
    float factor = 0.0f;
    for (float i = 1.0f; std::abs(static_cast<double>(factor) - 1.0) >= 3.0e-7; i += 1.0f) {
        const float an = i * (a - i);
        b += 2.0f;
        const float below = an * denominators + b;
        const float above = b + an / numerators;
        denominators = 1.0f / (std::abs(below) < 1e-30f ? 1e-30f : below);
        numerators = std::abs(above) < 1e-30f ? 1e-30f : above;
        factor = numerators * denominators;
        value *= factor;
    }
    const double dx = static_cast<double>(x);
    return static_cast<float>(std::exp(static_cast<double>(a) * std::log(dx) - dx - static_cast<double>(gln)) *
                              static_cast<double>(value));
}

bool small_in_double(float term, float sum) {
    return static_cast<double>(term) < static_cast<double>(sum) * 3.0e-7;
}

float series_in_single(float a, float x, float gln, bool (*small)(float term, float sum) = small_in_double) {
    float term = 1.0f / a;
    float sum = term;
    for (float ap = a + 1.0f;; ap += 1.0f) {
        term *= x / ap;
        sum += term;
        if (small(term, sum)) {
            break;
        }
    }
    const double dx = static_cast<double>(x);
    return static_cast<float>(static_cast<double>(sum) *
                              std::exp(static_cast<double>(a) * std::log(dx) - dx - static_cast<double>(gln)));
}

TEST(GserGcf, KeepSinglePrecisionStepByStep) {
    for (const auto& row : support::read_table("gamma_pq.txt", 4)) {
        const float a = static_cast<float>(row[0]);
        const float x = static_cast<float>(row[1]);
        float result = 0.0f;
        float gln = 0.0f;
        if (series_serves(a, x)) {
            gser(&result, a, x, &gln);
            ASSERT_TRUE(support::same_bits(series_in_single(a, x, gln), result)) << "a " << a << " x " << x;
        } else {
            gcf(&result, a, x, &gln);
            ASSERT_TRUE(support::same_bits(fraction_in_single(a, x, gln), result)) << "a " << a << " x " << x;
        }
        EXPECT_EQ(gln, static_cast<float>(gammln(row[0])));
    }
}

TEST(Gser, TheLastTermIsFoundInDouble) {
    // Terms that are below the limit, but not below the float next to it.
    const auto smallInFloat = [](float term, float sum) { return term < sum * 3.0e-7f; };
    for (const auto& [a, x] : {std::pair{5.41781187f, 3.95439267f}, std::pair{39.421566f, 32.8264236f},
                               std::pair{66.6105881f, 61.3743591f}}) {
        float result = 0.0f;
        float gln = 0.0f;
        gser(&result, a, x, &gln);
        EXPECT_TRUE(support::same_bits(series_in_single(a, x, gln), result)) << a;
        EXPECT_NE(series_in_single(a, x, gln, smallInFloat), result) << a;
    }
}

TEST(GserGcf, TheExponentStartsWithMinusX) {
    // Rare arguments where taking x away last changes the rounded result.
    float result = 0.0f;
    float gln = 0.0f;
    for (const auto& [a, x] : {std::pair{1.61214161f, 4.89525191e-05f}, std::pair{1.46559548f, 0.00427204976f}}) {
        gser(&result, a, x, &gln);
        EXPECT_TRUE(support::same_bits(series_in_single(a, x, gln), result)) << a;
    }
    gcf(&result, 1.5738399f, 70.7854233f, &gln);
    EXPECT_TRUE(support::same_bits(fraction_in_single(1.5738399f, 70.7854233f, gln), result));
}

TEST(Gcf, RunsOutOfStepsForLargeOrders) {
    EXPECT_FATAL(gammq(1e5f, 1.0001e5f), "a too large, ITMAX too small in gcf");
    EXPECT_FATAL(gammp(1e5f, 1.0001e5f), "a too large, ITMAX too small in gcf");
}

TEST(Gcf, TheHundredthStepIsTheLast) {
    float q = 0.0f;
    float gln = 0.0f;
    gcf(&q, 7400.0f, 7405.19971f, &gln); // settles in the 100th
    EXPECT_NEAR(q, 0.474, 0.002);
    EXPECT_FATAL(gcf(&q, 7390.0f, 7395.19482f, &gln), "a too large, ITMAX too small in gcf"); // in the 101st
}

TEST(Gcf, AZeroDenominatorIsReplaced) {
    // The first step's denominator is exactly 0 here, below the range that gammq leaves to the fraction.
    float q = 0.0f;
    float gln = 0.0f;
    gcf(&q, 1.75f, 0.25f, &gln);
    EXPECT_NEAR(q, gammq(1.75f, 0.25f), 3e-6);
}

TEST(Gcf, AZeroNumeratorIsReplaced) {
    // Exactly 0 in one step, below the range that gammq leaves to the fraction; Q by mpmath.
    float q = 0.0f;
    float gln = 0.0f;
    gcf(&q, 7.6875f, 2.9375f, &gln);
    EXPECT_NEAR(q, 0.985072313104, 1e-5);
}

TEST(Gcf, OrdersUpTo6000ConvergeAboveTheSwitch) {
    for (float a = 5000.0f; a <= 6000.0f; a += 50.0f) {
        for (int step = 0; step < 60; ++step) {
            const float q = gammq(a, (a + 1.0f) * (1.0f + static_cast<float>(step) * 0.001f));
            EXPECT_GT(q, 0.0f); // ends the process where it does not converge
            EXPECT_LT(q, 1.0f);
        }
    }
}

TEST(Gcf, UnderflowsToZeroFarOut) {
    EXPECT_EQ(gammq(2.0f, 1e6f), 0.0f);
    EXPECT_EQ(gammp(2.0f, 3e38f), 1.0f);
}

} // namespace
