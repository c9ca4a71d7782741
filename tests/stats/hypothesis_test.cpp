#include "stats/hypothesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "stats/moments.h"
#include "tests/support/bits.h"
#include "tests/support/table.h"

using support::GuardedVector;
using support::same_bits;

namespace {

const float quietNan = std::numeric_limits<float>::quiet_NaN();
const float infinite = std::numeric_limits<float>::infinity();
constexpr float untouched = -77.25f;

using Floats = std::vector<float>;
using TwoSampleTest = void (*)(float*, unsigned long, float*, unsigned long, float*, float*);

// The statistic of two samples; the slot of the probability must stay as it was.
float statistic(TwoSampleTest test, const Floats& one, const Floats& two) {
    GuardedVector data1(1, one);
    GuardedVector data2(1, two);
    float result = untouched;
    float prob = untouched;
    test(data1.handle(), one.size(), data2.handle(), two.size(), &result, &prob);
    EXPECT_EQ(prob, untouched) << "the probability was written";
    EXPECT_TRUE(data1.frame_untouched());
    EXPECT_TRUE(data2.frame_untouched());
    if (test != kstwo) {
        for (std::size_t i = 0; i < one.size(); ++i) {
            EXPECT_TRUE(same_bits(one[i], data1[static_cast<int>(i) + 1])) << "the data were changed";
        }
    }
    return result;
}

Floats sample(support::Random& random, std::size_t n) {
    const float centre = random.between(-20.0f, 20.0f);
    const float width = random.between(0.1f, 30.0f);
    Floats values(n);
    for (float& value : values) {
        value = random.between(centre - width, centre + width);
    }
    return values;
}

struct Moments {
    float mean = 0.0f;
    float variance = 0.0f;
};

Moments moments(Floats values) {
    Moments result;
    values.insert(values.begin(), quietNan);
    avevar(values.data(), values.size() - 1, &result.mean, &result.variance);
    return result;
}

// Sums, products and quotients of two floats are exact in long double up to one rounding.
float rounded(long double value) {
    return static_cast<float>(value);
}

// The largest difference of the empirical distributions at any value, for samples without ties.
float distance_by_counting(const Floats& one, const Floats& two) {
    const auto share = [](const Floats& values, float limit) {
        const auto below = std::count_if(values.begin(), values.end(), [&](float value) { return value <= limit; });
        return rounded(static_cast<long double>(below) / static_cast<long double>(values.size()));
    };
    float largest = 0.0f;
    for (const Floats* values : {&one, &two}) {
        for (const float value : *values) {
            largest = std::max(largest, std::abs(rounded(static_cast<long double>(share(two, value)) -
                                                         static_cast<long double>(share(one, value)))));
        }
    }
    return largest;
}

} // namespace

TEST(Ttest, PooledStatisticInClosedForm) {
    // Means 2 and 6, variances 1 and 4, pooled (2 * 1 + 2 * 4) / 4 = 2.5: t = -4 / sqrt(2.5 * 2 / 3).
    EXPECT_FLOAT_EQ(statistic(ttest, {1.0f, 2.0f, 3.0f}, {4.0f, 6.0f, 8.0f}), -3.0983866769659336f);
}

TEST(Ttest, PooledVarianceOfZeroGivesZeroAndLeavesTheProbability) {
    EXPECT_TRUE(same_bits(0.0f, statistic(ttest, {1.0f, 1.0f, 1.0f}, {5.0f, 5.0f})));
}

TEST(Ttest, OneValueHasNoVariance) {
    EXPECT_TRUE(std::isnan(statistic(ttest, {1.0f}, {5.0f, 6.0f})));
    EXPECT_TRUE(std::isnan(statistic(ttest, {}, {5.0f, 6.0f})));
}

TEST(Ttest, FormsTheDenominatorInDoubleAndThePooledVarianceInFloat) {
    support::Random random(11);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const Floats one = sample(random, static_cast<std::size_t>(2 + random.below(30)));
        const Floats two = sample(random, static_cast<std::size_t>(2 + random.below(30)));
        const long double n1 = static_cast<long double>(one.size());
        const long double n2 = static_cast<long double>(two.size());
        const Moments m1 = moments(one);
        const Moments m2 = moments(two);
        const float weighted1 = rounded((n1 - 1) * static_cast<long double>(m1.variance));
        const float weighted2 = rounded((n2 - 1) * static_cast<long double>(m2.variance));
        const float total = rounded(static_cast<long double>(weighted1) + static_cast<long double>(weighted2));
        const long double pooled = rounded(static_cast<long double>(total) / (n1 + n2 - 2));
        const long double difference = rounded(static_cast<long double>(m1.mean) - static_cast<long double>(m2.mean));
        const float expected = rounded(difference / std::sqrt(pooled * (1 / n1 + 1 / n2)));
        ASSERT_TRUE(same_bits(expected, statistic(ttest, one, two))) << "repeat " << repeat;
    }
}

