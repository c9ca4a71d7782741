#include "workbench/check/channel_findings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/check/made_recording.h"

namespace {

using workbench::channel_warnings;
using workbench::ChannelFindings;
using workbench::examine_channels;
using workbench::is_clipped;

constexpr std::size_t nSamples = 20000;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

std::vector<ChannelFindings> findings_of(const test::Channels& channels, float rate = 1000.0f) {
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(test::made_recording(folder, channels, rate));
    return examine_channels(recording);
}

template <class Value>
std::vector<float> channel(const Value& value) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < nSamples; ++i) {
        samples.push_back(static_cast<float>(value(static_cast<double>(i))));
    }
    return samples;
}

std::vector<float> noise(std::uint32_t seed, float size) {
    test::Noise source(seed);
    return channel([&](double) { return size * source.next(); });
}

// As a converter stores it.
std::vector<float> quantised(std::vector<float> samples, float step) {
    std::transform(samples.begin(), samples.end(), samples.begin(),
                   [&](float x) { return step * std::round(x / step); });
    return samples;
}

std::vector<float> cut_at(std::vector<float> samples, float limit) {
    std::transform(samples.begin(), samples.end(), samples.begin(),
                   [&](float x) { return std::clamp(x, -limit, limit); });
    return samples;
}

TEST(ChannelFindings, FindExtremesFlatChannelsAndSamplesThatAreNotNumbers) {
    std::vector<float> holed = noise(1, 10.0f);
    holed[0] = nan;
    holed[77] = std::numeric_limits<float>::infinity();
    holed[78] = -50.0f;
    holed[nSamples - 1] = 60.0f;
    std::vector<float> flatWithHole(nSamples, -3.5f);
    flatWithHole[9] = nan;
    const auto found =
        findings_of({holed, std::vector<float>(nSamples, 7.0f), flatWithHole, std::vector<float>(nSamples, nan)});
    ASSERT_EQ(found.size(), 4U);
    EXPECT_EQ(found[0].lowest, -50.0f);
    EXPECT_EQ(found[0].highest, 60.0f);
    EXPECT_EQ(found[0].notFinite, 2U);
    EXPECT_FALSE(found[0].flat);
    EXPECT_EQ(found[0].clipped, 0U);
    EXPECT_EQ(found[1].channel, 1U);
    EXPECT_TRUE(found[1].flat);
    EXPECT_EQ(found[1].clipped, 0U);
    EXPECT_TRUE(found[2].flat);
    EXPECT_EQ(found[2].lowest, -3.5f);
    EXPECT_EQ(found[2].notFinite, 1U);
    EXPECT_FALSE(found[3].flat);
    EXPECT_EQ(found[3].notFinite, nSamples);
    const auto sentences = channel_warnings(found, nSamples);
    ASSERT_EQ(sentences.size(), 2U);
    EXPECT_EQ(sentences[0].substr(0, 18), "channels 2, 3 flat");
    EXPECT_EQ(sentences[1].substr(0, 21), "channels 1, 3, 4 with");
}

// The plain definition: every sample of a wave that a limit cut off and that stays there for three samples or more.
TEST(ChannelFindings, CountEverySampleAtTheLimitOfASteepWave) {
    const auto wave = channel([](double i) { return 100.0 * std::sin(i * 0.05) + 20.0 * std::sin(i * 0.173); });
    const std::vector<float> cut = cut_at(wave, 90.0f);
    std::uint64_t expected = 0;
    for (std::size_t i = 0; i < nSamples;) {
        std::size_t end = i + 1;
        while (end < nSamples && cut[end] == cut[i]) {
            ++end;
        }
        expected += std::fabs(cut[i]) == 90.0f && end - i >= 3 ? end - i : 0;
        i = end;
    }
    ASSERT_GT(expected, 1000U);
    const auto found = findings_of({cut, wave});
    EXPECT_EQ(found[0].clipped, expected);
    EXPECT_TRUE(is_clipped(found[0], nSamples));
    EXPECT_EQ(found[1].clipped, 0U);
    const auto sentences = channel_warnings(found, nSamples);
    ASSERT_EQ(sentences.size(), 1U);
    EXPECT_EQ(sentences[0].substr(0, 17), "channel 1 clipped");
}

