#include "stats/moments.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/bits.h"

using support::same_bits;

namespace {

struct Moments {
    float mean;
    float variance;
};

// One-based call on zero-based values, with NaN standing in element 0, where a read would spoil both results.
Moments moments(const std::vector<float>& values) {
    std::vector<float> data{std::numeric_limits<float>::quiet_NaN()};
    data.insert(data.end(), values.begin(), values.end());
    const std::vector<float> before = data;
    Moments result{-99.0f, -99.0f};
    avevar(data.data(), values.size(), &result.mean, &result.variance);
    EXPECT_TRUE(same_bits(before.data(), data.data(), 0, static_cast<int>(values.size()))) << "data were changed";
    return result;
}

// Corrected two-pass formula with single-precision sums in index order.
Moments plain_moments(const std::vector<float>& values) {
    const float n = static_cast<float>(values.size());
    float sum = 0.0f;
    for (const float value : values) {
        sum += value;
    }
    const float mean = sum / n;
    float deviations = 0.0f;
    float squares = 0.0f;
    for (const float value : values) {
        const float s = value - mean;
        deviations += s;
        squares += s * s;
    }
    return {mean, (squares - deviations * deviations / n) / static_cast<float>(values.size() - 1)};
}

} // namespace

TEST(Avevar, DividesTheVarianceByOneLessThanTheCount) {
    const Moments m = moments({1.0f, 2.0f, 3.0f, 4.0f});
    EXPECT_EQ(m.mean, 2.5f);
    EXPECT_EQ(m.variance, 1.6666666f);
}

TEST(Avevar, OneElementHasAMeanAndNanAsVariance) {
    const Moments m = moments({7.5f});
    EXPECT_EQ(m.mean, 7.5f);
    EXPECT_TRUE(std::isnan(m.variance));
}

TEST(Avevar, NoElementsGiveNanForBoth) {
    const Moments m = moments({});
    EXPECT_TRUE(std::isnan(m.mean));
    EXPECT_TRUE(std::isnan(m.variance));
}

TEST(Avevar, ConstantDataHaveVarianceZero) {
    const Moments m = moments(std::vector<float>(16, 3.25f));
    EXPECT_EQ(m.mean, 3.25f);
    EXPECT_EQ(m.variance, 0.0f);
}

TEST(Avevar, SumsInSinglePrecisionAndIndexOrder) {
    // 1e8 + 1 is 1e8 in float: ascending order loses the ones, any wider sum would keep them.
    EXPECT_EQ(moments({1e8f, 1.0f, 1.0f, -1e8f}).mean, 0.0f);
    EXPECT_EQ(moments({1e8f, -1e8f, 1.0f, 1.0f}).mean, 0.5f);
}

TEST(Avevar, TakesTheRoundOffOfTheMeanOutOfTheVariance) {
    // The mean of 8388609 and two times 8388608 rounds to 8388608. The deviations 1, 0, 0 leave
    // (1 - 1/3) / 2; without the correction it would be 1/2.
    const Moments m = moments({8388609.0f, 8388608.0f, 8388608.0f});
    EXPECT_EQ(m.mean, 8388608.0f);
    EXPECT_EQ(m.variance, (1.0f - 1.0f / 3.0f) / 2.0f);
}

TEST(Avevar, SquaresTheSumOfTheDeviationsBeforeItDivides) {
    // Float spacing is 2 here, so the mean of 16777216 + {6, 2, 6, 6, 4} rounds up to + 6. Deviations 0, -4, 0, 0, -2.
    const float base = 16777216.0f;
    const Moments m = moments({base + 6.0f, base + 2.0f, base + 6.0f, base + 6.0f, base + 4.0f});
    EXPECT_EQ(m.mean, base + 6.0f);
    EXPECT_EQ(m.variance, (20.0f - 36.0f / 5.0f) / 4.0f);
    EXPECT_NE(m.variance, (20.0f - 6.0f * (6.0f / 5.0f)) / 4.0f) << "the example does not show the order";
}

TEST(Avevar, TheDivisorIsOneLessThanTheCountBeforeItIsRounded) {
    // 2^24 + 1 values: their number as float is 2^24 already.
    std::vector<float> data((1U << 24) + 2, 0.0f);
    data[1] = 1.0f;
    data[2] = -1.0f;
    float mean = -99.0f;
    float variance = -99.0f;
    avevar(data.data(), (1UL << 24) + 1, &mean, &variance);
    EXPECT_EQ(mean, 0.0f);
    EXPECT_EQ(variance, 0x1p-23f);
}

TEST(Avevar, MatchesThePlainFormulaBitForBit) {
    support::Random random(20);
    for (int n = 0; n <= 300; ++n) {
        std::vector<float> values;
        const float offset = random.between(-1e4f, 1e4f);
        for (int i = 0; i < n; ++i) {
            values.push_back(offset + random.between(-300.0f, 300.0f));
        }
        const Moments expected = plain_moments(values);
        const Moments found = moments(values);
        EXPECT_TRUE(same_bits(expected.mean, found.mean)) << "n = " << n;
        EXPECT_TRUE(same_bits(expected.variance, found.variance)) << "n = " << n;
    }
}

TEST(Avevar, NonFiniteDataGoThrough) {
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(std::isnan(moments({1.0f, std::numeric_limits<float>::quiet_NaN(), 2.0f}).mean));
    const Moments m = moments({1.0f, inf, 2.0f});
    EXPECT_EQ(m.mean, inf);
    EXPECT_TRUE(std::isnan(m.variance));
}
