#include "workbench/check/component_spectrum.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/check/made_recording.h"

namespace {

using workbench::ComponentSpectrum;
using workbench::examine_components;
using workbench::outstanding_components;
using workbench::spectrum_picture;
using workbench::Window;

constexpr int length = 64;
constexpr int nTriggers = 60;

std::vector<std::int64_t> triggers() {
    std::vector<std::int64_t> result;
    for (int k = 0; k < nTriggers; ++k) {
        result.push_back(std::int64_t{k} * length);
    }
    return result;
}

// Three orthogonal waves at every trigger, each of a size that changes, and little noise.
std::vector<float> artifact(std::uint32_t seed) {
    test::Noise noise(seed);
    std::vector<float> samples;
    for (int k = 0; k < nTriggers; ++k) {
        const double sizes[] = {100.0, 30.0 * (k % 2 == 0 ? 1 : -1), 10.0 * (k % 4 < 2 ? 1 : -1)};
        for (int i = 0; i < length; ++i) {
            double value = 0.1 * static_cast<double>(noise.next());
            for (int wave = 0; wave < 3; ++wave) {
                value += sizes[wave] * std::sin(2.0 * std::numbers::pi * (wave + 1) * i / length);
            }
            samples.push_back(static_cast<float>(value));
        }
    }
    return samples;
}

ComponentSpectrum with_levels(const std::vector<double>& levels) {
    ComponentSpectrum spectrum;
    spectrum.levels = levels;
    spectrum.shares.assign(levels.size(), 0.1);
    return spectrum;
}

TEST(ComponentSpectrum, ShowsTheWavesThatAnArtifactHas) {
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(
        test::made_recording(folder, {artifact(1), artifact(2), std::vector<float>(nTriggers * length, 3.0f)}));
    const Window window{0, length - 1};
    const ComponentSpectrum spectrum = examine_components(recording, triggers(), window, 20, 3, {0, 1});
    EXPECT_EQ(spectrum.channels, (std::vector<std::uint32_t>{0, 1}));
    EXPECT_EQ(spectrum.epochs, 20U);
    ASSERT_EQ(spectrum.shares.size(), 20U);
    EXPECT_NEAR(spectrum.shares[0], 10000.0 / 11000.0, 1e-4);
    EXPECT_NEAR(spectrum.shares[1], 900.0 / 11000.0, 1e-4);
    EXPECT_NEAR(spectrum.shares[2], 100.0 / 11000.0, 1e-4);
    EXPECT_NEAR(spectrum.levels[0] - spectrum.levels[1], std::log10(10000.0 / 900.0), 1e-3);
    EXPECT_EQ(outstanding_components(spectrum, window), 3);
    EXPECT_GT(spectrum.fitSeconds, 0.0);
}

TEST(ComponentSpectrum, ASegmentOfWhichWindowsAreMissingIsStillLookedAt) {
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(test::made_recording(folder, {artifact(1)}));
    std::vector<std::int64_t> late = triggers();
    late.push_back(100000);
    const ComponentSpectrum spectrum = examine_components(recording, late, {0, length - 1}, 61, 3, {0});
    EXPECT_EQ(spectrum.segments, 1U);
    EXPECT_EQ(outstanding_components(spectrum, {0, length - 1}), 3);
}

TEST(ComponentSpectrum, OfFlatChannelsIsEmpty) {
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(test::made_recording(folder, {std::vector<float>(nTriggers * length, 3.0f)}));
    const ComponentSpectrum spectrum = examine_components(recording, triggers(), {0, length - 1}, 20, 3, {0});
    EXPECT_TRUE(spectrum.shares.empty());
    EXPECT_EQ(outstanding_components(spectrum, {0, length - 1}), 0);
    EXPECT_EQ(spectrum_picture(spectrum, 1), "");
}

TEST(OutstandingComponents, GoUpToTheLastThatIsTwiceTheNext) {
    std::vector<double> levels(40, 0.0);
    for (std::size_t p = 0; p < levels.size(); ++p) {
        levels[p] = 4.0 - 0.1 * static_cast<double>(p);
    }
    EXPECT_EQ(outstanding_components(with_levels(levels), {0, 199}), 0);
    levels[0] += 2.0;
    EXPECT_EQ(outstanding_components(with_levels(levels), {0, 199}), 1);
    for (std::size_t p = 0; p < 5; ++p) {
        levels[p] += 0.25;
    }
    EXPECT_EQ(outstanding_components(with_levels(levels), {0, 199}), 5);
}

TEST(OutstandingComponents, AreLimitedByTenTheSegmentAndTheWindow) {
    std::vector<double> steep; // every one stands out
    for (int p = 0; p < 60; ++p) {
        steep.push_back(-0.5 * p);
    }
    EXPECT_EQ(outstanding_components(with_levels(steep), {0, 999}), 10);
    EXPECT_EQ(outstanding_components(with_levels(steep), {0, 31}), 4); // an eighth of 32 samples
    EXPECT_EQ(outstanding_components(with_levels(steep), {0, 2}), 1);
    steep.resize(12);
    EXPECT_EQ(outstanding_components(with_levels(steep), {0, 999}), 4);
}

TEST(SpectrumPicture, HasABarForEachComponentThatMarksWhatGoes) {
    const std::string picture = spectrum_picture(with_levels({2.0, 1.0, 0.9, 0.8, 0.7, 0.6, 0.5, 0.4, 0.3}), 2);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '\n'), 8);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '#'), 17 + 7); // ten a power, and one
    EXPECT_NE(picture.find("  1       10 %  #################\n"), std::string::npos) << picture;
    EXPECT_NE(picture.find("  8       10 %  -\n"), std::string::npos) << picture;
}

} // namespace
