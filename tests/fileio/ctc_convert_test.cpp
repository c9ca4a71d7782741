// Stored elements to physical values and back, through GetChannelSamples and SetChannelSamples.

#include "fileio/ctc_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "fileio/ctc_channel.h"

namespace {

// One channel in memory over the caller's samples.
struct OneChannel {
    CTCStruct ctc{};
    float offset;
    float scale;

    OneChannel(std::vector<short>& samples, float s, float o) : OneChannel(3, samples.size(), s, o) {
        ctc.Int16Samples = samples.data();
    }
    OneChannel(std::vector<signed char>& samples, float s, float o) : OneChannel(4, samples.size(), s, o) {
        ctc.Int8Samples = samples.data();
    }
    OneChannel(std::vector<float>& samples, float s, float o) : OneChannel(5, samples.size(), s, o) {
        ctc.FloatSamples = samples.data();
    }
    OneChannel(const OneChannel&) = delete;
    OneChannel& operator=(const OneChannel&) = delete;

private:
    OneChannel(unsigned int dataType, std::size_t count, float s, float o) : offset(o), scale(s) {
        ctc.FileVersion = 1;
        ctc.DataType = dataType;
        ctc.SampleOrdering = 1;
        ctc.NrOfChannels = 1;
        ctc.NrOfSamples = static_cast<unsigned int>(count);
        ctc.ChannelOffsets = &offset;
        ctc.ChannelScales = &scale;
    }
};

template <class Stored>
std::vector<Stored> every_value() {
    std::vector<Stored> values;
    for (int v = std::numeric_limits<Stored>::min(); v <= std::numeric_limits<Stored>::max(); ++v) {
        values.push_back(static_cast<Stored>(v));
    }
    return values;
}

template <class Stored>
std::vector<float> read_all(std::vector<Stored>& stored, float scale, float offset) {
    OneChannel channel(stored, scale, offset);
    std::vector<float> values(stored.size(), -1.0f);
    EXPECT_EQ(GetChannelSamples(values.data(), &channel.ctc, 0, 0, channel.ctc.NrOfSamples), stored.size());
    return values;
}

template <class Stored>
std::vector<Stored> written(const std::vector<float>& values, float scale, float offset) {
    std::vector<Stored> stored(values.size(), static_cast<Stored>(77)); // must be overwritten, by 0 too
    OneChannel channel(stored, scale, offset);
    EXPECT_EQ(SetChannelSamples(values.data(), &channel.ctc, 0, 0, channel.ctc.NrOfSamples), values.size());
    return stored;
}

// The low bits of an integer as a two's complement number.
template <class Stored>
Stored low_bits(long long value) {
    constexpr long long modulus = 1LL << (8 * sizeof(Stored));
    const long long rest = ((value % modulus) + modulus) % modulus;
    return static_cast<Stored>(rest >= modulus / 2 ? rest - modulus : rest);
}

struct Scaling {
    float scale;
    float offset;
};
constexpr Scaling scalings[] = {{1.0f, 0.0f},    {0.5f, 0.0f},       {0.1f, 0.3f},    {-3.7f, 1000.1f},
                                {1e-6f, -1e-3f}, {12345.678f, 9e7f}, {0.0f, -2.5f},   {1e30f, 1e35f},
                                {0.1f, 1e10f},   {3e-5f, 0.7f},      {-1.0f, 0.125f}, {7.0f, -0.1f}};

template <class Stored>
void expect_every_value_read() {
    std::vector<Stored> stored = every_value<Stored>();
    for (const Scaling s : scalings) {
        SCOPED_TRACE(testing::Message() << s.scale << ", " << s.offset);
        const std::vector<float> values = read_all(stored, s.scale, s.offset);
        int wrong = 0;
        for (std::size_t i = 0; i < stored.size(); ++i) {
            // Product and sum each rounded to float once; both are exact enough in double for that.
            const double product = static_cast<double>(stored[i]) * static_cast<double>(s.scale);
            const double sum = static_cast<double>(static_cast<float>(product)) + static_cast<double>(s.offset);
            wrong += values[i] != static_cast<float>(sum);
        }
        EXPECT_EQ(wrong, 0);
    }
}

// Quarters from below to above the range of 16 bits: what is stored is known from integer arithmetic alone.
template <class Stored>
void expect_every_quarter_written() {
    constexpr int limit = 4 * 70000;
    for (const Scaling s : {Scaling{1.0f, 0.0f}, Scaling{0.5f, 3.0f}, Scaling{-8.0f, -16.0f}}) {
        std::vector<float> values;
        for (int quarters = -limit; quarters <= limit; ++quarters) {
            values.push_back(static_cast<float>(quarters) * 0.25f * s.scale + s.offset); // exact
        }
        const std::vector<Stored> stored = written<Stored>(values, s.scale, s.offset);
        int wrong = 0;
        for (int quarters = -limit; quarters <= limit; ++quarters) {
            wrong += stored[static_cast<std::size_t>(quarters + limit)] != low_bits<Stored>(quarters / 4);
        }
        EXPECT_EQ(wrong, 0) << s.scale;
    }
}

template <class Stored>
void expect_rounded_quotients_written() {
    std::vector<float> values;
    for (int i = -60000; i <= 60000; ++i) {
        values.push_back(static_cast<float>(i) * 0.37f);
    }
    for (const Scaling s : scalings) {
        if (s.scale == 0.0f) {
            continue;
        }
        SCOPED_TRACE(testing::Message() << s.scale << ", " << s.offset);
        const std::vector<Stored> stored = written<Stored>(values, s.scale, s.offset);
        int wrong = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const float difference = static_cast<float>(static_cast<double>(values[i]) - static_cast<double>(s.offset));
            const float quotient = static_cast<float>(static_cast<double>(difference) / static_cast<double>(s.scale));
            const double whole = std::trunc(static_cast<double>(quotient));
            const bool fits = whole >= -2147483648.0 && whole <= 2147483647.0;
            wrong += stored[i] != low_bits<Stored>(fits ? static_cast<long long>(whole) : -2147483648LL);
        }
        EXPECT_EQ(wrong, 0);
    }
}

} // namespace

