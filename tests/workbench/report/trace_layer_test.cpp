#include "workbench/report/trace_layer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/workbench/report/recordings.h"

namespace {

using test::block_of;
using test::Channels;
using workbench::bin_for;
using workbench::TraceLayer;

Channels noise(std::size_t channels, std::size_t samples) {
    Channels values(channels);
    std::uint32_t state = 11;
    for (auto& channel : values) {
        for (std::size_t i = 0; i < samples; ++i) {
            state = state * 1664525U + 1013904223U;
            channel.push_back(static_cast<float>(static_cast<int>(state >> 12) - 500000));
        }
    }
    return values;
}

void expect_extremes(const TraceLayer& layer, const Channels& values, std::size_t perBin) {
    const std::size_t samples = values[0].size();
    ASSERT_EQ(layer.bins(), (samples + perBin - 1) / perBin);
    EXPECT_EQ(layer.samples_per_bin(), perBin);
    for (std::size_t channel = 0; channel < values.size(); ++channel) {
        for (std::size_t bin = 0; bin < layer.bins(); ++bin) {
            const auto begin = values[channel].begin() + static_cast<std::ptrdiff_t>(bin * perBin);
            const auto end =
                values[channel].begin() + static_cast<std::ptrdiff_t>(std::min(samples, (bin + 1) * perBin));
            EXPECT_EQ(layer.lowest(channel)[bin], *std::min_element(begin, end));
            EXPECT_EQ(layer.highest(channel)[bin], *std::max_element(begin, end));
        }
    }
}

TEST(TraceLayer, HoldsTheExtremesOfEveryBin) {
    const Channels values = noise(3, 1003);
    for (const std::size_t perBin : {1, 4, 8, 1003, 5000}) {
        TraceLayer layer(3, 1003, perBin);
        layer.add(1003, block_of(values).data());
        expect_extremes(layer, values, perBin);
    }
}

TEST(TraceLayer, BlocksOfAnyLengthGiveTheSame) {
    const Channels values = noise(2, 500);
    TraceLayer layer(2, 500, 8);
    for (std::size_t first = 0; first < 500;) {
        const std::size_t count = std::min<std::size_t>(first % 23 + 1, 500 - first);
        Channels part;
        for (const auto& channel : values) {
            part.emplace_back(channel.begin() + static_cast<std::ptrdiff_t>(first),
                              channel.begin() + static_cast<std::ptrdiff_t>(first + count));
        }
        layer.add(count, block_of(part).data());
        first += count;
    }
    expect_extremes(layer, values, 8);
}

TEST(TraceLayer, MergedBinsHoldTheExtremesOfAll) {
    const Channels values = noise(3, 1003);
    TraceLayer layer(3, 1003, 1);
    layer.add(1003, block_of(values).data());
    layer.merge(4);
    expect_extremes(layer, values, 4);
    layer.merge(2);
    expect_extremes(layer, values, 8);
    layer.merge(1);
    expect_extremes(layer, values, 8);
}

TEST(TraceLayer, WhatIsNoNumberIsLeftOut) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    TraceLayer layer(1, 8, 4);
    layer.add(8, std::vector<float>{none, 3.0f, infinite, -2.0f, none, none, -infinite, none}.data());
    EXPECT_EQ(layer.lowest(0)[0], -2.0f);
    EXPECT_EQ(layer.highest(0)[0], 3.0f);
    EXPECT_TRUE(std::isnan(layer.lowest(0)[1]));
    EXPECT_TRUE(std::isnan(layer.highest(0)[1]));
    layer.merge(2);
    EXPECT_EQ(layer.lowest(0)[0], -2.0f);
    EXPECT_EQ(layer.highest(0)[0], 3.0f);
}

TEST(TraceLayer, RoughnessIsTheRmsOfTheSteps) {
    TraceLayer layer(1, 6, 1);
    layer.add(2, std::vector<float>{1.0f, 4.0f}.data());
    layer.add(4, std::vector<float>{0.0f, std::numeric_limits<float>::quiet_NaN(), 100.0f, 100.0f}.data());
    EXPECT_DOUBLE_EQ(layer.roughness(0), std::sqrt((9.0 + 16.0 + 0.0) / 3.0)); // none across the gap
}

TEST(BinFor, IsOneOrAPowerOfTwoFromFour) {
    EXPECT_EQ(bin_for(2, 1000, 2000), 1U);
    EXPECT_EQ(bin_for(2, 1000, 1999), 4U);
    EXPECT_EQ(bin_for(2, 1000, 500), 4U);
    EXPECT_EQ(bin_for(2, 1000, 499), 8U);
    EXPECT_EQ(bin_for(2, 1, 1), 1U);
    EXPECT_GE(bin_for(100, 1000, 1), 1000U); // one bin per channel is the least there can be
}

} // namespace
