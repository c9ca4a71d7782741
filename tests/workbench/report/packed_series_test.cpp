#include "workbench/report/packed_series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/workbench/report/series_reader.h"

namespace {

using test::unpacked;
using workbench::base64;
using workbench::packed;
using workbench::quantised;
using workbench::Scale;
using workbench::scale_for;

TEST(Base64, KnownTexts) { // RFC 4648, section 10
    const auto of = [](const std::string& text) { return base64({text.begin(), text.end()}); };
    EXPECT_EQ(of(""), "");
    EXPECT_EQ(of("f"), "Zg==");
    EXPECT_EQ(of("fo"), "Zm8=");
    EXPECT_EQ(of("foo"), "Zm9v");
    EXPECT_EQ(of("foobar"), "Zm9vYmFy");
    EXPECT_EQ(base64({0xFF, 0xFE, 0xFD}), "//79");
}

TEST(PackedSeries, EveryValueComesBack) {
    std::vector<std::int16_t> all;
    for (int value = -32768; value <= 32767; ++value) {
        all.push_back(static_cast<std::int16_t>(value));
    }
    EXPECT_EQ(unpacked(packed(all)), all);
}

TEST(PackedSeries, LeapsBetweenTheEndsOfTheRangeComeBack) {
    const std::vector<std::int16_t> leaps{-32768, 32767, -32768, 32767, 0, 32767, 32767, -32768, 1};
    EXPECT_EQ(unpacked(packed(leaps)), leaps);
}

TEST(PackedSeries, EachPredictionComesBack) {
    std::vector<std::int16_t> noise;
    std::vector<std::int16_t> walk;
    std::vector<std::int16_t> parabola;
    std::uint32_t state = 7;
    for (int i = 0; i < 1000; ++i) {
        state = state * 1664525U + 1013904223U;
        noise.push_back(static_cast<std::int16_t>(static_cast<int>(state >> 20) - 2048));
        const int step = static_cast<int>(state >> 28) - 8;
        walk.push_back(static_cast<std::int16_t>(i == 0 ? 5000 : walk.back() + step));
        parabola.push_back(static_cast<std::int16_t>(i * i / 40));
    }
    for (const auto& series : {noise, walk, parabola}) {
        EXPECT_EQ(unpacked(packed(series)), series);
    }
    EXPECT_LT(packed(walk).size(), packed(noise).size());
    EXPECT_LT(packed(parabola).size(), 400U); // its second differences are nearly all alike
}

TEST(PackedSeries, NothingComesBackAsNothing) {
    EXPECT_TRUE(unpacked(packed({})).empty());
    EXPECT_EQ(unpacked(packed({-5})), std::vector<std::int16_t>{-5});
}

TEST(Quantised, ValuesAreWithinHalfAStep) {
    const Scale scale = scale_for(-3.0, 7.0, 0.0);
    EXPECT_DOUBLE_EQ(scale.offset, 2.0);
    EXPECT_DOUBLE_EQ(scale.step, 10.0 / 65534.0);
    const std::vector<float> values{-3.0f, 7.0f, 2.0f, 0.123f};
    const std::vector<std::int16_t> steps = quantised(values.data(), values.size(), scale);
    EXPECT_EQ(steps[0], -32767);
    EXPECT_EQ(steps[1], 32767);
    EXPECT_EQ(steps[2], 0);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(scale.offset + scale.step * steps[i], static_cast<double>(values[i]), 0.500001 * scale.step);
    }
}

TEST(Quantised, WhatIsNoNumberIsAGap) {
    const std::vector<float> values{std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                    -std::numeric_limits<float>::infinity(), 1.0f};
    EXPECT_EQ(quantised(values.data(), 4, {0.0, 0.5}), (std::vector<std::int16_t>{-32768, -32768, -32768, 2}));
}

TEST(Quantised, OutsideTheScaleAreItsEnds) {
    const std::vector<float> values{1e30f, -1e30f};
    EXPECT_EQ(quantised(values.data(), 2, {0.0, 1.0}), (std::vector<std::int16_t>{32767, -32767}));
}

TEST(Scale, NoFinerThanAsked) {
    EXPECT_DOUBLE_EQ(scale_for(-1.0, 1.0, 0.25).step, 0.25);
}

TEST(Scale, OneValueAndNoValueAreUsable) {
    EXPECT_DOUBLE_EQ(scale_for(4.0, 4.0, 0.0).offset, 4.0);
    EXPECT_GT(scale_for(4.0, 4.0, 0.0).step, 0.0);
    EXPECT_GT(scale_for(HUGE_VAL, -HUGE_VAL, 0.0).step, 0.0);
}

} // namespace