TEST(ReadConversion, Every16BitValueIsScaledInTwoRoundedSteps) {
    expect_every_value_read<short>();
}
TEST(ReadConversion, Every8BitValueIsScaledInTwoRoundedSteps) {
    expect_every_value_read<signed char>();
}

TEST(ReadConversion, FloatsAreScaledInTwoRoundedSteps) {
    std::vector<float> stored;
    for (int i = -5000; i <= 5000; ++i) {
        stored.push_back(static_cast<float>(i) * 0.377f);
    }
    for (const Scaling s : scalings) {
        const std::vector<float> values = read_all(stored, s.scale, s.offset);
        for (std::size_t i = 0; i < stored.size(); ++i) {
            const float product = static_cast<float>(static_cast<double>(s.scale) * static_cast<double>(stored[i]));
            const float sum = static_cast<float>(static_cast<double>(product) + static_cast<double>(s.offset));
            ASSERT_EQ(values[i], sum);
        }
    }
}

TEST(WriteConversion, QuartersAreCutTowardZeroAndTheLow16BitsKept) {
    expect_every_quarter_written<short>();
}
TEST(WriteConversion, QuartersAreCutTowardZeroAndTheLow8BitsKept) {
    expect_every_quarter_written<signed char>();
}

TEST(WriteConversion, DifferenceAndQuotientAreRoundedToFloatFor16Bits) {
    expect_rounded_quotients_written<short>();
}
TEST(WriteConversion, DifferenceAndQuotientAreRoundedToFloatFor8Bits) {
    expect_rounded_quotients_written<signed char>();
}