TEST(Ttest, CountsAreReducedBeforeAndInvertedAfterTheyAreRounded) {
    // 2^24 + 1 values each. Reduced by one the count is 2^24, both together reduced by two 2^25; alone it is 2^24 as
    // float, and its reciprocal 2^-24. One array, almost all zeros, serves as both samples, two elements apart.
    constexpr unsigned long n = (1UL << 24) + 1;
    Floats values(n + 3, 0.0f);
    const auto check = [&](float first, float second, float third) {
        values[1] = first;
        values[2] = second;
        values[3] = third;
        Moments m1;
        Moments m2;
        avevar(values.data(), n, &m1.mean, &m1.variance);
        avevar(values.data() + 2, n, &m2.mean, &m2.variance);
        // 2^24 of each variance, over 2^25.
        const float pooled = rounded(static_cast<long double>(m1.variance) + static_cast<long double>(m2.variance)) / 2;
        const float difference = rounded(static_cast<long double>(m1.mean) - static_cast<long double>(m2.mean));
        const long double denominator = std::sqrt(static_cast<long double>(pooled) * 0x1p-23L);
        float t = untouched;
        float prob = untouched;
        ttest(values.data(), n, values.data() + 2, n, &t, &prob);
        EXPECT_TRUE(same_bits(rounded(static_cast<long double>(difference) / denominator), t)) << first;
        EXPECT_EQ(prob, untouched);
    };
    check(2.0f, 1.0f, 3.0f);
    check(4.0f, 0.0f, 1.0f);
}

TEST(Tutest, StatisticInClosedForm) {
    // Means 2 and 6.5, variances 1 and 19/3.
    EXPECT_FLOAT_EQ(statistic(tutest, {1.0f, 2.0f, 3.0f}, {4.0f, 6.0f, 6.0f, 10.0f}),
                    static_cast<float>(-4.5 / std::sqrt(1.0 / 3.0 + 19.0 / 12.0)));
}

TEST(Tutest, IsZeroOnlyWhereBothVariancesAreZero) {
    EXPECT_TRUE(same_bits(0.0f, statistic(tutest, {1.0f, 1.0f, 1.0f}, {5.0f, 5.0f})));
    // Variance 2 in the other sample: t = (3 - 5) / sqrt(2 / 2).
    EXPECT_EQ(statistic(tutest, {3.0f, 3.0f, 3.0f}, {4.0f, 6.0f}), -2.0f);
    EXPECT_EQ(statistic(tutest, {4.0f, 6.0f}, {3.0f, 3.0f, 3.0f}), 2.0f);
    EXPECT_TRUE(std::isnan(statistic(tutest, {1.0f}, {5.0f, 5.0f})));
}

TEST(Tutest, FormsTheSumInFloatAndTheQuotientInDouble) {
    support::Random random(12);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const Floats one = sample(random, static_cast<std::size_t>(2 + random.below(30)));
        const Floats two = sample(random, static_cast<std::size_t>(2 + random.below(30)));
        const Moments m1 = moments(one);
        const Moments m2 = moments(two);
        const float part1 = rounded(static_cast<long double>(m1.variance) / static_cast<long double>(one.size()));
        const float part2 = rounded(static_cast<long double>(m2.variance) / static_cast<long double>(two.size()));
        const long double sum = rounded(static_cast<long double>(part1) + static_cast<long double>(part2));
        const long double difference = rounded(static_cast<long double>(m1.mean) - static_cast<long double>(m2.mean));
        ASSERT_TRUE(same_bits(rounded(difference / std::sqrt(sum)), statistic(tutest, one, two)))
            << "repeat " << repeat;
    }
}

