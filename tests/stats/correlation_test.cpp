#include "stats/correlation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "stats/beta.h"
#include "stats/error_function.h"
#include "tests/support/bits.h"
#include "tests/support/table.h"

using support::GuardedVector;
using support::same_bits;

namespace {

const float quietNan = std::numeric_limits<float>::quiet_NaN();
constexpr float untouched = -77.25f;

using Floats = std::vector<float>;
using Correlation = void (*)(float*, float*, unsigned long, float*, float*, float*);

struct Result {
    float r = untouched;
    float prob = untouched;
    float z = untouched;
};

Result correlate(Correlation routine, const Floats& x, const Floats& y) {
    GuardedVector guardedX(1, x);
    GuardedVector guardedY(1, y);
    Result result;
    routine(guardedX.handle(), guardedY.handle(), x.size(), &result.r, &result.prob, &result.z);
    EXPECT_TRUE(guardedX.frame_untouched());
    EXPECT_TRUE(guardedY.frame_untouched());
    return result;
}

struct RankResult {
    float d = untouched;
    float zd = untouched;
    float probd = untouched;
    float rs = untouched;
    float probrs = untouched;
};

RankResult rank_correlate(const Floats& x, const Floats& y) {
    GuardedVector guardedX(1, x);
    GuardedVector guardedY(1, y);
    RankResult result;
    spear(guardedX.handle(), guardedY.handle(), x.size(), &result.d, &result.zd, &result.probd, &result.rs,
          &result.probrs);
    for (std::size_t i = 0; i < x.size(); ++i) {
        EXPECT_TRUE(same_bits(x[i], guardedX[static_cast<int>(i) + 1])) << "the data were changed";
        EXPECT_TRUE(same_bits(y[i], guardedY[static_cast<int>(i) + 1])) << "the data were changed";
    }
    EXPECT_TRUE(guardedX.frame_untouched());
    EXPECT_TRUE(guardedY.frame_untouched());
    return result;
}

// One operation in single precision: exact in long double up to the rounding.
float rounded(long double value) {
    return static_cast<float>(value);
}

float product_of(float a, float b) {
    return rounded(static_cast<long double>(a) * static_cast<long double>(b));
}

float sum_of(float a, float b) {
    return rounded(static_cast<long double>(a) + static_cast<long double>(b));
}

struct Sums {
    float xx = 0.0f;
    float yy = 0.0f;
    float xy = 0.0f;
};

float mean_of(const Floats& values) {
    const float total = std::accumulate(values.begin(), values.end(), 0.0f);
    return rounded(static_cast<long double>(total) / static_cast<long double>(values.size()));
}

Sums deviation_sums(const Floats& x, const Floats& y) {
    const float meanX = mean_of(x);
    const float meanY = mean_of(y);
    const auto add_product = [](float& sum, float a, float b) { sum = sum_of(sum, product_of(a, b)); };
    Sums sums;
    for (std::size_t i = 0; i < x.size(); ++i) {
        add_product(sums.xx, x[i] - meanX, x[i] - meanX);
        add_product(sums.yy, y[i] - meanY, y[i] - meanY);
        add_product(sums.xy, x[i] - meanX, y[i] - meanY);
    }
    return sums;
}

// Float root and float quotient.
float single_quotient(float numerator, float product) {
    const float norm = rounded(std::sqrt(static_cast<long double>(product)));
    return rounded(static_cast<long double>(numerator) / static_cast<long double>(norm));
}

// Root and quotient in a wider format, rounded once.
float wide_quotient(float numerator, float product) {
    return rounded(static_cast<long double>(numerator) / std::sqrt(static_cast<long double>(product)));
}

struct RunningSums {
    float n = 0.0f;
    float sx = 0.0f;
    float sy = 0.0f;
    float sxx = 0.0f;
    float syy = 0.0f;
    float sxy = 0.0f;
};

testing::AssertionResult same_sums(const RunningSums& expected, const RunningSums& found) {
    const Floats wanted{expected.n, expected.sx, expected.sy, expected.sxx, expected.syy, expected.sxy};
    const Floats got{found.n, found.sx, found.sy, found.sxx, found.syy, found.sxy};
    return same_bits(wanted.data(), got.data(), 0, 5);
}

// How far a value lies from the mean of n values: the mean is rounded first, then the difference.
float deviation(float value, float sum, float n) {
    return sum_of(value, -rounded(static_cast<long double>(sum) / static_cast<long double>(n)));
}

// The same rounded once only.
float wide_deviation(float value, float sum, float n) {
    return rounded(static_cast<long double>(value) - static_cast<long double>(sum) / static_cast<long double>(n));
}

// What one more pair makes of the sums, float at each operation.
RunningSums with_pair(const RunningSums& before, float x, float y) {
    RunningSums after;
    after.n = sum_of(before.n, 1.0f);
    after.sx = sum_of(before.sx, x);
    after.sy = sum_of(before.sy, y);
    const float dx = deviation(x, after.sx, after.n);
    const float dy = deviation(y, after.sy, after.n);
    after.sxx = sum_of(before.sxx, product_of(dx, dx));
    after.syy = sum_of(before.syy, product_of(dy, dy));
    after.sxy = sum_of(before.sxy, product_of(dx, dy));
    return after;
}

struct Pairs {
    Floats x;
    Floats y;
};

Pairs random_pairs(support::Random& random, std::size_t n) {
    const float weight = random.between(-3.0f, 3.0f);
    const float scale = random.between(0.01f, 100.0f);
    const float offset = random.between(-5.0f, 5.0f);
    Pairs pairs;
    for (std::size_t i = 0; i < n; ++i) {
        pairs.x.push_back(offset + random.between(-scale, scale));
        pairs.y.push_back(weight * pairs.x.back() + random.between(-scale, scale));
    }
    return pairs;
}

// The middle of the places that a value may take among all.
float rank_of(float value, const Floats& values) {
    const auto below = std::count_if(values.begin(), values.end(), [&](float v) { return v < value; });
    const auto upTo = std::count_if(values.begin(), values.end(), [&](float v) { return v <= value; });
    return static_cast<float>(static_cast<double>(below + 1 + upTo) / 2.0);
}

// Sum of t^3 - t over groups of t equal values, in ascending order of the values.
float tie_sum(Floats values) {
    std::sort(values.begin(), values.end());
    float sum = 0.0f;
    for (auto group = values.begin(); group != values.end();) {
        const auto end = std::upper_bound(group, values.end(), *group);
        const float t = static_cast<float>(end - group);
        sum += (t * t) * t - t;
        group = end;
    }
    return sum;
}

// What the statistics of n ranks with these tie sums compare the sum of squared differences with.
struct RankExpectation {
    long double cube; // n^3 - n
    float fac;
    float vard;
    long double ties;
    float aved;
};

RankExpectation rank_expectation(std::size_t n, float sf, float sg) {
    const float en = static_cast<float>(n);
    RankExpectation result{};
    result.cube = static_cast<long double>(sum_of(product_of(product_of(en, en), en), -en));
    result.fac =
        rounded((1 - static_cast<long double>(sf) / result.cube) * (1 - static_cast<long double>(sg) / result.cube));
    const long double next = static_cast<long double>(product_of(sum_of(en, 1.0f), sum_of(en, 1.0f)));
    const long double count = static_cast<long double>(en);
    result.vard = rounded((count - 1) * count * count * next / 36 * static_cast<long double>(result.fac));
    result.ties = static_cast<long double>(sum_of(sf, sg)) / 12;
    result.aved = rounded(result.cube / 6 - result.ties);
    return result;
}

// 1..n in any order.
Floats random_ranks(support::Random& random, std::size_t n) {
    Floats ranks(n);
    std::iota(ranks.begin(), ranks.end(), 1.0f);
    for (std::size_t i = n; i > 1; --i) {
        std::swap(ranks[i - 1], ranks[static_cast<std::size_t>(random.below(static_cast<int>(i)))]);
    }
    return ranks;
}

// The squared differences of the ranks, each a float, added one by one in ascending order of `place` (1..n).
float sum_of_squares(const Floats& ranks1, const Floats& ranks2, const Floats& place) {
    Floats squares(place.size());
    for (std::size_t i = 0; i < place.size(); ++i) {
        const float difference = ranks1[i] - ranks2[i];
        squares[static_cast<std::size_t>(place[i]) - 1] = product_of(difference, difference);
    }
    return std::accumulate(squares.begin(), squares.end(), 0.0f, sum_of);
}

} // namespace

