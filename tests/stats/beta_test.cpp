#include "stats/beta.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "stats/gamma.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"
#include "tests/support/table.h"

namespace {

using support::WorstError;

struct Row {
    float a;
    float b;
    float x;
    double i;
    double fraction;
    std::vector<double> all;

    explicit Row(const std::vector<double>& row)
        : a(static_cast<float>(row[0])), b(static_cast<float>(row[1])), x(static_cast<float>(row[2])), i(row[3]),
          fraction(row[4]), all(row) {}

    double largest() const { return std::max<double>(a, b); }
    bool sum_is_exact() const { return static_cast<double>(a + b) == all[0] + all[1]; }
    double switch_point() const { return (all[0] + 1.0) / (all[0] + all[1] + 2.0); }
    bool below_switch() const { return all[2] < switch_point(); }
};

std::vector<Row> rows_of_betai() {
    std::vector<Row> rows;
    for (const auto& row : support::read_table("beta_i.txt", 5)) {
        rows.emplace_back(row);
    }
    return rows;
}

// Errors over the rows that `chosen` picks: relative below the switch point, where the result comes straight from the
// fraction, absolute above it, where it is 1 minus such a number.
template <class Choice>
void expect_errors(const std::string& what, Choice chosen, double relative, double absolute) {
    WorstError direct("betai below the switch point, relative, " + what);
    WorstError complement("betai above the switch point, absolute, " + what);
    for (const Row& row : rows_of_betai()) {
        if (!chosen(row)) {
            continue;
        }
        const float result = betai(row.a, row.b, row.x);
        if (!row.below_switch()) {
            complement.absolute(row.i, result, row.all);
        } else if (row.i >= FLT_MIN) {
            direct.relative(row.i, result, row.all);
        } else {
            EXPECT_NEAR(result, row.i, 1e-44) << "a " << row.a << " b " << row.b << " x " << row.x;
        }
    }
    direct.expect_within(relative);
    complement.expect_within(absolute);
}

TEST(Betai, KeepsItsStatedErrorWhereTheSumOfTheOrdersIsExact) {
    expect_errors(
        "a + b exact, up to 10000", [](const Row& row) { return row.largest() <= 1e4 && row.sum_is_exact(); }, 3.7e-7,
        9.2e-8);
}

TEST(Betai, KeepsItsStatedErrorWhereTheSumOfTheOrdersIsRounded) {
    expect_errors(
        "a + b rounded, up to 10", [](const Row& row) { return row.largest() <= 10 && !row.sum_is_exact(); }, 6.7e-7,
        4.1e-7);
    expect_errors(
        "a + b rounded, up to 125", [](const Row& row) { return row.largest() <= 125 && !row.sum_is_exact(); }, 2.4e-5,
        1.6e-5);
}

TEST(Betai, HugeOrdersAreWrongWithoutAnError) {
    expect_errors(
        "a or b of 100000", [](const Row& row) { return row.largest() > 3e4 && row.largest() <= 1e5; }, 2.3e-4, 1.2e-4);
    expect_errors(
        "a or b of 1000000", [](const Row& row) { return row.largest() > 1e5; }, 0.12, 0.060);
}

TEST(Betai, OutsideTheUnitIntervalIsZeroOnBothSides) {
    for (const float a : {0.5f, 2.0f, 50.0f}) {
        for (const float b : {0.5f, 2.0f, 50.0f}) {
            EXPECT_EQ(betai(a, b, -0.5f), 0.0f);
            EXPECT_EQ(betai(a, b, 1.5f), 0.0f);
            EXPECT_EQ(betai(a, b, -std::numeric_limits<float>::infinity()), 0.0f);
            EXPECT_EQ(betai(a, b, std::numeric_limits<float>::infinity()), 0.0f);
            EXPECT_EQ(betai(a, b, std::nextafter(1.0f, 2.0f)), 0.0f);
        }
    }
}

TEST(Betai, TheEndsAreExact) {
    for (const float a : {1e-10f, 0.5f, 2.0f, 1e6f}) {
        EXPECT_EQ(betai(a, 3.0f, 0.0f), 0.0f);
        EXPECT_EQ(betai(a, 3.0f, -0.0f), 0.0f);
        EXPECT_EQ(betai(a, 3.0f, 1.0f), 1.0f);
    }
}

TEST(Betai, ClosedForms) {
    for (const float x : {0.001f, 0.25f, 0.5f, 0.75f, 0.999f}) {
        const double d = x;
        EXPECT_NEAR(betai(1.0f, 1.0f, x), d, 2e-7);
        EXPECT_NEAR(betai(2.0f, 1.0f, x), d * d, 2e-7);
        EXPECT_NEAR(betai(2.0f, 2.0f, x), d * d * (3.0 - 2.0 * d), 2e-7);
        EXPECT_NEAR(betai(0.5f, 0.5f, x), std::asin(std::sqrt(d)) * 2.0 / 3.14159265358979324, 2e-7);
    }
}

TEST(Betai, OrdersOfZeroOrLessAreFatal) {
    EXPECT_FATAL(betai(0.0f, 1.0f, 0.5f), "Bad a or b in routine betai");
    EXPECT_FATAL(betai(1.0f, 0.0f, 0.5f), "Bad a or b in routine betai");
    EXPECT_FATAL(betai(-1.0f, 1.0f, 0.5f), "Bad a or b in routine betai");
    EXPECT_FATAL(betai(1.0f, -1.0f, 0.5f), "Bad a or b in routine betai");
    // The orders are looked at first.
    EXPECT_FATAL(betai(0.0f, 1.0f, 1.5f), "Bad a or b in routine betai");
}

TEST(Betai, NotANumberComesBack) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(betai(2.0f, 2.0f, nan)));
    EXPECT_TRUE(std::isnan(betai(nan, 2.0f, 0.5f)));
    EXPECT_TRUE(std::isnan(betai(2.0f, nan, 0.5f)));
}