TEST(ChannelFindings, OneSideAloneCanBeClipped) {
    auto wave = channel([](double i) { return 100.0 * std::sin(i * 0.05); });
    std::transform(wave.begin(), wave.end(), wave.begin(), [](float x) { return std::max(x, -80.0f); });
    const auto found = findings_of({wave});
    EXPECT_TRUE(is_clipped(found[0], nSamples));
    EXPECT_EQ(found[0].lowest, -80.0f);
}

// A stay at one value counts only at the end of the range that is known when all has been seen.
TEST(ChannelFindings, StaysBelowALaterExtremeDoNotCount) {
    auto samples = noise(3, 10.0f);
    for (std::size_t i = 100; i < 200; ++i) {
        samples[i] = 30.0f;
    }
    EXPECT_EQ(findings_of({samples})[0].clipped, 100U);
    samples[5000] = 31.0f;
    EXPECT_EQ(findings_of({samples})[0].clipped, 0U);
}

TEST(ChannelFindings, CoarselyStoredCrestsAreNotClipped) {
    // A slow wave sampled fast rests on its highest step for a while, and the extreme of noise occurs now and then.
    const auto slow = channel([](double i) { return 40.0 * std::sin(i * 0.0126); }); // 10 Hz at 5 kHz
    auto noisy = slow;
    const auto little = noise(7, 0.4f);
    const auto wide = noise(5, 20.0f);
    std::transform(noisy.begin(), noisy.end(), little.begin(), noisy.begin(), [](float a, float b) { return a + b; });
    const auto found = findings_of(
        {quantised(slow, 0.5f), quantised(noisy, 0.5f), quantised(wide, 0.5f), quantised(wide, 1.0f)}, 5000.0f);
    for (const ChannelFindings& f : found) {
        EXPECT_FALSE(is_clipped(f, nSamples)) << "channel " << f.channel << " with " << f.clipped;
    }
    EXPECT_TRUE(channel_warnings(found, nSamples).empty());
}

TEST(ChannelFindings, AStoredWaveThatALimitCutsOffIsClipped) {
    const auto steep = channel([](double i) { return 4000.0 * std::sin(i * 0.2); });
    const auto drift = channel([](double i) { return 400.0 * std::sin(i * 0.0005); }); // stays for seconds
    const auto found = findings_of({quantised(cut_at(steep, 3276.7f), 0.1f), quantised(cut_at(drift, 327.6f), 0.5f)});
    EXPECT_TRUE(is_clipped(found[0], nSamples));
    EXPECT_TRUE(is_clipped(found[1], nSamples));
}

TEST(ChannelFindings, AChannelOfFewValuesIsNotClipped) {
    const auto pulses = channel([](double i) { return std::fmod(i, 500.0) < 20.0 ? 5.0 : 0.0; });
    const auto found = findings_of({pulses});
    EXPECT_EQ(found[0].clipped, 0U);
    EXPECT_FALSE(found[0].flat);
}

TEST(ChannelFindings, AFewSamplesAreChance) {
    ChannelFindings findings;
    findings.clipped = 9;
    EXPECT_FALSE(is_clipped(findings, 1000));
    findings.clipped = 10;
    EXPECT_TRUE(is_clipped(findings, 1000));
    EXPECT_TRUE(is_clipped(findings, 1000000));
    EXPECT_FALSE(is_clipped(findings, 1100000));
}

TEST(ChannelFindings, TellHowFarTheyAre) {
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(test::made_recording(folder, {noise(1, 1.0f)}));
    std::vector<std::uint64_t> seen;
    examine_channels(recording, [&](std::uint64_t done) { seen.push_back(done); });
    ASSERT_FALSE(seen.empty());
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.back(), nSamples);
}

// More samples than a block holds: stays are not torn where a block ends.
TEST(ChannelFindings, BlocksLeaveNoTrace) {
    const std::size_t channels = 8;
    const std::size_t block = (1U << 20) / channels;
    test::Noise source(11);
    std::vector<float> samples(2 * block);
    std::generate(samples.begin(), samples.end(), [&] { return source.next(); });
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(block) - 7,
              samples.begin() + static_cast<std::ptrdiff_t>(block) + 6, 4.0f);
    const auto found = findings_of(test::Channels(channels, samples));
    for (const ChannelFindings& f : found) {
        EXPECT_EQ(f.clipped, 13U);
    }
}

} // namespace