TEST(TwoSampleTests, AgreeWithAnIndependentImplementation) {
    support::WorstError pooled("ttest, error / max(1, |t|)");
    support::WorstError welch("tutest, error / max(1, |t|)");
    support::WorstError distance("kstwo, absolute");
    for (const std::vector<double>& row : support::read_table("hypothesis.txt", 9)) {
        support::Random random(static_cast<std::uint64_t>(row[0]));
        const auto draw = [&](double range) { return random.below(static_cast<int>(range)); };
        const std::size_t n1 = static_cast<std::size_t>(row[1]);
        const std::size_t n2 = static_cast<std::size_t>(row[2]);
        Floats one;
        Floats two;
        for (std::size_t i = 0; i < n1; ++i) {
            one.push_back(static_cast<float>(draw(row[3])) / 16.0f);
        }
        for (std::size_t i = 0; i < n2; ++i) {
            two.push_back(static_cast<float>(draw(row[4])) / 16.0f + static_cast<float>(row[5]));
        }
        const double size = std::max(1.0, std::abs(row[6]));
        pooled.absolute(row[6] / size, static_cast<double>(statistic(ttest, one, two)) / size, row);
        const double welchSize = std::max(1.0, std::abs(row[7]));
        welch.absolute(row[7] / welchSize, static_cast<double>(statistic(tutest, one, two)) / welchSize, row);
        one.clear();
        two.clear();
        for (std::size_t i = 0; i < n1; ++i) {
            one.push_back(static_cast<float>(draw(row[3]) * 200 + static_cast<int>(i)) / 1024.0f);
        }
        for (std::size_t i = 0; i < n2; ++i) {
            two.push_back(static_cast<float>(draw(row[4]) * 200 + static_cast<int>(n1 + i)) / 1024.0f);
        }
        distance.absolute(row[8], static_cast<double>(statistic(kstwo, one, two)), row);
    }
    pooled.expect_within(2e-6);
    welch.expect_within(2e-6);
    distance.expect_within(1.2e-7);
}

TEST(Kstwo, LeavesBothSamplesSorted) {
    GuardedVector data1(1, {3.0f, 1.0f, 2.0f});
    GuardedVector data2(1, {9.0f, 4.0f, 7.0f, -1.0f});
    float d = untouched;
    float prob = untouched;
    kstwo(data1.handle(), 3, data2.handle(), 4, &d, &prob);
    EXPECT_EQ(data1[1], 1.0f);
    EXPECT_EQ(data1[2], 2.0f);
    EXPECT_EQ(data1[3], 3.0f);
    EXPECT_EQ(data2[1], -1.0f);
    EXPECT_EQ(data2[2], 4.0f);
    EXPECT_EQ(data2[3], 7.0f);
    EXPECT_EQ(data2[4], 9.0f);
    EXPECT_EQ(d, 0.75f);
    EXPECT_EQ(prob, untouched);
}

TEST(Kstwo, IdenticalSamplesHaveNoDistanceAndSeparateOnesAllOfIt) {
    EXPECT_EQ(statistic(kstwo, {3.0f, 1.0f, 1.0f, 2.0f}, {1.0f, 3.0f, 2.0f, 1.0f}), 0.0f);
    EXPECT_EQ(statistic(kstwo, {3.0f, 1.0f}, {7.0f, 8.0f, 9.0f}), 1.0f);
    EXPECT_EQ(statistic(kstwo, {7.0f, 8.0f, 9.0f}, {3.0f, 1.0f}), 1.0f);
}

TEST(Kstwo, EmptySampleHasNoDistance) {
    EXPECT_TRUE(same_bits(0.0f, statistic(kstwo, {}, {1.0f, 2.0f})));
    EXPECT_TRUE(same_bits(0.0f, statistic(kstwo, {1.0f, 2.0f}, {})));
    EXPECT_TRUE(same_bits(0.0f, statistic(kstwo, {}, {})));
}

TEST(Kstwo, EqualValuesAdvanceBothSamplesOneStep) {
    // One pair of the tied values is passed at a time: after the first, half of one sample stands against all of the
    // other.
    EXPECT_EQ(statistic(kstwo, {1.0f, 1.0f}, {1.0f}), 0.5f);
    EXPECT_EQ(statistic(kstwo, {1.0f}, {1.0f, 1.0f}), 0.5f);
}

TEST(Kstwo, MatchesTheDefinitionByCountingBitForBit) {
    support::Random random(13);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const std::size_t n1 = static_cast<std::size_t>(1 + random.below(40));
        const std::size_t n2 = static_cast<std::size_t>(1 + random.below(40));
        const int shift = random.below(200);
        Floats one(n1);
        Floats two(n2);
        for (std::size_t i = 0; i < n1; ++i) {
            one[i] = static_cast<float>(random.below(1000) * 2);
        }
        for (std::size_t i = 0; i < n2; ++i) {
            two[i] = static_cast<float>((random.below(1000) + shift) * 2 + 1);
        }
        // Ties within one sample: only the last of them completes a step of its distribution.
        std::sort(one.begin(), one.end());
        one.erase(std::unique(one.begin(), one.end()), one.end());
        std::sort(two.begin(), two.end());
        two.erase(std::unique(two.begin(), two.end()), two.end());
        ASSERT_TRUE(same_bits(distance_by_counting(one, two), statistic(kstwo, one, two))) << "repeat " << repeat;
    }
}