TEST(Pearsn, StraightLinesHaveOneOrMinusOne) {
    const Floats x{1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
    EXPECT_EQ(correlate(pearsn, x, {3.0f, 5.0f, 7.0f, 9.0f, 11.0f}).r, 1.0f);
    EXPECT_EQ(correlate(pearsn, x, {5.0f, 4.0f, 3.0f, 2.0f, 1.0f}).r, -1.0f);
}

TEST(Pearsn, LeavesProbabilityAndZ) {
    const Result result = correlate(pearsn, {1.0f, 2.0f, 4.0f}, {1.0f, 0.0f, 2.0f});
    EXPECT_NE(result.r, untouched);
    EXPECT_EQ(result.prob, untouched);
    EXPECT_EQ(result.z, untouched);
}

TEST(Pearsn, WithoutSpreadIsZero) {
    EXPECT_TRUE(same_bits(0.0f, correlate(pearsn, {2.0f, 2.0f, 2.0f}, {1.0f, 5.0f, 9.0f}).r));
    EXPECT_TRUE(same_bits(0.0f, correlate(pearsn, {1.0f, 5.0f, 9.0f}, {2.0f, 2.0f, 2.0f}).r));
    EXPECT_TRUE(same_bits(0.0f, correlate(pearsn, {1.0f}, {2.0f}).r));
    EXPECT_TRUE(same_bits(0.0f, correlate(pearsn, {}, {}).r));
    EXPECT_TRUE(same_bits(0.0f, correlate(pearsn, {1.0f, quietNan, 9.0f}, {2.0f, 3.0f, 2.0f}).r));
    // Sums of squares whose product is too small for a float.
    EXPECT_TRUE(same_bits(0.0f, correlate(pearsn, {1e-12f, -1e-12f}, {1e-12f, -1e-12f}).r));
}

TEST(Pearsn, DividesBySingleRootOfTheSingleProduct) {
    support::Random random(21);
    int different = 0;
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const Pairs pairs = random_pairs(random, static_cast<std::size_t>(2 + random.below(40)));
        const Sums sums = deviation_sums(pairs.x, pairs.y);
        const float product = rounded(static_cast<long double>(sums.xx) * static_cast<long double>(sums.yy));
        const float expected = single_quotient(sums.xy, product);
        different += same_bits(expected, wide_quotient(sums.xy, product)) ? 0 : 1;
        ASSERT_TRUE(same_bits(expected, correlate(pearsn, pairs.x, pairs.y).r)) << "repeat " << repeat;
    }
    EXPECT_GT(different, 0) << "no case tells the single from the double root";
}