TEST(WriteConversion, FloatsStoreTheRoundedQuotient) {
    std::vector<float> values;
    for (int i = -5000; i <= 5000; ++i) {
        values.push_back(static_cast<float>(i) * 0.377f);
    }
    for (const Scaling s : scalings) {
        if (s.scale == 0.0f) {
            continue;
        }
        const std::vector<float> stored = written<float>(values, s.scale, s.offset);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const float difference = static_cast<float>(static_cast<double>(values[i]) - static_cast<double>(s.offset));
            ASSERT_EQ(stored[i], static_cast<float>(static_cast<double>(difference) / static_cast<double>(s.scale)));
        }
    }
}

TEST(WriteConversion, EveryStoredValueSurvivesAReadAndAWrite) {
    std::vector<short> shorts = every_value<short>();
    EXPECT_EQ(written<short>(read_all(shorts, 0.25f, 100.0f), 0.25f, 100.0f), shorts);
    std::vector<signed char> chars = every_value<signed char>();
    EXPECT_EQ(written<signed char>(read_all(chars, -0.5f, 3.0f), -0.5f, 3.0f), chars);
}

TEST(WriteConversion, ValuesOutsideTheStoredRangeWrap) {
    struct Case {
        float value;
        int low16;
        int low8;
    };
    constexpr float inf = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const Case cases[] = {
        {200.0f, 200, -56},
        {-200.0f, -200, 56},
        {127.9f, 127, 127},
        {128.0f, 128, -128},
        {-128.9f, -128, -128},
        {-129.0f, -129, 127},
        {256.0f, 256, 0},
        {32768.0f, -32768, 0},
        {-32769.0f, 32767, -1},
        {65541.0f, 5, 5},
        {16777215.0f, -1, -1},
        {-16777215.0f, 1, 1},
        {0.9999f, 0, 0},
        {-0.9999f, 0, 0},
        // The ends of 32 bits: beyond them the integer is -2^31, whose low bits are zeros.
        {2147483520.0f, -128, -128},
        {-2147483520.0f, 128, -128},
        {2147483648.0f, 0, 0},
        {-2147483648.0f, 0, 0},
        {-2147483904.0f, 0, 0},
        {4294967168.0f, 0, 0},
        {4294967296.0f + 512.0f, 0, 0},
        {1e30f, 0, 0},
        {-1e30f, 0, 0},
        {inf, 0, 0},
        {-inf, 0, 0},
        {nan, 0, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(written<short>({c.value}, 1.0f, 0.0f)[0], c.low16) << c.value;
        EXPECT_EQ(written<signed char>({c.value}, 1.0f, 0.0f)[0], c.low8) << c.value;
    }
}

TEST(WriteConversion, AScaleOfZeroStoresZeroInIntegers) {
    for (const float value : {5.0f, -5.0f, 2.0f}) { // infinities, and 0 / 0
        EXPECT_EQ(written<short>({value}, 0.0f, 2.0f)[0], 0);
        EXPECT_EQ(written<signed char>({value}, 0.0f, 2.0f)[0], 0);
        EXPECT_EQ(written<short>({value}, -0.0f, 2.0f)[0], 0);
    }
}

TEST(WriteConversion, AScaleOfZeroStoresInfinitiesInFloats) {
    const std::vector<float> stored = written<float>({5.0f, -5.0f, 2.0f}, 0.0f, 2.0f);
    EXPECT_EQ(stored[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(stored[1], -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(stored[2]));
}

TEST(WriteConversion, NonFiniteScalesAndOffsetsAreTakenAsTheyAre) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(written<short>({5.0f}, inf, 0.0f)[0], 0);
    EXPECT_EQ(written<short>({5.0f}, nan, 0.0f)[0], 0);
    EXPECT_EQ(written<short>({5.0f}, 1.0f, nan)[0], 0);
    std::vector<short> one = {1};
    EXPECT_EQ(read_all(one, inf, 0.0f)[0], inf);
    EXPECT_TRUE(std::isnan(read_all(one, nan, 0.0f)[0]));
    EXPECT_TRUE(std::isnan(read_all(one, 1.0f, nan)[0]));
    std::vector<short> zero = {0};
    EXPECT_TRUE(std::isnan(read_all(zero, inf, 0.0f)[0]));
}