TEST(Betai, TheSumOfTheOrdersIsRoundedToSinglePrecision) {
    // Taking that rounding out of the reference leaves a fortieth of the error.
    WorstError corrected("betai against orders whose sum is rounded, relative");
    WorstError plain("the same against their true sum");
    for (const Row& row : rows_of_betai()) {
        if (row.largest() > 125 || row.sum_is_exact() || !row.below_switch() || row.i < FLT_MIN) {
            continue;
        }
        const double shift = std::lgamma(static_cast<double>(row.a + row.b)) - std::lgamma(row.all[0] + row.all[1]);
        corrected.relative(row.i * std::exp(shift), betai(row.a, row.b, row.x), row.all);
        plain.relative(row.i, betai(row.a, row.b, row.x), row.all);
    }
    corrected.expect_within(4.9e-7);
    EXPECT_GT(plain.value(), 2e-5);
}

TEST(Betai, IsTheFractionTimesTheRoundedFactorDividedBySingleSteps) {
    int choiceMattered = 0;
    int complementMattered = 0;
    for (const Row& row : rows_of_betai()) {
        const double a = row.all[0];
        const double b = row.all[1];
        const double x = row.all[2];
        const float factor = static_cast<float>(std::exp(gammln(static_cast<double>(row.a + row.b)) - gammln(a) -
                                                         gammln(b) + a * std::log(x) + b * std::log(1.0 - x)));
        const float direct = betacf(a, b, x) * factor / row.a;
        const float swapped = 1.0f - betacf(b, a, 1.0 - x) * factor / row.b;
        ASSERT_TRUE(support::same_bits(row.below_switch() ? direct : swapped, betai(row.a, row.b, row.x)))
            << "a " << a << " b " << b << " x " << x;

        const bool belowRoundedSwitch = row.x < static_cast<float>(row.switch_point());
        choiceMattered += belowRoundedSwitch != row.below_switch() && !support::identical(direct, swapped);
        const float otherComplement = 1.0f - betacf(b, a, static_cast<double>(1.0f - row.x)) * factor / row.b;
        complementMattered += !row.below_switch() && !support::identical(swapped, otherComplement);
    }
    EXPECT_GT(choiceMattered, 0) << "no row shows whether the switch point is rounded";
    EXPECT_GT(complementMattered, 0) << "no row shows whether 1 - x is rounded";
}