TEST(PearsnProb, TwoPairsOrFewerSayNothing) {
    for (std::size_t n = 0; n <= 2; ++n) {
        const Floats x{1.0f, 2.0f};
        const Floats y{3.0f, 7.0f};
        const auto end = static_cast<std::ptrdiff_t>(n);
        const Result result =
            correlate(pearsn_prob, Floats(x.begin(), x.begin() + end), Floats(y.begin(), y.begin() + end));
        EXPECT_TRUE(same_bits(0.0f, result.r));
        EXPECT_TRUE(same_bits(0.0f, result.z));
        EXPECT_TRUE(same_bits(1.0f, result.prob));
    }
}

TEST(PearsnProb, StraightLinesHaveAProbabilityNearZeroAndLeaveZ) {
    const Floats x{1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
    const Result up = correlate(pearsn_prob, x, {3.0f, 5.0f, 7.0f, 9.0f, 11.0f});
    EXPECT_EQ(up.r, 1.0f);
    EXPECT_GE(up.prob, 0.0f);
    EXPECT_LT(up.prob, 1e-20f);
    EXPECT_EQ(up.z, untouched);
    const Result down = correlate(pearsn_prob, x, {5.0f, 4.0f, 3.0f, 2.0f, 1.0f});
    EXPECT_EQ(down.r, -1.0f);
    EXPECT_LT(down.prob, 1e-20f);
    EXPECT_EQ(down.z, untouched);
}

TEST(PearsnProb, TinyAddendsKeepTheProbabilityOfAPerfectCorrelationAboveZero) {
    // df / (df + t^2) stays at 2e-20: with one degree of freedom the probability is 2/pi asin(sqrt(2e-20)).
    constexpr double expected = 0.90031631615710607;
    EXPECT_NEAR(correlate(pearsn_prob, {1.0f, 2.0f, 3.0f}, {1.0f, 2.0f, 3.0f}).prob * 1e10, expected, 1e-5);
    EXPECT_NEAR(correlate(pearsn_prob, {1.0f, 2.0f, 3.0f}, {3.0f, 2.0f, 1.0f}).prob * 1e10, expected, 1e-5);
}

TEST(PearsnProb, WithoutSpreadIsZeroWithProbabilityOne) {
    const Result result = correlate(pearsn_prob, {2.0f, 2.0f, 2.0f}, {1.0f, 5.0f, 9.0f});
    EXPECT_TRUE(same_bits(0.0f, result.r));
    EXPECT_TRUE(same_bits(1.0f, result.prob));
    EXPECT_EQ(result.z, untouched);
}

TEST(PearsnProb, NanAmongTheValuesCountsAsNoCorrelation) {
    for (const Result& result : {correlate(pearsn_prob, {1.0f, quietNan, 3.0f, 4.0f}, {2.0f, 3.0f, 4.0f, 7.0f}),
                                 correlate(pearsn_prob, {2.0f, 3.0f, 4.0f, 7.0f}, {1.0f, quietNan, 3.0f, 4.0f})}) {
        EXPECT_TRUE(same_bits(0.0f, result.r));
        EXPECT_TRUE(same_bits(1.0f, result.prob));
        EXPECT_EQ(result.z, untouched);
    }
}

TEST(PearsnProb, TheDegreesOfFreedomAreTwoFewerThanTheCountBeforeItIsRounded) {
    // 2^24 + 1 pairs, whose number as float is 2^24 already; 2^24 - 1 degrees of freedom are a float. The one array
    // serves as both samples, one element apart.
    constexpr unsigned long n = (1UL << 24) + 1;
    Floats values(n + 2, 0.0f);
    values[1] = 2.0f;
    values[2] = 4096.0f;
    Result result;
    pearsn_prob(values.data(), values.data() + 1, n, &result.r, &result.prob, &result.z);
    const long double r = static_cast<long double>(result.r);
    const auto probability = [&](float df) {
        const long double wide = static_cast<long double>(df);
        const float t = rounded(r * std::sqrt(wide / ((1 - r) * (1 + r))));
        const float sum = sum_of(df, product_of(t, t));
        return betai(df / 2.0f, 0.5f, rounded(wide / static_cast<long double>(sum)));
    };
    EXPECT_TRUE(same_bits(probability(16777215.0f), result.prob));
    EXPECT_GT(std::abs(probability(16777214.0f) - result.prob), 0.01f) << "the example does not show the order";
}

TEST(PearsnProb, FormsRAndTInDoubleAndTheRestInFloat) {
    support::Random random(22);
    int different = 0;
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const std::size_t n = static_cast<std::size_t>(3 + random.below(40));
        const Pairs pairs = random_pairs(random, n);
        const Sums sums = deviation_sums(pairs.x, pairs.y);
        const float product = rounded(static_cast<long double>(sums.xx) * static_cast<long double>(sums.yy));
        const float r = wide_quotient(sums.xy, product);
        different += same_bits(r, single_quotient(sums.xy, product)) ? 0 : 1;
        const Result result = correlate(pearsn_prob, pairs.x, pairs.y);
        ASSERT_TRUE(same_bits(r, result.r)) << "repeat " << repeat;

        const long double wide = static_cast<long double>(r);
        const long double df = static_cast<long double>(n) - 2;
        const float t = rounded(wide * std::sqrt(df / ((1 - wide + 1.0e-20L) * (1 + wide + 1.0e-20L))));
        const float square = rounded(static_cast<long double>(t) * static_cast<long double>(t));
        const float sum = rounded(df + static_cast<long double>(square));
        const float x = rounded(df / static_cast<long double>(sum));
        ASSERT_TRUE(same_bits(betai(rounded(df / 2), 0.5f, x), result.prob)) << "repeat " << repeat;
        ASSERT_EQ(result.z, untouched);
    }
    EXPECT_GT(different, 0) << "no case tells the single from the double root";
}

