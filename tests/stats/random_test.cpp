#include "stats/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "tests/support/bits.h"

namespace {

constexpr std::int64_t modulus = 2147483647;

// One step of the minimal standard generator: from 0 to the modulus the plain product modulo the modulus. Wild seeds
// take what the two-part form of that product gives with a single correction.
std::int64_t standard_step(std::int64_t x) {
    if (x >= 0 && x <= modulus) {
        return x * 16807 % modulus;
    }
    const std::int64_t value = 16807 * (x % 127773) - 2836 * (x / 127773);
    return value < 0 ? value + modulus : value;
}

float as_deviate(std::int64_t output) {
    const float value = static_cast<float>(4.656612875245797e-10 * static_cast<double>(output));
    return std::min(value, support::float_of(0x3F7FFFFEU));
}

// The shuffled sequence as Bays and Durham describe it: the last output picks the slot of a table of 32 from which the
// next one is taken, and the generator refills that slot.
struct ShuffledStandard {
    std::int64_t state;
    std::array<std::int64_t, 32> table{};
    std::int64_t output = 0;

    explicit ShuffledStandard(std::int64_t seed) : state(seed) {
        for (int thrownAway = 0; thrownAway < 8; ++thrownAway) {
            state = standard_step(state);
        }
        for (std::size_t slot = 32; slot-- > 0;) {
            table[slot] = state = standard_step(state);
        }
        output = table[0];
    }

    float next() {
        state = standard_step(state);
        const std::int64_t slot = (output / 67108864) % 32; // beyond the table the slots repeat, downwards too
        output = std::exchange(table[static_cast<std::size_t>(slot < 0 ? slot + 32 : slot)], state);
        return as_deviate(output);
    }
};

testing::AssertionResult follows(ShuffledStandard& expected, long& idum, int count) {
    for (int i = 0; i < count; ++i) {
        const float wanted = expected.next();
        const float found = ran1(&idum);
        if (!support::identical(wanted, found)) {
            return support::first_mismatch("deviate " + std::to_string(i), wanted, found);
        }
        if (idum != expected.state) {
            return testing::AssertionFailure() << "seed after deviate " << i << ": " << idum;
        }
    }
    return testing::AssertionSuccess();
}

// The state whose successor is `successor`.
std::int64_t before(std::int64_t successor) {
    std::int64_t inverse = 1; // of 16807: its (modulus - 2)th power
    for (std::int64_t power = 16807, exponent = modulus - 2; exponent > 0; exponent /= 2) {
        if (exponent % 2 == 1) {
            inverse = inverse * power % modulus;
        }
        power = power * power % modulus;
    }
    return successor * inverse % modulus;
}

// Gives out a deviate that an earlier test may have left behind.
void drop_spare_deviate() {
    long idum = -7;
    gasdev(&idum);
    if (idum != -7) {
        gasdev(&idum);
    }
}

// The polar method with single-precision coordinates, on the reference sequence.
struct PolarPair {
    float first;
    float second;