TEST(Betacf, KeepsItsStatedError) {
    WorstError converged("betacf, relative, a and b up to 30000");
    WorstError slow("betacf, relative, a or b of 100000");
    WorstError lost("betacf, relative, a or b of 1000000");
    for (const Row& row : rows_of_betai()) {
        const double a = row.all[0];
        const double b = row.all[1];
        const double x = row.all[2];
        WorstError& error = row.largest() <= 3e4 ? converged : row.largest() <= 1e5 ? slow : lost;
        error.relative(row.fraction, row.below_switch() ? betacf(a, b, x) : betacf(b, a, 1.0 - x), row.all);
    }
    converged.expect_within(4.7e-7);
    slow.expect_within(2.3e-4);
    lost.expect_within(0.12);
}

// 1/(1 + d1/(1 + d2/(1 + ... + d200))), from the end.
double hundred_steps(double a, double b, double x) {
    long double tail = 1.0L;
    for (int m = 100; m >= 1; --m) {
        const long double odd = -(a + m) * (a + b + m) * x / ((a + 2.0L * m) * (a + 2.0L * m + 1));
        const long double even = m * (b - m) * x / ((a + 2.0L * m - 1) * (a + 2.0L * m));
        tail = 1.0L + even / (1.0L + odd / tail);
    }
    return static_cast<double>(1.0L / (1.0L - (a + b) * x / (a + 1.0L) / tail));
}

TEST(Betacf, WithoutConvergenceTheHundredthStepIsTheResult) {
    for (const double order : {1e5, 1e6, 1e8}) {
        const double reached = hundred_steps(order, order, 0.5);
        EXPECT_NEAR(betacf(order, order, 0.5) / reached, 1.0, 1e-6) << order;
    }
    EXPECT_GT(hundred_steps(1e6, 1e6, 0.5) / 1772.45407, 1.1) << "far from the fraction's value";
}

TEST(Betacf, AZeroDenominatorIsReplaced) {
    // 1 - (a + b) x / (a + 1) is exactly 0; the fraction of I_x(1, 3) = 1 - (1 - x)^3 follows from its factor.
    EXPECT_NEAR(betacf(1.0, 3.0, 0.5), 14.0 / 3.0, 3e-6);
}

TEST(Betacf, AZeroOnTheWayIsReplacedInEachOfItsFourPlaces) {
    // Each of these meets an exact 0 in one place only; the fractions' values follow from I_x (mpmath).
    EXPECT_NEAR(betacf(7.0, 4.0, 0.75) / 12.4, 1.0, 3e-7);                 // the even step's denominator
    EXPECT_NEAR(betacf(4.25, 22.75, 0.625) / 1631859.41302039, 1.0, 3e-7); // its numerator
    EXPECT_NEAR(betacf(16.0, 22.0, 0.5) / 17.8899141943434, 1.0, 3e-7);    // the odd step's denominator
    EXPECT_NEAR(betacf(5.0, 16.0, 0.5) / 134.465944272446, 1.0, 3e-7);     // its numerator
}

TEST(Betacf, ArgumentsAreDouble) {
    // 1 - x of single precision would be 1 - 2^-24 at the nearest.
    const double x = 1.0 - 1e-12;
    EXPECT_NEAR(betacf(1.0, 1.0, 1e-12), 1.0, 1e-7);
    EXPECT_NEAR(betacf(0.5, 1.0, x) / (1.0 / (1.0 - x)), 1.0, 1e-3);
}