TEST(PearsnInc, GrowsBySquaredDeviationsFromTheNewMean) {
    float n = 0.0f;
    float sx = 0.0f;
    float sy = 0.0f;
    float sxx = 0.0f;
    float syy = 0.0f;
    float sxy = 0.0f;
    float r = untouched;
    pearsn_inc(0.0f, 0.0f, n, sx, sy, sxx, syy, sxy, &r);
    EXPECT_EQ(n, 1.0f);
    EXPECT_TRUE(same_bits(0.0f, r));
    pearsn_inc(2.0f, 4.0f, n, sx, sy, sxx, syy, sxy, &r);
    // The means are 1 and 2 now; the batch sums would be 2, 8 and 4.
    EXPECT_EQ(sxx, 1.0f);
    EXPECT_EQ(syy, 4.0f);
    EXPECT_EQ(sxy, 2.0f);
    EXPECT_EQ(r, 1.0f);
    pearsn_inc(7.0f, -1.0f, n, sx, sy, sxx, syy, sxy, &r);
    // Means 3 and 1, deviations 4 and -2.
    EXPECT_EQ(n, 3.0f);
    EXPECT_EQ(sx, 9.0f);
    EXPECT_EQ(sy, 3.0f);
    EXPECT_EQ(sxx, 17.0f);
    EXPECT_EQ(syy, 8.0f);
    EXPECT_EQ(sxy, -6.0f);
    EXPECT_TRUE(same_bits(single_quotient(-6.0f, 136.0f), r));
}

TEST(PearsnInc, StaysCloseToTheBatchButNotOnIt) {
    support::Random random(23);
    for (int repeat = 0; repeat < 20; ++repeat) {
        const Pairs pairs = random_pairs(random, 500);
        float n = 0.0f;
        float sx = 0.0f;
        float sy = 0.0f;
        float sxx = 0.0f;
        float syy = 0.0f;
        float sxy = 0.0f;
        float r = untouched;
        for (std::size_t i = 0; i < pairs.x.size(); ++i) {
            pearsn_inc(pairs.x[i], pairs.y[i], n, sx, sy, sxx, syy, sxy, &r);
            const float product = sxx * syy;
            ASSERT_TRUE(same_bits(product > 0.0f ? single_quotient(sxy, product) : 0.0f, r));
        }
        const float batch = correlate(pearsn, pairs.x, pairs.y).r;
        EXPECT_NE(r, batch);
        EXPECT_NEAR(r, batch, 0.02);
    }
}