TEST(Kstwo, EndsWithNanAndPassesItInBothSamples) {
    // Sorting seven values or fewer moves the NaN to the front. It and the 1 are passed together, uncounted; then 5 and
    // 6 come before 20.
    EXPECT_EQ(statistic(kstwo, {5.0f, 6.0f, quietNan}, {1.0f, 20.0f}), 1.0f);
    EXPECT_EQ(statistic(kstwo, {1.0f, 20.0f}, {5.0f, 6.0f, quietNan}), 1.0f);
    EXPECT_EQ(statistic(kstwo, Floats(5, quietNan), {1.0f, 2.0f}), 0.0f);
    EXPECT_EQ(statistic(kstwo, Floats(20, quietNan), Floats(30, quietNan)), 0.0f);
    support::Random random(14);
    for (int repeat = 0; repeat < 500; ++repeat) {
        Floats one = sample(random, static_cast<std::size_t>(1 + random.below(60)));
        Floats two = sample(random, static_cast<std::size_t>(1 + random.below(60)));
        one[static_cast<std::size_t>(random.below(static_cast<int>(one.size())))] = quietNan;
        two[static_cast<std::size_t>(random.below(static_cast<int>(two.size())))] = quietNan;
        const float d = statistic(kstwo, one, two);
        EXPECT_TRUE(d >= 0.0f && d <= 1.0f) << d;
    }
}

TEST(Probks, KeepsTheStatedErrorAgainstTheTable) {
    support::WorstError small("probks up to 1, absolute");
    support::WorstError large("probks above 1, relative");
    for (const std::vector<double>& row : support::read_table("probks.txt", 2)) {
        const double found = static_cast<double>(probks(static_cast<float>(row[0])));
        if (row[0] <= 1.0) {
            small.absolute(row[1], found, row);
        } else if (row[1] > 1e-37) {
            large.relative(row[1], found, row);
        } else {
            EXPECT_LE(found, 1e-37) << row[0];
        }
    }
    small.expect_within(1e-6);
    large.expect_within(5e-6);
}

TEST(Probks, SeriesThatDoesNotSettleGivesOne) {
    for (const float alam : {0.0f, -0.0f, 1e-30f, 1e-3f, 0.03f, quietNan}) {
        EXPECT_TRUE(same_bits(1.0f, probks(alam))) << alam;
    }
    // The 100th term is the last that may settle it: 2 exp(-20000 alam^2) <= 1e-8 from about alam = 0.0309 on.
    EXPECT_NE(probks(0.04f), 1.0f);
}

TEST(Probks, VanishesForLargeStatistics) {
    EXPECT_EQ(probks(20.0f), 0.0f);
    EXPECT_EQ(probks(infinite), 0.0f);
    EXPECT_EQ(probks(-infinite), 0.0f);
    EXPECT_GT(probks(6.0f), 0.0f);
}

TEST(Probks, IgnoresTheSign) {
    for (const float alam : {0.3f, 0.83f, 1.36f, 2.0f}) {
        EXPECT_TRUE(same_bits(probks(alam), probks(-alam)));
    }
}

TEST(Probks, AddsFloatTermsUntilOneIsSmallAgainstTheLastOrTheSum) {
    const auto check = [](float alam) {
        const float exponent =
            static_cast<float>(-2.0L * static_cast<long double>(alam) * static_cast<long double>(alam));
        float partial = 0.0f;
        float result = 1.0f;
        double previous = 0.0;
        for (float j = 1.0f; j <= 100.0f; j += 1.0f) {
            const float power = (exponent * j) * j;
            const float size = static_cast<float>(2.0 * std::exp(static_cast<double>(power)));
            partial += std::fmod(j, 2.0f) == 1.0f ? size : -size;
            const double limit = std::max(0.001 * previous, 1.0e-8 * static_cast<double>(partial));
            if (static_cast<double>(size) <= limit) {
                result = partial;
                break;
            }
            previous = static_cast<double>(size);
        }
        EXPECT_TRUE(same_bits(result, probks(alam))) << support::describe(alam);
    };
    for (int step = 1; step < 3000; ++step) {
        check(static_cast<float>(step) * 0.001f);
    }
    // Around the largest argument that takes more than 100 terms, and around those where one term more or fewer
    // decides.
    for (int step = 0; step < 2000; ++step) {
        check(0.03f + static_cast<float>(step) * 1e-6f);
    }
    for (int j = 2; j <= 100; ++j) {
        const float againstLast = static_cast<float>(std::sqrt(std::log(1000.0) / (2.0 * (2.0 * j - 1.0))));
        const float againstSum = static_cast<float>(std::sqrt(std::log(2e8) / (2.0 * j * j)));
        for (const float centre : {againstLast, againstSum}) {
            for (std::uint32_t near = 0; near < 81; ++near) {
                check(support::float_of(support::bits_of(centre) - 40 + near));
            }
        }
    }
}