TEST(Invbetai, KnownValues) {
    EXPECT_NEAR(invbetai(0.5, 2.0, 2.0), 0.5, 1e-6);
    for (const double p : {0.01, 0.3, 0.5, 0.8, 0.99}) {
        EXPECT_NEAR(invbetai(p, 1.0, 1.0), p, 3e-7);
        EXPECT_NEAR(invbetai(p, 2.0, 1.0), std::sqrt(p), 3e-7);
        EXPECT_NEAR(invbetai(p, 0.5, 0.5), std::pow(std::sin(p * 3.14159265358979324 / 2.0), 2), 3e-7);
    }
}

TEST(Invbetai, TheEndsAreExact) {
    for (const double a : {0.5, 2.0, 50.0}) {
        for (const double b : {0.5, 2.0, 50.0}) {
            EXPECT_EQ(invbetai(0.0, a, b), 0.0);
            EXPECT_EQ(invbetai(-3.0, a, b), 0.0);
            EXPECT_EQ(invbetai(1.0, a, b), 1.0);
            EXPECT_EQ(invbetai(7.0, a, b), 1.0);
        }
    }
}

TEST(Invbetai, KeepsItsStatedErrors) {
    WorstError body("invbetai, absolute, a and b from 0.5, p from 1e-6 to 0.975");
    WorstError upper("invbetai, absolute, a and b from 0.5, p up to 0.999");
    WorstError small("invbetai, absolute, a and b from 0.1, p from 1e-6 to 0.999");
    WorstError end("invbetai, absolute, a and b from 0.1, p of 0.99999");
    WorstError relativeLower("invbetai, relative, a and b from 1, p from 1e-6 to 0.5");
    WorstError relative("invbetai, relative, a and b from 1, p up to 0.999");
    for (const auto& row : support::read_table("beta_inverse.txt", 4)) {
        const double p = row[0];
        const double least = std::min(row[1], row[2]);
        const double x = invbetai(p, row[1], row[2]);
        if (p < 1e-6) {
            continue;
        }
        if (p > 0.999) {
            end.absolute(row[3], x, row);
            continue;
        }
        small.absolute(row[3], x, row);
        if (least >= 0.5) {
            (p <= 0.975 ? body : upper).absolute(row[3], x, row);
        }
        if (least >= 1.0) {
            (p <= 0.5 ? relativeLower : relative).relative(row[3], x, row);
        }
    }
    body.expect_within(3.0e-7);
    upper.expect_within(1.3e-6);
    small.expect_within(4.2e-6);
    end.expect_within(1.1e-4);
    relativeLower.expect_within(1.4e-7);
    relative.expect_within(3.5e-6);
}

double squared_in_single(double x) {
    const float rounded = static_cast<float>(x);
    return static_cast<double>(rounded * rounded);
}

double squared_in_double(double x) {
    return x * x;
}