TEST(RunningSums, GrowByFloatDeviationsAndFloatProducts) {
    support::Random random(29);
    int wideDeviations = 0;
    int wideProducts = 0;
    for (int repeat = 0; repeat < 40; ++repeat) {
        const Pairs pairs = random_pairs(random, 500);
        RunningSums expected;
        RunningSums a;
        RunningSums b;
        for (std::size_t i = 0; i < pairs.x.size(); ++i) {
            const float x = pairs.x[i];
            const float y = pairs.y[i];
            const RunningSums before = expected;
            expected = with_pair(before, x, y);
            float unused = 0.0f;
            pearsn_inc(x, y, a.n, a.sx, a.sy, a.sxx, a.syy, a.sxy, &unused);
            ASSERT_TRUE(same_sums(expected, a)) << "pearsn_inc, pair " << i << " of repeat " << repeat;
            regr_inc(x, y, b.n, b.sx, b.sy, b.sxx, b.syy, b.sxy, &unused, &unused, &unused);
            ASSERT_TRUE(same_sums(expected, b)) << "regr_inc, pair " << i << " of repeat " << repeat;

            const float dx = wide_deviation(x, expected.sx, expected.n);
            const float dy = wide_deviation(y, expected.sy, expected.n);
            wideDeviations += expected.sxx != sum_of(before.sxx, product_of(dx, dx)) ? 1 : 0;
            wideDeviations += expected.syy != sum_of(before.syy, product_of(dy, dy)) ? 1 : 0;
            const long double cross = static_cast<long double>(deviation(x, expected.sx, expected.n)) *
                                      static_cast<long double>(deviation(y, expected.sy, expected.n));
            wideProducts += expected.sxy != rounded(static_cast<long double>(before.sxy) + cross) ? 1 : 0;
        }
    }
    EXPECT_GT(wideDeviations, 0) << "no case tells float from double deviations";
    EXPECT_GT(wideProducts, 0) << "no case tells float from double products";
}

TEST(RunningSums, NanAmongThemGivesNoCorrelationAndNoSlope) {
    RunningSums sums;
    float r = untouched;
    pearsn_inc(quietNan, 1.0f, sums.n, sums.sx, sums.sy, sums.sxx, sums.syy, sums.sxy, &r);
    EXPECT_TRUE(std::isnan(sums.sxx));
    EXPECT_TRUE(same_bits(0.0f, r));
    float intercept = untouched;
    float slope = untouched;
    float meanY = untouched;
    regr_inc(2.0f, 5.0f, sums.n, sums.sx, sums.sy, sums.sxx, sums.syy, sums.sxy, &intercept, &slope, &meanY);
    EXPECT_TRUE(std::isnan(sums.sxx));
    EXPECT_TRUE(same_bits(0.0f, slope));
    EXPECT_EQ(meanY, 3.0f);
    EXPECT_TRUE(std::isnan(intercept));
}

TEST(RegrInc, FitsALineAndKeepsTheSumsOfTheRunningCorrelation) {
    support::Random random(24);
    float n = 0.0f;
    float sx = 0.0f;
    float sy = 0.0f;
    float sxx = 0.0f;
    float syy = 0.0f;
    float sxy = 0.0f;
    float n2 = 0.0f;
    float sx2 = 0.0f;
    float sy2 = 0.0f;
    float sxx2 = 0.0f;
    float syy2 = 0.0f;
    float sxy2 = 0.0f;
    float r = 0.0f;
    for (int i = 0; i < 300; ++i) {
        const float x = random.between(-3.0f, 9.0f);
        const float y = 0.75f * x - 2.0f;
        float intercept = untouched;
        float slope = untouched;
        float meanY = untouched;
        regr_inc(x, y, n, sx, sy, sxx, syy, sxy, &intercept, &slope, &meanY);
        pearsn_inc(x, y, n2, sx2, sy2, sxx2, syy2, sxy2, &r);
        ASSERT_TRUE(same_bits(n2, n));
        ASSERT_TRUE(same_bits(sx2, sx));
        ASSERT_TRUE(same_bits(sy2, sy));
        ASSERT_TRUE(same_bits(sxx2, sxx));
        ASSERT_TRUE(same_bits(syy2, syy));
        ASSERT_TRUE(same_bits(sxy2, sxy));
        const float mean = rounded(static_cast<long double>(sy) / static_cast<long double>(n));
        ASSERT_TRUE(same_bits(mean, meanY));
        const float expectedSlope =
            sxx > 0.0f ? rounded(static_cast<long double>(sxy) / static_cast<long double>(sxx)) : 0.0f;
        ASSERT_TRUE(same_bits(expectedSlope, slope));
        const float lever = rounded(static_cast<long double>(slope) * static_cast<long double>(sx));
        const float share = rounded(static_cast<long double>(lever) / static_cast<long double>(n));
        ASSERT_TRUE(same_bits(rounded(static_cast<long double>(mean) - static_cast<long double>(share)), intercept));
        if (i > 0) {
            EXPECT_NEAR(slope, 0.75f, 1e-5f);
            EXPECT_NEAR(intercept, -2.0f, 1e-5f);
        }
    }
}