    explicit PolarPair(ShuffledStandard& uniform) {
        float x = 0.0f;
        float y = 0.0f;
        float squares = 0.0f;
        do {
            x = 2.0f * uniform.next() - 1.0f; // doubling is exact, so this rounds once
            y = 2.0f * uniform.next() - 1.0f;
            squares = x * x + y * y;
        } while (!(squares > 0.0f && squares < 1.0f));
        const double s = static_cast<double>(squares);
        const float factor = static_cast<float>(std::sqrt(-2.0 * std::log(s) / s));
        first = y * factor;
        second = x * factor;
    }
};

// A child that starts afresh, so that the generators stand as at load time whatever ran before.
#define EXPECT_IN_FRESH_PROCESS(condition)                                                                             \
    do {                                                                                                               \
        GTEST_FLAG_SET(death_test_style, "threadsafe");                                                                \
        EXPECT_EXIT(std::_Exit((condition) ? 17 : 18), testing::ExitedWithCode(17), "");                               \
    } while (false)

TEST(Ran1, ReproducesTheShuffledMinimalStandardSequence) {
    for (const long seed : {1L, 2L, 12345L, 127773L, 2147483646L}) {
        long idum = -seed;
        ShuffledStandard expected(seed);
        EXPECT_TRUE(follows(expected, idum, 5000)) << "seed " << seed;
    }
}

TEST(Ran1, TheTenThousandthStateOfSeedOneIsThePublishedOne) {
    // Park and Miller's check value counts from the seed itself; 40 steps go into the table.
    long idum = -1;
    for (int i = 40; i < 10000; ++i) {
        ran1(&idum);
    }
    EXPECT_EQ(idum, 1043618065);
}

TEST(Ran1, ZeroReseedsAsSeedOne) {
    long idum = 0;
    ShuffledStandard expected(1);
    EXPECT_TRUE(follows(expected, idum, 100));
}

TEST(Ran1, APositiveSeedContinuesWithTheTableAsItStands) {
    long idum = -99;
    ShuffledStandard expected(99);
    EXPECT_TRUE(follows(expected, idum, 50));
    idum = 31415;
    expected.state = 31415;
    EXPECT_TRUE(follows(expected, idum, 500));
}

bool first_call_starts_as_seed_one(long seed) {
    ShuffledStandard expected(1);
    return static_cast<bool>(follows(expected, seed, 200));
}

TEST(Ran1, TheFirstCallOfAllTakesAPositiveSeedAsOne) {
    EXPECT_IN_FRESH_PROCESS(first_call_starts_as_seed_one(4711));
}

TEST(Ran1, ANegativeSeedCountsOnTheFirstCallToo) {
    EXPECT_IN_FRESH_PROCESS(!first_call_starts_as_seed_one(-4711));
}

TEST(Ran1, TheLargestOutputIsHeldBelowOne) {
    long idum = -5;
    ShuffledStandard expected(5);
    EXPECT_TRUE(follows(expected, idum, 1));
    // The slots fill with modulus - 1, whose share of the modulus is 1 in single precision.
    bool seen = false;
    for (int i = 0; i < 2000; ++i) {
        idum = static_cast<long>(before(modulus - 1));
        expected.state = idum;
        const float deviate = ran1(&idum);
        EXPECT_TRUE(support::same_bits(expected.next(), deviate));
        EXPECT_LT(deviate, 1.0f);
        seen = seen || support::bits_of(deviate) == 0x3F7FFFFEU;
    }
    EXPECT_EQ(idum, modulus - 1);
    EXPECT_TRUE(seen);
}

TEST(Ran1, TheSmallestOutputIsAboveZero) {
    long idum = -6;
    ran1(&idum);
    float smallest = 1.0f;
    for (int i = 0; i < 2000; ++i) {
        idum = static_cast<long>(before(1));
        smallest = std::min(smallest, ran1(&idum));
    }
    EXPECT_EQ(smallest, 4.656612875245797e-10f);
}

TEST(Ran1, DeviatesFillTheUnitIntervalEvenly) {
    long idum = -2024;
    std::array<int, 10> counts{};
    const int draws = 100000;
    for (int i = 0; i < draws; ++i) {
        const float deviate = ran1(&idum);
        ASSERT_GT(deviate, 0.0f);
        ASSERT_LT(deviate, 1.0f);
        ++counts[static_cast<std::size_t>(deviate * 10.0f)];
    }
    for (const int count : counts) {
        EXPECT_NEAR(count, draws / 10, 500); // five standard deviations
    }
}

TEST(Ran1, AMultipleOfTheModulusAsSeedGivesZeroOnceAndThenStartsAsSeedOne) {
    long idum = -2147483647;
    EXPECT_EQ(ran1(&idum), 0.0f);
    EXPECT_EQ(idum, 0);
    ShuffledStandard expected(1);
    EXPECT_TRUE(follows(expected, idum, 100));
}

TEST(Ran1, TheSmallestSeedOfAllCountsAsOne) {
    long idum = std::numeric_limits<long>::min();
    ShuffledStandard expected(1);
    EXPECT_TRUE(follows(expected, idum, 100));
}

TEST(Ran1, WildNegativeSeedsKeepToTheTable) {
    for (const long seed : {-3000000000L, -97000000000L, -1000000000000000L, -std::numeric_limits<long>::max()}) {
        long idum = seed;
        ShuffledStandard expected(-seed);
        EXPECT_TRUE(follows(expected, idum, 1000)) << seed;
    }
}

TEST(Ran1, WildPositiveSeedsReduceTheTableIndexModuloItsSize) {
    for (const long wild : {200000000000L, 123456789012345678L, std::numeric_limits<long>::max()}) {
        long idum = -11;
        ShuffledStandard expected(11);
        EXPECT_TRUE(follows(expected, idum, 10));
        // A wild seed puts a number outside the modulus into a slot; ordinary seeds go on until it has come out.
        bool outside = false;
        for (int i = 0; i < 400; ++i) {
            idum = i % 3 == 0 ? wild - i : 1000 + i;
            expected.state = idum;
            ASSERT_TRUE(follows(expected, idum, 1)) << wild << " at " << i;
            outside = outside || expected.output < 0;
        }
        EXPECT_TRUE(outside) << wild;
    }
}

TEST(Gasdev, ReproducesThePolarMethodOnTheSharedSequence) {
    drop_spare_deviate();
    long idum = -77;
    ShuffledStandard uniform(77);
    for (int pair = 0; pair < 3000; ++pair) {
        const PolarPair expected(uniform);
        ASSERT_TRUE(support::same_bits(expected.first, gasdev(&idum))) << "pair " << pair;
        ASSERT_EQ(idum, uniform.state) << "pair " << pair;
        ASSERT_TRUE(support::same_bits(expected.second, gasdev(&idum))) << "pair " << pair;
        ASSERT_EQ(idum, uniform.state) << "a spare deviate draws nothing, pair " << pair;
    }
}

TEST(Gasdev, AReseedLeavesTheSpareDeviateInPlace) {
    drop_spare_deviate();
    long idum = -3;
    ShuffledStandard uniform(3);
    const PolarPair before(uniform);
    gasdev(&idum);

    idum = -4;
    EXPECT_TRUE(support::same_bits(before.second, gasdev(&idum)));
    EXPECT_EQ(idum, -4);
    ShuffledStandard reseeded(4);
    EXPECT_TRUE(support::same_bits(PolarPair(reseeded).first, gasdev(&idum)));
}

TEST(Gasdev, ReseedingTheUniformGeneratorLeavesTheSpareDeviateInPlace) {
    drop_spare_deviate();
    long idum = -3;
    ShuffledStandard uniform(3);
    const PolarPair before(uniform);
    gasdev(&idum);

    long other = -8;
    ran1(&other);
    EXPECT_TRUE(support::same_bits(before.second, gasdev(&other)));
}

TEST(Gasdev, APairOfExactZerosIsRejected) {
    drop_spare_deviate();
    long idum = -12;
    ShuffledStandard uniform(12);
    ASSERT_TRUE(follows(uniform, idum, 1));
    // 2^30 and 2^30 - 1 both count as one half and share no slot: each fills the slot that the other one picks.
    const std::int64_t half = 1073741824;
    for (int i = 0; i < 1000 || uniform.output != half; ++i) {
        ASSERT_LT(i, 2000);
        uniform.state = before(uniform.output / 67108864 == 16 ? half - 1 : half);
        idum = static_cast<long>(uniform.state);
        ASSERT_TRUE(follows(uniform, idum, 1));
    }
    const PolarPair expected(uniform);
    EXPECT_TRUE(std::isfinite(expected.first));
    EXPECT_TRUE(support::same_bits(expected.first, gasdev(&idum)));
}

TEST(Gasdev, APairOnTheUnitCircleItselfIsRejected) {
    drop_spare_deviate();
    long idum = -12;
    ShuffledStandard uniform(12);
    ASSERT_TRUE(follows(uniform, idum, 1));
    // Output 1 becomes the coordinate -1 and output 2^30 the coordinate 0. Each fills the slot that the other picks.
    const std::int64_t half = 1073741824;
    for (int i = 0; i < 1000 || uniform.output != 1; ++i) {
        ASSERT_LT(i, 2000);
        uniform.state = before(uniform.output / 67108864 == 0 ? half : 1);
        idum = static_cast<long>(uniform.state);
        ASSERT_TRUE(follows(uniform, idum, 1));
    }
    ShuffledStandard ahead = uniform;
    ASSERT_EQ(2.0f * ahead.next() - 1.0f, 0.0f);
    ASSERT_EQ(2.0f * ahead.next() - 1.0f, -1.0f);
    const PolarPair expected(uniform);
    EXPECT_NE(expected.first, 0.0f);
    EXPECT_TRUE(support::same_bits(expected.first, gasdev(&idum)));
    EXPECT_TRUE(support::same_bits(expected.second, gasdev(&idum)));
}

bool first_call_draws() {
    long idum = -21;
    ShuffledStandard uniform(21);
    return support::identical(PolarPair(uniform).first, gasdev(&idum));
}

TEST(Gasdev, HoldsNoSpareDeviateAtLoadTime) {
    EXPECT_IN_FRESH_PROCESS(first_call_draws());
}

TEST(Gasdev, DeviatesAreNormal) {
    long idum = -31;
    const int draws = 200000;
    double sum = 0.0;
    double squares = 0.0;
    double fourths = 0.0;
    for (int i = 0; i < draws; ++i) {
        const double g = gasdev(&idum);
        sum += g;
        squares += g * g;
        fourths += g * g * g * g;
    }
    // Five standard deviations of each mean.
    EXPECT_NEAR(sum / draws, 0.0, 5.0 * std::sqrt(1.0 / draws));
    EXPECT_NEAR(squares / draws, 1.0, 5.0 * std::sqrt(2.0 / draws));
    EXPECT_NEAR(fourths / draws, 3.0, 5.0 * std::sqrt(96.0 / draws));
}

} // namespace