// The guess and the Halley steps, up to ten of them, that end with the first but one or later step below 1e-8 x.
double ten_halley_steps(double p, double a, double b, double (*squared)(double)) {
    double x = 0.0;
    if (std::min(a, b) >= 1.0) {
        const double t = std::sqrt(-2.0 * std::log(p < 0.5 ? p : 1.0 - p));
        const double upper = (2.30753 + 0.27061 * t) / (1.0 + t * (0.99229 + 0.04481 * t)) - t;
        const double normal = p < 0.5 ? -upper : upper;
        const double al = (squared(normal) - 3.0) / 6.0;
        const double ra = 1.0 / (2.0 * a - 1.0);
        const double rb = 1.0 / (2.0 * b - 1.0);
        const double h = 2.0 / (ra + rb);
        const double w = normal * std::sqrt(al + h) / h - (rb - ra) * (al + 5.0 / 6.0 - 2.0 / (3.0 * h));
        x = a / (a + b * std::exp(2.0 * w));
    } else {
        const double t = std::exp(a * std::log(a / (a + b))) / a;
        const double w = t + std::exp(b * std::log(b / (a + b))) / b;
        x = p < t / w ? std::pow(a * w * p, 1.0 / a) : 1.0 - std::pow(b * w * (1.0 - p), 1.0 / b);
    }
    const double logFactor = gammln(a + b) - gammln(a) - gammln(b);
    for (int steps = 0; steps < 10 && x != 0.0 && x != 1.0; ++steps) {
        const float reached = betai(static_cast<float>(a), static_cast<float>(b), static_cast<float>(x));
        const double density = std::exp((a - 1.0) * std::log(x) + (b - 1.0) * std::log(1.0 - x) + logFactor);
        const double u = (static_cast<double>(reached) - p) / density;
        const double curvature = u * ((a - 1.0) / x - (b - 1.0) / (1.0 - x));
        const double step = u / (1.0 - 0.5 * (curvature >= 1.0 ? 1.0 : curvature));
        x -= step;
        x = x <= 0.0 ? 0.5 * (x + step) : x;
        x = x >= 1.0 ? 0.5 * (x + step + 1.0) : x;
        if (steps > 0 && std::abs(step) < 1.0e-8 * x) {
            break;
        }
    }
    return x;
}

TEST(Invbetai, GuessesWithASquareInSinglePrecisionAndRefinesInDouble) {
    int mattered = 0;
    for (const auto& row : support::read_table("beta_inverse.txt", 4)) {
        const double x = invbetai(row[0], row[1], row[2]);
        const double expected = ten_halley_steps(row[0], row[1], row[2], squared_in_single);
        if (std::isnan(expected)) { // far tails
            EXPECT_TRUE(std::isnan(x));
            EXPECT_LE(row[0], 1e-10);
            continue;
        }
        ASSERT_EQ(x, expected) << "p " << row[0] << " a " << row[1] << " b " << row[2];
        mattered += x != ten_halley_steps(row[0], row[1], row[2], squared_in_double);
    }
    EXPECT_GT(mattered, 0) << "no row shows how the square is rounded";
}

TEST(Invbetai, AStepBelowZeroIsHalved) {
    const double x = invbetai(0.4066, 0.0064, 0.032);
    EXPECT_GT(x, 0.0);
    EXPECT_EQ(x, ten_halley_steps(0.4066, 0.0064, 0.032, squared_in_single));
}

TEST(Invbetai, TenRefinementsDoNotReachFarTails) {
    const double x = invbetai(1e-20, 100.0, 1.0); // the true one is 10^-0.2
    EXPECT_GT(x, 0.0);
    EXPECT_LT(x, 0.1);
}

TEST(Invbetai, AGuessOnTheEndItselfStays) {
    EXPECT_EQ(invbetai(1e-20, 0.001, 1.0), 0.0);
    EXPECT_EQ(invbetai(1.0 - 1e-16, 1.0, 0.001), 1.0);
}

TEST(Invbetai, BelowSinglePrecisionTheGuessIsRefinedOnZeros) {
    const double x = invbetai(1e-6, 0.1, 0.1); // the true one is 8.9e-58, which betai sees as 0
    EXPECT_GT(x, 1e-50);
    EXPECT_LT(x, 1e-40);
}

TEST(Invbetai, BadOrdersSurfaceInBetai) {
    EXPECT_FATAL(invbetai(0.5, 0.0, 1.0), "Bad a or b in routine betai");
    EXPECT_FATAL(invbetai(0.5, 1.0, -1.0), "Bad a or b in routine betai");
}

TEST(Invbetai, NotANumberComesBack) {
    EXPECT_TRUE(std::isnan(invbetai(std::numeric_limits<double>::quiet_NaN(), 2.0, 2.0)));
}

} // namespace