TEST(RegrInc, FirstPairHasSlopeZeroAndItsOwnValue) {
    float n = 0.0f;
    float sx = 0.0f;
    float sy = 0.0f;
    float sxx = 0.0f;
    float syy = 0.0f;
    float sxy = 0.0f;
    float intercept = untouched;
    float slope = untouched;
    float meanY = untouched;
    regr_inc(3.0f, 5.0f, n, sx, sy, sxx, syy, sxy, &intercept, &slope, &meanY);
    EXPECT_TRUE(same_bits(0.0f, slope));
    EXPECT_EQ(intercept, 5.0f);
    EXPECT_EQ(meanY, 5.0f);
}

TEST(Crank, RanksByCounting) {
    support::Random random(25);
    for (int n = 0; n <= 200; ++n) {
        Floats values(static_cast<std::size_t>(n));
        const int different = 1 + random.below(40);
        for (float& value : values) {
            value = static_cast<float>(random.below(different)) - 7.0f;
        }
        std::sort(values.begin(), values.end());
        GuardedVector w(1, values);
        float s = untouched;
        crank(static_cast<unsigned long>(n), w.handle(), &s);
        for (int j = 1; j <= n; ++j) {
            ASSERT_TRUE(same_bits(rank_of(values[static_cast<std::size_t>(j) - 1], values), w[j])) << j << " of " << n;
        }
        EXPECT_TRUE(w.frame_untouched());
        EXPECT_TRUE(same_bits(tie_sum(values), s)) << n;
    }
}

TEST(Crank, GivesTiesTheirMiddleRank) {
    GuardedVector w(1, {1.0f, 4.0f, 4.0f, 9.0f, 9.0f, 9.0f});
    float s = untouched;
    crank(6, w.handle(), &s);
    EXPECT_EQ(w[1], 1.0f);
    EXPECT_EQ(w[2], 2.5f);
    EXPECT_EQ(w[3], 2.5f);
    EXPECT_EQ(w[4], 5.0f);
    EXPECT_EQ(w[5], 5.0f);
    EXPECT_EQ(w[6], 5.0f);
    EXPECT_EQ(s, 6.0f + 24.0f);
}

TEST(Crank, TakesTheSizeOfAGroupFromItsRoundedCube) {
    // From 257 values on a float cannot hold every cube, and t (t^2 - 1) is another number.
    int different = 0;
    for (unsigned long t = 2; t < 3000; t += 7) {
        Floats w(t + 1, 2.5f);
        float s = untouched;
        crank(t, w.data(), &s);
        const float size = static_cast<float>(t);
        const float squared = product_of(size, size);
        ASSERT_TRUE(same_bits(sum_of(product_of(squared, size), -size), s)) << t;
        different += s == product_of(size, sum_of(squared, -1.0f)) ? 0 : 1;
    }
    EXPECT_GT(different, 0) << "no size tells the one form from the other";
}

TEST(Crank, TheMiddleRankBeyondTheExactFloatsIsRoundedOnce) {
    // 2^24 equal values, then two more: the middle of 16777217 and 16777218 is nearer to the second. Adding the two as
    // floats would give 16777216.
    const unsigned long first = 1UL << 24;
    Floats w(first + 3, 0.0f);
    w[first + 1] = w[first + 2] = 1.0f;
    float s = untouched;
    crank(first + 2, w.data(), &s);
    EXPECT_EQ(w[1], 8388608.5f);
    EXPECT_EQ(w[first], 8388608.5f);
    EXPECT_EQ(w[first + 1], 16777218.0f);
    EXPECT_EQ(w[first + 2], 16777218.0f);
    EXPECT_EQ(w[0], 0.0f);
}

TEST(Crank, LastValueAloneGetsTheLastRank) {
    GuardedVector w(1, {4.0f, 4.0f, 9.0f});
    float s = untouched;
    crank(3, w.handle(), &s);
    EXPECT_EQ(w[3], 3.0f);
    GuardedVector one(1, {-8.0f});
    crank(1, one.handle(), &s);
    EXPECT_EQ(one[1], 1.0f);
    EXPECT_TRUE(same_bits(0.0f, s));
}

