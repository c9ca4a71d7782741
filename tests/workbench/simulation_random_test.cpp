#include "workbench/simulation_random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

using workbench::RandomNumbers;

// The generator's published recurrence, written out.
class MersenneTwister {
public:
    explicit MersenneTwister(std::uint64_t seed) {
        state[0] = seed;
        for (std::uint64_t i = 1; i < 312; ++i) {
            state[i] = 6364136223846793005ULL * (state[i - 1] ^ (state[i - 1] >> 62)) + i;
        }
    }
    std::uint64_t next() {
        if (at == 312) {
            for (std::size_t i = 0; i < 312; ++i) {
                const std::uint64_t x = (state[i] & 0xFFFFFFFF80000000ULL) | (state[(i + 1) % 312] & 0x7FFFFFFFULL);
                state[i] = state[(i + 156) % 312] ^ (x >> 1) ^ ((x & 1) != 0 ? 0xB5026F5AA96619E9ULL : 0);
            }
            at = 0;
        }
        std::uint64_t y = state[at++];
        y ^= (y >> 29) & 0x5555555555555555ULL;
        y ^= (y << 17) & 0x71D67FFFEDA60000ULL;
        y ^= (y << 37) & 0xFFF7EEE000000000ULL;
        return y ^ (y >> 43);
    }

private:
    std::uint64_t state[312];
    std::size_t at = 312;
};

TEST(RandomNumbers, AreTheSameOnEveryMachine) {
    MersenneTwister twister(5);
    RandomNumbers random(5);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(random.uniform(), std::ldexp(static_cast<double>(twister.next() >> 11), -53));
        double sum = 0.0;
        for (int draw = 0; draw < 3; ++draw) {
            const std::uint64_t bits = twister.next();
            for (int k = 0; k < 4; ++k) {
                sum += static_cast<double>(bits >> (16 * k) & 0xFFFF) / 65536.0 - 0.5 + 0.5 / 65536.0;
            }
        }
        EXPECT_EQ(random.normal(), sum);
    }
}

TEST(RandomNumbers, UniformFillsItsRange) {
    RandomNumbers random(1);
    int counts[10] = {};
    for (int i = 0; i < 100000; ++i) {
        const double x = random.uniform(-2.0, 3.0);
        ASSERT_GE(x, -2.0);
        ASSERT_LT(x, 3.0);
        ++counts[static_cast<int>((x + 2.0) * 2.0)];
    }
    for (const int count : counts) {
        EXPECT_NEAR(count, 10000, 500);
    }
}

TEST(RandomNumbers, NormalHasTheMomentsOfANormal) {
    RandomNumbers random(2);
    constexpr int n = 200000;
    double sums[5] = {};
    for (int i = 0; i < n; ++i) {
        const double x = random.normal();
        ASSERT_LT(std::abs(x), 6.0);
        for (int power = 1; power <= 4; ++power) {
            sums[power] += std::pow(x, power) / n;
        }
    }
    EXPECT_NEAR(sums[1], 0.0, 0.01);
    EXPECT_NEAR(sums[2], 1.0, 0.02);
    EXPECT_NEAR(sums[3], 0.0, 0.04);
    EXPECT_NEAR(sums[4], 2.9, 0.1); // 3 - 6/5/12 for a sum of twelve uniform numbers
}

TEST(SineOfTurns, AgreesWithTheMathematicalFunction) {
    for (double turns = -3.0; turns <= 3.0; turns += 0.00137) {
        EXPECT_NEAR(workbench::sine_of_turns(turns), std::sin(2.0 * M_PI * turns), 1e-11) << turns;
        EXPECT_NEAR(workbench::cosine_of_turns(turns), std::cos(2.0 * M_PI * turns), 1e-11) << turns;
    }
    EXPECT_EQ(workbench::sine_of_turns(0.0), 0.0);
    EXPECT_EQ(workbench::sine_of_turns(1234567.0), 0.0);
}

TEST(SmoothOverChannels, ChangesSlowlyFromChannelToChannel) {
    RandomNumbers random(3);
    double square = 0.0;
    double step = 0.0;
    for (int curveNumber = 0; curveNumber < 400; ++curveNumber) {
        const std::vector<double> curve = workbench::smooth_over_channels(random, 32);
        ASSERT_EQ(curve.size(), 32U);
        for (std::size_t i = 0; i < 32; ++i) {
            square += curve[i] * curve[i] / (400.0 * 32.0);
            step += i == 0 ? 0.0 : std::pow(curve[i] - curve[i - 1], 2) / (400.0 * 31.0);
        }
    }
    EXPECT_NEAR(square, 1.0, 0.2);
    EXPECT_LT(std::sqrt(step), 0.12);
}

} // namespace
