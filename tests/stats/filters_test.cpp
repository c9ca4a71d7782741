#include "stats/filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/inverse.h"
#include "tests/support/bits.h"

using support::GuardedVector;
using support::Random;
using support::same_bits;

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// The outputs that were written; behind them sentinels must stand.
Floats run_decimation(Floats in, int d) {
    GuardedVector out(0, static_cast<int>(in.size()) + 1);
    filter_n_decimate(in.data(), out.handle(), static_cast<int>(in.size()), d);
    EXPECT_TRUE(out.frame_untouched());
    Floats written(out.handle(), out.handle() + in.size() + 1);
    while (!written.empty() && written.back() == support::GuardedMatrix::sentinel()) {
        written.pop_back();
    }
    return written;
}

// The values as bits: 0 and -0 differ.
testing::AssertionResult same_values(const Doubles& expected, const Doubles& found) {
    for (std::size_t i = 0; i < std::max(expected.size(), found.size()); ++i) {
        if (i >= expected.size() || i >= found.size() || std::memcmp(&expected[i], &found[i], sizeof(double)) != 0) {
            return testing::AssertionFailure() << "first mismatch at " << i;
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult same_values(const Floats& expected, const Floats& found) {
    for (std::size_t i = 0; i < std::max(expected.size(), found.size()); ++i) {
        if (i >= expected.size() || i >= found.size() || !support::identical(expected[i], found[i])) {
            return testing::AssertionFailure() << "first mismatch at " << i;
        }
    }
    return testing::AssertionSuccess();
}

Doubles run_lpfilt(const Doubles& values, int w) {
    const double guard = -12345.0;
    Doubles x{guard, guard};
    x.insert(x.end(), values.begin(), values.end());
    x.insert(x.end(), 2, guard);
    lpfilt(x.data() + 2, static_cast<int>(values.size()), w);
    EXPECT_EQ(x[0], guard);
    EXPECT_EQ(x[1], guard);
    EXPECT_EQ(x[x.size() - 2], guard);
    EXPECT_EQ(x.back(), guard);
    return Doubles(x.begin() + 2, x.end() - 2);
}

Floats run_remacf(const Floats& values, int p, int ignored = 0) {
    GuardedVector data(1, values);
    remacf(data.handle(), ignored, static_cast<int>(values.size()), p);
    EXPECT_TRUE(data.frame_untouched());
    return Floats(data.handle() + 1, data.handle() + 1 + values.size());
}

// The residual of sample s (from 1) in window t, with lags from the newest sample backwards.
float plain_residual(const Floats& values, long s, long t, long p) {
    const auto sample = [&](long i) { return i >= 1 ? values[static_cast<std::size_t>(i - 1)] : 0.0f; };
    float** lagged = matrix(0, p - 1, 0, p - 1);
    float** gram = matrix(0, p - 1, 0, p - 1);
    float** inverse = matrix(0, p - 1, 0, p - 1);
    float** predictor = matrix(0, p - 1, 0, p - 1);
    Floats target;
    for (long k = 0; k < p; ++k) {
        target.push_back(sample(t + 1 - k));
        for (long j = 0; j < p; ++j) {
            lagged[k][j] = sample(t - j - k);
        }
    }
    const int order = static_cast<int>(p);
    transposematrix_matrix_mult(lagged, gram, order, order);
    getInverseMatrixUsingSVD(gram, inverse, order, true);
    matrix_matrix_mult(inverse, lagged, predictor, order, order, order);
    const long j = t + 1 - s;
    float coefficient = 0.0f;
    for (long k = 0; k < p; ++k) {
        coefficient += predictor[j][k] * target[static_cast<std::size_t>(k)];
    }
    for (float** m : {lagged, gram, inverse, predictor}) {
        free_matrix(m, 0, p - 1, 0, p - 1);
    }
    return sample(s) - coefficient * sample(s);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// filter_n_decimate

TEST(FilterNDecimate, WithoutDecimationTheInputIsCopied) {
    const Floats in{1.5f, -0.0f, 3e38f, -7.0f, 1e-44f};
    EXPECT_TRUE(same_values(in, run_decimation(in, 1)));
}

TEST(FilterNDecimate, AveragesEverySampleWithThoseBeforeIt) {
    // Before sample 0 stands sample 1 again.
    EXPECT_EQ(run_decimation({1, 2, 4, 8, 16}, 2), (Floats{1.5f, 3.0f, 12.0f}));
    // Windows -2..0, 1..3, 4..6.
    EXPECT_EQ(run_decimation({1, 2, 6, 13, 20, 30, 40, 50}, 3), (Floats{3.0f, 7.0f, 30.0f}));
}

TEST(FilterNDecimate, MirrorsWithoutRepeatingTheFirstSample) {
    EXPECT_EQ(run_decimation({1000, 8, 16, 32, 0}, 4)[0], 264.0f); // (32 + 16 + 8 + 1000) / 4
}

TEST(FilterNDecimate, MirroredSamplesBeyondTheLastAreTheLast) {
    // d = 5 on three samples: positions 4, 3, 2, 1, 0.
    EXPECT_EQ(run_decimation({1, 2, 4}, 5), Floats{3.0f});
    EXPECT_EQ(run_decimation({3}, 7), Floats{3.0f});
}

TEST(FilterNDecimate, SumsInSinglePrecisionFromTheOldestSample) {
    // Ascending: (1e8 + 1) + 1 loses the ones; descending or in double they stay.
    EXPECT_EQ(run_decimation({0, 1e8f, 1, 1, -1e8f}, 4)[1], 0.0f);
    EXPECT_EQ(run_decimation({0, 1, 1, 1e8f, -1e8f}, 4)[1], 0.0f);
    EXPECT_EQ(run_decimation({0, 1e8f, -1e8f, 1, 1}, 4)[1], 0.5f);
}

TEST(FilterNDecimate, DividesTheSum) {
    // 1/3 as a factor would round differently for some of these.
    Random random(1);
    for (int run = 0; run < 200; ++run) {
        const Floats in{0, random.between(0.0f, 1.0f), random.between(0.0f, 1.0f), random.between(0.0f, 1.0f)};
        const float sum = in[1] + in[2] + in[3];
        EXPECT_TRUE(same_bits(sum / 3.0f, run_decimation(in, 3)[1]));
    }
}

TEST(FilterNDecimate, WritesTheQuotientOfTheCountsRoundedUp) {
    for (int n = 0; n <= 20; ++n) {
        for (int d = 1; d <= 25; ++d) {
            EXPECT_EQ(run_decimation(Floats(static_cast<std::size_t>(n), 1.0f), d),
                      Floats(static_cast<std::size_t>((n + d - 1) / d), 1.0f))
                << n << " " << d;
        }
    }
}

TEST(FilterNDecimate, AWidthBelowOneOrNoSamplesWriteNothing) {
    float in[] = {1, 2};
    GuardedVector out(0, 2);
    for (const int d : {0, -1, std::numeric_limits<int>::min()}) {
        filter_n_decimate(in, out.handle(), 2, d);
    }
    filter_n_decimate(in, out.handle(), 0, 2);
    filter_n_decimate(in, out.handle(), -5, 2);
    EXPECT_TRUE(out.untouched());
}

// ---------------------------------------------------------------------------------------------------------------------
// lpfilt

TEST(Lpfilt, AWidthOfOneChangesNothing) {
    const Doubles x{-0.0, 3.7, -0.0, 1e300, -5e-324};
    EXPECT_TRUE(same_values(x, run_lpfilt(x, 1)));
}

TEST(Lpfilt, TheWarmUpLeavesOutTheFirstSampleButCountsIt) {
    // 100; 6 / 2; (6 + 12) / 3; (6 + 12 + 18) / 4; then whole windows of four.
    const Doubles found = run_lpfilt({100, 6, 12, 18, 4, 2}, 4);
    EXPECT_EQ(found, (Doubles{100, 3, 6, 9, 10, 9}));
}

TEST(Lpfilt, MatchesThePlainSumsBitForBit) {
    Random random(2);
    for (int n = 1; n <= 40; ++n) {
        for (int w = 1; w <= n; ++w) {
            Doubles x;
            for (int i = 0; i < n; ++i) {
                x.push_back(static_cast<double>(random.between(-1.0f, 1.0f)) / 3.0);
            }
            Doubles expected{x[0]};
            for (int i = 1; i < n; ++i) {
                // The warm-up divides the sum, the steady state every term; both run from the newest sample back.
                const bool warm = i < w;
                const double divisor = warm ? i + 1 : w;
                const int oldest = warm ? 1 : i - w + 1;
                double sum = warm ? x[static_cast<std::size_t>(i)] : x[static_cast<std::size_t>(i)] / divisor;
                for (int j = i - 1; j >= oldest; --j) {
                    const double value = x[static_cast<std::size_t>(j)];
                    sum += warm ? value : value / divisor;
                }
                expected.push_back(warm ? sum / divisor : sum);
            }
            ASSERT_TRUE(same_values(expected, run_lpfilt(x, w))) << n << " " << w;
        }
    }
}

TEST(Lpfilt, EachTermIsDividedBeforeItIsAdded) {
    // The sum of two of these overflows; the sum of their halves does not.
    EXPECT_EQ(run_lpfilt({0, 0, 1.5e308, 1.5e308}, 2)[3], 1.5e308);
}

TEST(Lpfilt, TheWidthCountsAsOneBelowOneAndAsAllSamplesAbove) {
    const Doubles x{5, 1, 2, 3};
    for (const int w : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(run_lpfilt(x, w), x) << w;
    }
    for (const int w : {4, 5, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(run_lpfilt(x, w), (Doubles{5, 0.5, 1, 1.5})) << w;
    }
}

TEST(Lpfilt, NoSamplesDoNothing) {
    EXPECT_TRUE(run_lpfilt({}, 3).empty());
    lpfilt(nullptr, -2, 3);
}

// ---------------------------------------------------------------------------------------------------------------------
// remacf

TEST(Remacf, OrderOneTakesTheRatioToTheSampleBefore) {
    // Sample t + 1 is predicted by its ratio to sample t, times itself: x - (x / before) x.
    const Floats found = run_remacf({2, 4, 2, 8}, 1);
    EXPECT_NEAR(found[1], -4.0f, 1e-5);
    EXPECT_NEAR(found[2], 1.0f, 1e-5);
    EXPECT_NEAR(found[3], -24.0f, 1e-4);
}

TEST(Remacf, WithOrderOneNothingStandsBeforeTheFirstSample) {
    // A window of zeros has no inverse. Nothing else covers sample 1.
    EXPECT_TRUE(std::isnan(run_remacf({2, 4, 2, 8}, 1)[0]));
}

TEST(Remacf, TheCoefficientsSolveThePredictionOfTheWindow) {
    // p = 2, last window: samples 3 and 4 from (x3 x2; x2 x1), in double by Cramer's rule.
    const double x1 = 3, x2 = -1, x3 = 2, x4 = 5;
    const Floats found = run_remacf({3, -1, 2, 5}, 2);
    const double determinant = x3 * x1 - x2 * x2;
    const double c0 = (x4 * x1 - x2 * x3) / determinant;
    const double c1 = (x3 * x3 - x2 * x4) / determinant;
    EXPECT_NEAR(found[3], x4 - c0 * x4, 1e-4);
    EXPECT_NEAR(found[2], x3 - c1 * x3, 1e-4);
    // Sample 2 was last covered by the window before: samples 2 and 3 from (x2 x1; x1 0).
    const double before = -x1 * x1;
    EXPECT_NEAR(found[1], x2 - (x2 * x2 - x1 * x3) / before * x2, 1e-4);
}

TEST(Remacf, EverySampleKeepsTheResidualOfItsLatestWindowBitForBit) {
    Random random(3);
    for (long p = 1; p <= 5; ++p) {
        for (long n = 1; n <= 14; ++n) {
            Floats values;
            for (long i = 0; i < n; ++i) {
                values.push_back(random.between(-3.0f, 3.0f));
            }
            const Floats found = run_remacf(values, static_cast<int>(p));
            for (long s = 1; s <= n; ++s) {
                const long latest = std::min(s + p - 2, n - 1);
                EXPECT_TRUE(same_bits(plain_residual(values, s, latest, p), found[static_cast<std::size_t>(s - 1)]))
                    << p << " " << n << " " << s;
            }
        }
    }
}

TEST(Remacf, TheSecondArgumentIsIgnored) {
    const Floats values{3, -1, 2, 5, 4, -2};
    const Floats expected = run_remacf(values, 2, 0);
    for (const int ignored : {1, -1, 1000000}) {
        EXPECT_TRUE(same_values(expected, run_remacf(values, 2, ignored))) << ignored;
    }
}

TEST(Remacf, AWindowOfZerosHasNoPrediction) {
    for (const float value : run_remacf(Floats(5, 0.0f), 2)) {
        EXPECT_TRUE(std::isnan(value));
    }
}

TEST(Remacf, NoSamplesOrNoOrderChangeNothing) {
    const Floats values{1, 2, 3};
    EXPECT_EQ(run_remacf(values, 0), values);
    EXPECT_EQ(run_remacf(values, -4), values);
    remacf(nullptr, 0, 0, 2);
    remacf(nullptr, 0, -1, 2);
}

TEST(Remacf, NonFiniteSamplesGoThrough) {
    // Only windows that hold the NaN are spoilt.
    const Floats found = run_remacf({1, notANumber, 2, 4, 8, 5, 3, 9}, 2);
    EXPECT_TRUE(std::isnan(found[1]));
    EXPECT_TRUE(std::isfinite(found[7]));
}