TEST(Spear, OrderAloneCounts) {
    const RankResult same = rank_correlate({1.0f, 20.0f, 3.0f, 400.0f}, {-9.0f, 0.5f, 0.25f, 1.0f});
    EXPECT_EQ(same.d, 0.0f);
    EXPECT_EQ(same.rs, 1.0f);
    const RankResult opposite = rank_correlate({1.0f, 20.0f, 3.0f, 400.0f}, {9.0f, -0.5f, 0.25f, -1.0f});
    EXPECT_EQ(opposite.d, 20.0f); // 9 + 1 + 1 + 9
    EXPECT_EQ(opposite.rs, -1.0f);
    // Expectation 10, variance 3 * 16 * 25 / 36.
    EXPECT_FLOAT_EQ(opposite.zd, static_cast<float>(10.0 / std::sqrt(1200.0 / 36.0)));
    EXPECT_FLOAT_EQ(same.zd, -opposite.zd);
    EXPECT_NEAR(same.probd, std::erfc(std::sqrt(1.5)), 1e-7);
    EXPECT_EQ(same.probrs, untouched) << "not computed here";
}

TEST(Spear, ConstantSamplesTakeTheEarlyReturn) {
    const RankResult both = rank_correlate({3.0f, 3.0f, 3.0f}, {5.0f, 5.0f, 5.0f});
    EXPECT_TRUE(same_bits(0.0f, both.rs));
    EXPECT_TRUE(same_bits(0.0f, both.probrs));
    EXPECT_TRUE(same_bits(0.0f, both.d));
    EXPECT_EQ(both.zd, untouched);
    EXPECT_EQ(both.probd, untouched);
    // Ranks 1, 2, 3 against 2, 2, 2.
    const RankResult one = rank_correlate({1.0f, 2.0f, 3.0f}, {5.0f, 5.0f, 5.0f});
    EXPECT_TRUE(same_bits(0.0f, one.rs));
    EXPECT_TRUE(same_bits(0.0f, one.probrs));
    EXPECT_EQ(one.d, 2.0f);
    EXPECT_EQ(one.zd, untouched);
    EXPECT_EQ(one.probd, untouched);
}

TEST(Spear, TooFewPairsGiveNan) {
    for (const std::size_t n : {0U, 1U}) {
        const RankResult result = rank_correlate(Floats(n, 4.0f), Floats(n, 5.0f));
        EXPECT_TRUE(same_bits(0.0f, result.d));
        EXPECT_TRUE(std::isnan(result.zd));
        EXPECT_TRUE(std::isnan(result.probd));
        EXPECT_TRUE(std::isnan(result.rs));
        EXPECT_EQ(result.probrs, untouched);
    }
}

TEST(Spear, FormsTheStatisticsInDoubleFromFloatSums) {
    support::Random random(26);
    for (int repeat = 0; repeat < 600; ++repeat) {
        const std::size_t n = static_cast<std::size_t>(repeat < 500   ? 2 + random.below(60)
                                                       : repeat < 590 ? 2 + random.below(2000)
                                                                      : 4096 + random.below(8000));
        const int different = 2 + random.below(repeat % 2 == 0 ? 5 : 100000);
        Floats x(n);
        Floats y(n);
        for (std::size_t i = 0; i < n; ++i) {
            x[i] = static_cast<float>(random.below(different));
            y[i] = static_cast<float>(random.below(different)) - (repeat % 3 == 0 ? x[i] : 0.0f);
        }
        const float sf = tie_sum(x);
        const float sg = tie_sum(y);
        const RankExpectation expected = rank_expectation(n, sf, sg);
        const RankResult result = rank_correlate(x, y);
        if (expected.fac == 0.0f || expected.vard == 0.0f) {
            ASSERT_EQ(result.zd, untouched);
            continue;
        }
        const float zd = wide_quotient(sum_of(result.d, -expected.aved), expected.vard);
        ASSERT_TRUE(same_bits(zd, result.zd)) << "repeat " << repeat;
        ASSERT_TRUE(same_bits(erfcc(static_cast<float>(static_cast<double>(std::abs(zd)) / 1.4142136)), result.probd));
        const float rs = rounded((1 - 6 / expected.cube * (static_cast<long double>(result.d) + expected.ties)) /
                                 std::sqrt(static_cast<long double>(expected.fac)));
        // Where the difference cancels, what remains is the double's own rounding.
        ASSERT_TRUE(same_bits(rs, result.rs) || std::abs(rs - result.rs) < 1e-15f) << "repeat " << repeat;
        ASSERT_EQ(result.probrs, untouched);
    }
}

