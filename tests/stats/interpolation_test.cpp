#include "stats/interpolation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/bits.h"

using support::GuardedVector;
using support::Random;
using support::same_bits;

namespace {

using Floats = std::vector<float>;
using SplineFunction = void (*)(float*, float*, int, float, float, float*);

constexpr float natural = 1e30f;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

testing::AssertionResult same_values(const Floats& expected, const Floats& found) {
    if (expected.size() != found.size()) {
        return testing::AssertionFailure() << expected.size() << " values expected, got " << found.size();
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (!support::identical(expected[i], found[i])) {
            return support::first_mismatch("index " + std::to_string(i), expected[i], found[i]);
        }
    }
    return testing::AssertionSuccess();
}

Floats run_spline(SplineFunction function, Floats x, Floats y, float yp1 = natural, float ypn = natural) {
    const Floats xBefore = x;
    const Floats yBefore = y;
    GuardedVector y2(0, static_cast<int>(x.size()));
    function(x.data(), y.data(), static_cast<int>(x.size()), yp1, ypn, y2.handle());
    EXPECT_TRUE(y2.frame_untouched());
    EXPECT_EQ(x, xBefore);
    EXPECT_EQ(y, yBefore);
    return Floats(y2.handle(), y2.handle() + x.size());
}

Floats grid(std::size_t n) {
    Floats x;
    for (std::size_t i = 0; i < n; ++i) {
        x.push_back(static_cast<float>(i));
    }
    return x;
}

// Ascending with random steps, and random values.
struct Points {
    Floats x;
    Floats y;
};

Points random_points(std::size_t n, Random& random) {
    Points points;
    float x = random.between(-5.0f, 5.0f);
    for (std::size_t i = 0; i < n; ++i) {
        points.x.push_back(x);
        points.y.push_back(random.between(-10.0f, 10.0f));
        x += random.between(0.1f, 2.0f);
    }
    return points;
}

// Each abscissa two to five times the one before: a float cannot hold their differences.
Points growing_points(std::size_t n, Random& random) {
    Points points;
    float x = random.between(0.001f, 0.01f);
    for (std::size_t i = 0; i < n; ++i) {
        points.x.push_back(x);
        points.y.push_back(random.between(-10.0f, 10.0f));
        x *= random.between(2.0f, 5.0f);
    }
    return points;
}

// First variant, written forwards from the stored coefficients y2[i] = c[i] y2[i+1] + u[i], float at each step.
Floats plain_spline(const Points& points, float yp1, float ypn) {
    const Floats& x = points.x;
    const Floats& y = points.y;
    const std::size_t n = x.size();
    Floats c{0.0f};
    Floats u{0.0f};
    if (yp1 <= 9e29f) {
        const float three = 3.0f / (x[1] - x[0]);
        const float slope = (y[1] - y[0]) / (x[1] - x[0]);
        c[0] = -0.5f;
        u[0] = three * (slope - yp1);
    }
    for (std::size_t i = 1; i + 1 < n; ++i) {
        const float before = x[i] - x[i - 1];
        const float after = x[i + 1] - x[i];
        const float sig = before / after;
        const float product = sig * c[i - 1];
        const float p = product + 2.0f;
        const float less = sig - 1.0f;
        c.push_back(less / p);
        const float slopeAfter = (y[i + 1] - y[i]) / after;
        const float slopeBefore = (y[i] - y[i - 1]) / before;
        const float six = 6.0f * (slopeAfter - slopeBefore);
        const float first = six / (x[i + 1] - x[i - 1]);
        const float second = sig * u[i - 1];
        u.push_back((first - second) / p);
    }
    Floats y2(n, 0.0f);
    if (ypn <= 9e29f) {
        const float width = x[n - 1] - x[n - 2];
        const float slope = (y[n - 1] - y[n - 2]) / width;
        const float un = (3.0f / width) * (ypn - slope);
        const float upper = un - 0.5f * u[n - 2];
        const float lower = 0.5f * c[n - 2] + 1.0f;
        y2[n - 1] = upper / lower;
    }
    for (std::size_t i = n - 1; i-- > 0;) {
        y2[i] = c[i] * y2[i + 1] + u[i];
    }
    return y2;
}

// Second variant: the same with the textbook's ratio, and double where the constants 2, 1, 3 and 6 stand.
Floats plain_spline_rg(const Points& points, float yp1, float ypn) {
    const Floats& x = points.x;
    const Floats& y = points.y;
    const std::size_t n = x.size();
    Floats c{0.0f};
    Floats u{0.0f};
    if (yp1 <= 9e29f) {
        const float slope = (y[1] - y[0]) / (x[1] - x[0]);
        const double three = 3.0 / (static_cast<double>(x[1]) - static_cast<double>(x[0]));
        c[0] = -0.5f;
        u[0] = static_cast<float>(three * static_cast<double>(slope - yp1));
    }
    for (std::size_t i = 1; i + 1 < n; ++i) {
        const float sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
        const double wideSig = static_cast<double>(sig);
        const double p = static_cast<double>(static_cast<float>(wideSig * static_cast<double>(c[i - 1]) + 2.0));
        c.push_back(static_cast<float>((wideSig - 1.0) / p));
        const float slopeAfter = (y[i + 1] - y[i]) / (x[i + 1] - x[i]);
        const float slopeBefore = (y[i] - y[i - 1]) / (x[i] - x[i - 1]);
        const float bend = slopeAfter - slopeBefore;
        const double width = static_cast<double>(x[i + 1]) - static_cast<double>(x[i - 1]);
        const double right = 6.0 * static_cast<double>(bend) / width - wideSig * static_cast<double>(u[i - 1]);
        u.push_back(static_cast<float>(right / p));
    }
    Floats y2(n, 0.0f);
    if (ypn <= 9e29f) {
        const float slope = (y[n - 1] - y[n - 2]) / (x[n - 1] - x[n - 2]);
        const double three = 3.0 / (static_cast<double>(x[n - 1]) - static_cast<double>(x[n - 2]));
        const float un = static_cast<float>(three * static_cast<double>(ypn - slope));
        const double lower = static_cast<double>(0.5f * c[n - 2]) + 1.0;
        y2[n - 1] = static_cast<float>(static_cast<double>(un - 0.5f * u[n - 2]) / lower);
    }
    for (std::size_t i = n - 1; i-- > 0;) {
        y2[i] = c[i] * y2[i + 1] + u[i];
    }
    return y2;
}

float run_splint(Floats xa, Floats ya, Floats y2a, float x) {
    float y = -77.0f;
    splint(xa.data(), ya.data(), y2a.data(), static_cast<int>(xa.size()), x, &y);
    return y;
}

float run_splint_rg(Floats xa, Floats ya, Floats y2a, float x) {
    float y = -77.0f;
    splint_rg(xa.data(), ya.data(), y2a.data(), static_cast<int>(xa.size()), x, &y);
    return y;
}

// The cubic between points k and k + 1, float at each step.
float plain_cubic(const Points& points, const Floats& y2, std::size_t k, float x) {
    const float h = points.x[k + 1] - points.x[k];
    const float a = (points.x[k + 1] - x) / h;
    const float b = (x - points.x[k]) / h;
    const float linear = a * points.y[k] + b * points.y[k + 1];
    const float left = (a * a * a - a) * y2[k];
    const float right = (b * b * b - b) * y2[k + 1];
    const float squared = h * h;
    return linear + (left + right) * squared / 6.0f;
}

// The cubic term in double, with what stands for the square of the interval's width.
float cubic_rg(const Points& points, const Floats& y2, std::size_t k, float x, double squared) {
    const float h = points.x[k + 1] - points.x[k];
    const float a = (points.x[k + 1] - x) / h;
    const float b = (x - points.x[k]) / h;
    const double wa = static_cast<double>(a);
    const double wb = static_cast<double>(b);
    const double left = (wa * wa * wa - wa) * static_cast<double>(y2[k]);
    const double right = (wb * wb * wb - wb) * static_cast<double>(y2[k + 1]);
    return static_cast<float>(static_cast<double>(a * points.y[k] + b * points.y[k + 1]) +
                              (left + right) * squared / 6.0);
}

float plain_cubic_rg(const Points& points, const Floats& y2, std::size_t k, float x) {
    const float h = points.x[k + 1] - points.x[k];
    return cubic_rg(points, y2, k, x, static_cast<double>(h) * static_cast<double>(h));
}

Floats run_interp(Floats x, Floats y, Floats xnew) {
    GuardedVector ynew(0, static_cast<int>(xnew.size()));
    interp(x.data(), y.data(), static_cast<int>(x.size()), xnew.data(), static_cast<int>(xnew.size()), ynew.handle());
    EXPECT_TRUE(ynew.frame_untouched());
    return Floats(ynew.handle(), ynew.handle() + xnew.size());
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// spline, spline_rg

TEST(Spline, TheFirstVariantHasItsOwnDenominator) {
    // On a uniform grid the ratio is 1 in place of 1/2: no elimination, and other second derivatives. By hand for 0, 1,
    // 4, 9: u = 0, 3, 1.5, factors 0.
    EXPECT_EQ(run_spline(spline, grid(4), {0, 1, 4, 9}), (Floats{0.0f, 3.0f, 1.5f, 0.0f}));
}

TEST(SplineRg, HasTheTextbooksDenominator) {
    // Natural cubic spline of 0, 1, 4, 9: 4 a + b = 12 = a + 4 b at the inner points.
    const Floats y2 = run_spline(spline_rg, grid(4), {0, 1, 4, 9});
    EXPECT_EQ(y2[0], 0.0f);
    EXPECT_NEAR(y2[1], 2.4f, 1e-6);
    EXPECT_NEAR(y2[2], 2.4f, 1e-6);
    EXPECT_EQ(y2[3], 0.0f);
}

TEST(Spline, MatchesThePlainStepsBitForBit) {
    Random random(1);
    for (std::size_t n = 2; n <= 200; ++n) {
        const Points points = random_points(n, random);
        for (const float yp1 : {natural, random.between(-5.0f, 5.0f)}) {
            for (const float ypn : {natural, random.between(-5.0f, 5.0f)}) {
                ASSERT_TRUE(
                    same_values(plain_spline(points, yp1, ypn), run_spline(spline, points.x, points.y, yp1, ypn)))
                    << n;
            }
        }
    }
}

TEST(SplineRg, MatchesThePlainStepsBitForBit) {
    Random random(2);
    for (std::size_t n = 2; n <= 200; ++n) {
        const Points points = random_points(n, random);
        for (const float yp1 : {natural, random.between(-5.0f, 5.0f)}) {
            for (const float ypn : {natural, random.between(-5.0f, 5.0f)}) {
                ASSERT_TRUE(
                    same_values(plain_spline_rg(points, yp1, ypn), run_spline(spline_rg, points.x, points.y, yp1, ypn)))
                    << n;
            }
        }
    }
}

TEST(SplineRg, TheQuotientAtAClampedEndIsFormedInDouble) {
    Random random(9);
    const auto quotient_times = [](double width, float difference) {
        return static_cast<float>(3.0 / width * static_cast<double>(difference));
    };
    int floatWidths = 0;
    for (int run = 0; run < 200; ++run) {
        // Two points have two ends and nothing between them: y2[0] = -y2[1] / 2 + u.
        const Points points = growing_points(2, random);
        const float yp1 = random.between(-5.0f, 5.0f);
        const float ypn = random.between(-5.0f, 5.0f);
        const double width = static_cast<double>(points.x[1]) - static_cast<double>(points.x[0]);
        const float slope = (points.y[1] - points.y[0]) / (points.x[1] - points.x[0]);
        const float u = quotient_times(width, slope - yp1);
        const float un = quotient_times(width, ypn - slope);
        const float last = static_cast<float>(static_cast<double>(un - 0.5f * u) / 0.75); // 1 - 1/2 * 1/2
        ASSERT_TRUE(same_values({-0.5f * last + u, last}, run_spline(spline_rg, points.x, points.y, yp1, ypn))) << run;
        const double floatWidth = static_cast<double>(points.x[1] - points.x[0]);
        floatWidths += quotient_times(floatWidth, slope - yp1) != u ? 1 : 0;
        floatWidths += quotient_times(floatWidth, ypn - slope) != un ? 1 : 0;
        // And with all the steps between the ends.
        const Points more = growing_points(static_cast<std::size_t>(3 + random.below(20)), random);
        ASSERT_TRUE(same_values(plain_spline_rg(more, yp1, ypn), run_spline(spline_rg, more.x, more.y, yp1, ypn)))
            << run;
    }
    EXPECT_GT(floatWidths, 50);
}

TEST(SplineRg, TheSlopesOfNeighbouringCubicsAgree) {
    // What defines a cubic spline: h y2 / 6 + ... = difference of slopes, at every inner point.
    Random random(3);
    const Points points = random_points(60, random);
    const Floats y2 = run_spline(spline_rg, points.x, points.y);
    EXPECT_EQ(y2.front(), 0.0f);
    EXPECT_EQ(y2.back(), 0.0f);
    for (std::size_t i = 1; i + 1 < y2.size(); ++i) {
        const double before = points.x[i] - points.x[i - 1];
        const double after = points.x[i + 1] - points.x[i];
        const double bend = (points.y[i + 1] - points.y[i]) / after - (points.y[i] - points.y[i - 1]) / before;
        EXPECT_NEAR(before / 6 * y2[i - 1] + (before + after) / 3 * y2[i] + after / 6 * y2[i + 1], bend,
                    1e-4 + 1e-5 * std::abs(bend))
            << i;
    }
}

TEST(SplineRg, AClampedSplineReproducesACubic) {
    // y = x^3 with its slopes at both ends: y'' = 6 x.
    Floats x{-1.0f, -0.25f, 0.5f, 0.75f, 1.5f, 2.0f};
    Floats y;
    for (const float value : x) {
        y.push_back(value * value * value);
    }
    const Floats y2 = run_spline(spline_rg, x, y, 3.0f, 12.0f);
    for (std::size_t i = 0; i < x.size(); ++i) {
        EXPECT_NEAR(y2[i], 6.0f * x[i], 2e-5) << i;
    }
}

TEST(Spline, AnEndIsNaturalAbove9Point9E29) {
    const double limit = 9.9e29;
    float above = static_cast<float>(limit);
    if (static_cast<double>(above) <= limit) {
        above = std::nextafter(above, 1e38f);
    }
    const float below = std::nextafter(above, 0.0f);
    ASSERT_LE(static_cast<double>(below), limit);
    for (const SplineFunction function : {spline, spline_rg}) {
        EXPECT_EQ(run_spline(function, grid(4), {0, 1, 4, 9}, above, above),
                  run_spline(function, grid(4), {0, 1, 4, 9}, natural, natural));
        const Floats clamped = run_spline(function, grid(4), {0, 1, 4, 9}, below, below);
        EXPECT_LT(clamped[0], -1e29f);
        EXPECT_GT(clamped[3], 1e29f);
    }
}

TEST(Spline, EachEndHasItsOwnCondition) {
    for (const SplineFunction function : {spline, spline_rg}) {
        EXPECT_NE(run_spline(function, grid(4), {0, 1, 4, 9}, 7.0f, natural)[0], 0.0f);
        EXPECT_EQ(run_spline(function, grid(4), {0, 1, 4, 9}, 7.0f, natural)[3], 0.0f);
        EXPECT_EQ(run_spline(function, grid(4), {0, 1, 4, 9}, natural, 7.0f)[0], 0.0f);
        EXPECT_NE(run_spline(function, grid(4), {0, 1, 4, 9}, natural, 7.0f)[3], 0.0f);
    }
}

TEST(Spline, FewerThanTwoPointsHaveNoCurvature) {
    for (const SplineFunction function : {spline, spline_rg}) {
        EXPECT_EQ(run_spline(function, {3}, {4}, 1.0f, 1.0f), Floats{0.0f});
        GuardedVector y2(0, 1);
        function(nullptr, nullptr, 0, natural, natural, y2.handle());
        function(nullptr, nullptr, -3, natural, natural, y2.handle());
        EXPECT_TRUE(y2.untouched());
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// splint

TEST(Splint, ReturnsTheValuesAtThePoints) {
    Random random(4);
    const Points points = random_points(40, random);
    const Floats y2 = run_spline(spline, points.x, points.y);
    for (std::size_t k = 0; k + 1 < points.x.size(); ++k) {
        EXPECT_EQ(run_splint(points.x, points.y, y2, points.x[k]), points.y[k]) << k;
    }
}

TEST(Splint, MatchesThePlainCubicBitForBit) {
    Random random(5);
    const Points points = random_points(40, random);
    const Floats y2 = run_spline(spline, points.x, points.y);
    for (std::size_t k = 0; k + 1 < points.x.size(); ++k) {
        for (int i = 0; i < 50; ++i) {
            const float x = random.between(points.x[k], points.x[k + 1]);
            if (x < points.x[k + 1]) {
                ASSERT_TRUE(same_bits(plain_cubic(points, y2, k, x), run_splint(points.x, points.y, y2, x))) << k;
            }
        }
    }
}

TEST(Splint, ScansDownFromTheLastPoint) {
    // Out of order: the scan from the end finds 1 <= 1.5 first, where halving would have stepped below the 5.
    EXPECT_EQ(run_splint({0, 5, 1, 2}, {10, 20, 30, 40}, {0, 0, 0, 0}, 1.5f), 35.0f);
    // Of two equal abscissae the later one counts.
    EXPECT_EQ(run_splint({0, 1, 1, 2}, {10, 20, 30, 40}, {0, 0, 0, 0}, 1.0f), 30.0f);
}

TEST(Splint, OutsideTheDataTheFirstAndTheLastIntervalGoOn) {
    Random random(6);
    const Points points = random_points(5, random);
    const Floats y2 = run_spline(spline, points.x, points.y);
    for (const float x : {points.x[4], points.x[4] + 0.5f, points.x[4] + 100.0f}) {
        EXPECT_TRUE(same_bits(plain_cubic(points, y2, 3, x), run_splint(points.x, points.y, y2, x))) << x;
    }
    for (const float x : {points.x[0] - 0.5f, points.x[0] - 100.0f}) {
        EXPECT_TRUE(same_bits(plain_cubic(points, y2, 0, x), run_splint(points.x, points.y, y2, x))) << x;
    }
    EXPECT_TRUE(std::isnan(run_splint(points.x, points.y, y2, notANumber)));
}

TEST(Splint, FewerThanTwoPointsHaveNoInterval) {
    EXPECT_EQ(run_splint({3}, {4}, {9}, 100.0f), 4.0f);
    EXPECT_EQ(run_splint({}, {}, {}, 1.0f), 0.0f);
}

// ---------------------------------------------------------------------------------------------------------------------
// splint_rg

TEST(SplintRg, InterpolatesBetweenTheIndicesAroundX) {
    // Straight line between indices 2 and 3, far from the other values.
    EXPECT_EQ(run_splint_rg(grid(5), {99, 99, 4, 8, 99}, {9, 9, 0, 0, 9}, 2.5f), 6.0f);
    // With second derivatives 8 and 16: (1/8 - 1/2) (8 + 16) / 6 = -1.5.
    EXPECT_EQ(run_splint_rg(grid(5), {99, 99, 4, 8, 99}, {9, 9, 8, 16, 9}, 2.5f), 4.5f);
}

TEST(SplintRg, MatchesThePlainCubicBitForBit) {
    Random random(7);
    for (int run = 0; run < 40; ++run) {
        Points points = random_points(20, random);
        points.x = grid(20);
        const Floats y2 = run_spline(spline_rg, points.x, points.y);
        for (int i = 0; i < 200; ++i) {
            const float x = random.between(0.0f, 19.0f);
            const std::size_t k = static_cast<std::size_t>(x);
            if (k < 19) {
                ASSERT_TRUE(same_bits(plain_cubic_rg(points, y2, k, x), run_splint_rg(points.x, points.y, y2, x))) << x;
            }
        }
    }
}

TEST(SplintRg, SquaresTheWidthOfTheIntervalInDouble) {
    // The formula reads the abscissae, so that any width can stand in it.
    Random random(10);
    int floatSquares = 0;
    for (int run = 0; run < 40; ++run) {
        const Points points = random_points(20, random);
        Floats y2;
        for (int i = 0; i < 20; ++i) {
            y2.push_back(random.between(-10.0f, 10.0f));
        }
        for (std::size_t k = 0; k < 19; ++k) {
            const float x = static_cast<float>(k) + random.between(0.0f, 0.9f);
            const float expected = plain_cubic_rg(points, y2, k, x);
            ASSERT_TRUE(same_bits(expected, run_splint_rg(points.x, points.y, y2, x))) << k;
            const float h = points.x[k + 1] - points.x[k];
            floatSquares += cubic_rg(points, y2, k, x, static_cast<double>(h * h)) != expected ? 1 : 0;
        }
    }
    EXPECT_GT(floatSquares, 50);
}

TEST(SplintRg, TruncatesTowardZero) {
    // So a little below 0 the first interval goes on.
    EXPECT_EQ(run_splint_rg(grid(3), {10, 20, 40}, {0, 0, 0}, -0.5f), 5.0f);
}

TEST(SplintRg, ReadsTheAbscissaeAndNotTheIndices) {
    // The interval comes from the index, its ends from the array.
    EXPECT_EQ(run_splint_rg({0, 1, 3, 4}, {0, 10, 20, 90}, {0, 0, 0, 0}, 1.5f), 12.5f);
}

TEST(SplintRg, WithoutAnIntervalTheValueIsZero) {
    const float inf = std::numeric_limits<float>::infinity();
    for (const float x : {-1.0f, -7.0f, 2.0f, 2.5f, 100.0f, 3e9f, -3e9f, inf, -inf, notANumber}) {
        EXPECT_EQ(run_splint_rg(grid(3), {10, 20, 40}, {1, 2, 3}, x), 0.0f) << x;
    }
    EXPECT_EQ(run_splint_rg({0}, {5}, {0}, 0.0f), 0.0f);
    EXPECT_EQ(run_splint_rg({}, {}, {}, 0.0f), 0.0f);
}

// ---------------------------------------------------------------------------------------------------------------------
// interp

TEST(Interp, TheLastOutputsHoldTheLastValue) {
    // 8 = 2 * 4: two outputs, whatever their abscissae are.
    const Floats found = run_interp(grid(4), {0, 1, 4, 9}, {0, 0.5f, 1, 1.5f, 2, 2.5f, notANumber, -1000.0f});
    EXPECT_NE(found[5], 9.0f);
    EXPECT_EQ(found[6], 9.0f);
    EXPECT_EQ(found[7], 9.0f);
}

TEST(Interp, HoldsAnIntegerQuotientOfTheCounts) {
    const Floats straight{0, 10, 20, 30};
    EXPECT_EQ(run_interp(grid(4), straight, {1, 1, 1}), (Floats{10, 10, 10}));        // 3 / 4: none
    EXPECT_EQ(run_interp(grid(4), straight, {1, 1, 1, 1}), (Floats{10, 10, 10, 30})); // one
    EXPECT_EQ(run_interp(grid(4), straight, {1, 1, 1, 1, 1, 1, 1}), (Floats{10, 10, 10, 10, 10, 10, 30})); // 7 / 4
}

TEST(Interp, UsesTheFirstVariantWithNaturalEndsBitForBit) {
    Random random(8);
    const Points points = random_points(30, random);
    Floats xnew;
    for (int i = 0; i < 95; ++i) {
        xnew.push_back(random.between(points.x.front(), points.x.back()));
    }
    const Floats found = run_interp(points.x, points.y, xnew);
    const Floats y2 = plain_spline(points, natural, natural);
    for (std::size_t i = 0; i < 92; ++i) {
        std::size_t k = 0;
        while (points.x[k + 1] <= xnew[i]) {
            ++k;
        }
        EXPECT_TRUE(same_bits(plain_cubic(points, y2, k, xnew[i]), found[i])) << i;
    }
    for (std::size_t i = 92; i < 95; ++i) {
        EXPECT_EQ(found[i], points.y.back()) << i;
    }
}

TEST(Interp, OnePointGivesItsValueEverywhere) {
    EXPECT_EQ(run_interp({3}, {7}, {-1, 3, 9}), (Floats{7, 7, 7}));
}

TEST(Interp, NoPointsOrNoNewPointsWriteNothing) {
    float x[] = {0, 1, 2};
    GuardedVector ynew(0, 2);
    interp(nullptr, nullptr, 0, x, 2, ynew.handle());
    interp(nullptr, nullptr, -1, x, 2, ynew.handle());
    interp(x, x, 3, x, 0, ynew.handle());
    interp(x, x, 3, x, -7, ynew.handle());
    EXPECT_TRUE(ynew.untouched());
}