TEST(Spear, AddsTheSquaredDifferencesInTheOrderOfTheSecondSample) {
    // Ranks in any order: their squared differences follow no pattern, and a float can hold neither the larger ones nor
    // the sums.
    support::Random random(27);
    int backwards = 0;
    int byTheFirst = 0;
    for (int repeat = 0; repeat < 20; ++repeat) {
        const std::size_t n = static_cast<std::size_t>(3000 + random.below(4000));
        const Floats ranks1 = random_ranks(random, n);
        const Floats ranks2 = random_ranks(random, n);
        Floats x;
        Floats y;
        Floats fromTheEnd;
        for (std::size_t i = 0; i < n; ++i) {
            x.push_back(3.0f * ranks1[i] - 5000.0f);
            y.push_back(0.5f * ranks2[i]);
            fromTheEnd.push_back(static_cast<float>(n + 1) - ranks2[i]);
        }
        const float expected = sum_of_squares(ranks1, ranks2, ranks2);
        ASSERT_TRUE(same_bits(expected, rank_correlate(x, y).d)) << "repeat " << repeat;
        backwards += same_bits(expected, sum_of_squares(ranks1, ranks2, fromTheEnd)) ? 0 : 1;
        byTheFirst += same_bits(expected, sum_of_squares(ranks1, ranks2, ranks1)) ? 0 : 1;
    }
    EXPECT_GT(backwards, 10);
    EXPECT_GT(byTheFirst, 10);
}

TEST(Spear, SubtractsTheExpectationInSinglePrecision) {
    // Almost the same order in both samples: d is small beside its expectation, and a float cannot hold the difference.
    support::Random random(28);
    int different = 0;
    for (int repeat = 0; repeat < 200; ++repeat) {
        const std::size_t n = static_cast<std::size_t>(1000 + random.below(4000));
        Floats x(n);
        std::iota(x.begin(), x.end(), 1.0f);
        Floats y = x;
        for (int swaps = 1 + random.below(300); swaps > 0; --swaps) {
            const std::size_t i = static_cast<std::size_t>(random.below(static_cast<int>(n) - 40));
            std::swap(y[i], y[i + static_cast<std::size_t>(random.below(40))]);
        }
        const RankExpectation expected = rank_expectation(n, 0.0f, 0.0f);
        const RankResult result = rank_correlate(x, y);
        ASSERT_TRUE(same_bits(sum_of_squares(x, y, y), result.d)) << "repeat " << repeat;
        const float zd = wide_quotient(sum_of(result.d, -expected.aved), expected.vard);
        ASSERT_TRUE(same_bits(zd, result.zd)) << "repeat " << repeat;
        const long double excess = static_cast<long double>(result.d) - static_cast<long double>(expected.aved);
        different += zd == rounded(excess / std::sqrt(static_cast<long double>(expected.vard))) ? 0 : 1;
    }
    EXPECT_GT(different, 0) << "no case tells the rounded difference from the exact one";
}

TEST(Correlations, AgreeWithAnIndependentImplementation) {
    support::WorstError r("pearsn, absolute");
    support::WorstError wideR("pearsn_prob r, absolute");
    support::WorstError p("pearsn_prob p, absolute");
    support::WorstError rs("spear rs, absolute");
    support::WorstError d("spear d, relative");
    support::WorstError zd("spear zd, absolute");
    support::WorstError probd("spear probd, absolute");
    for (const std::vector<double>& row : support::read_table("correlation.txt", 10)) {
        support::Random random(static_cast<std::uint64_t>(row[0]));
        Floats x;
        Floats y;
        for (int i = 0; i < static_cast<int>(row[1]); ++i) {
            x.push_back(static_cast<float>(random.below(static_cast<int>(row[2]))));
            y.push_back(static_cast<float>(row[3]) * x.back() +
                        static_cast<float>(random.below(static_cast<int>(row[2]))));
        }
        r.absolute(row[4], static_cast<double>(correlate(pearsn, x, y).r), row);
        const Result wide = correlate(pearsn_prob, x, y);
        wideR.absolute(row[4], static_cast<double>(wide.r), row);
        p.absolute(row[5], static_cast<double>(wide.prob), row);
        const RankResult ranks = rank_correlate(x, y);
        rs.absolute(row[6], static_cast<double>(ranks.rs), row);
        d.relative(row[7], static_cast<double>(ranks.d), row);
        zd.absolute(row[8], static_cast<double>(ranks.zd), row);
        probd.absolute(row[9], static_cast<double>(ranks.probd), row);
    }
    r.expect_within(2e-6);
    wideR.expect_within(2e-6);
    p.expect_within(1e-4);
    rs.expect_within(1e-5);
    d.expect_within(5e-6);
    zd.expect_within(2e-4);
    probd.expect_within(1e-6);
}
