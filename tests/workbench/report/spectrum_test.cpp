#include "workbench/report/spectrum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>

namespace {

using workbench::band_power;
using workbench::SegmentKind;
using workbench::Spectrum;
using workbench::spectrum_segment;

std::vector<float> sine(double amplitude, double frequency, double rate, std::size_t samples) {
    std::vector<float> values;
    for (std::size_t i = 0; i < samples; ++i) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / rate;
        values.push_back(static_cast<float>(amplitude * std::sin(phase + 0.3)));
    }
    return values;
}

// Welch's estimate as it is written down, with a plain discrete Fourier transform.
std::vector<double> plain_density(const std::vector<float>& values, std::size_t segment, double rate) {
    const auto length = static_cast<double>(segment);
    std::vector<double> window(segment);
    double windowPower = 0.0;
    for (std::size_t i = 0; i < segment; ++i) {
        window[i] = std::pow(std::sin(std::numbers::pi * static_cast<double>(i) / length), 2.0);
        windowPower += window[i] * window[i];
    }
    std::vector<double> density(segment / 2 + 1);
    int segments = 0;
    for (std::size_t start = 0; start + segment <= values.size(); start += segment / 2) {
        ++segments;
        double mean = 0.0;
        for (std::size_t i = 0; i < segment; ++i) {
            mean += static_cast<double>(values[start + i]) / length;
        }
        for (std::size_t bin = 0; bin < density.size(); ++bin) {
            double real = 0.0;
            double imaginary = 0.0;
            for (std::size_t i = 0; i < segment; ++i) {
                const double angle = 2.0 * std::numbers::pi * static_cast<double>(bin * i) / length;
                const double value = window[i] * (static_cast<double>(values[start + i]) - mean);
                real += value * std::cos(angle);
                imaginary -= value * std::sin(angle);
            }
            const double sides = bin == 0 || bin == segment / 2 ? 1.0 : 2.0;
            density[bin] += sides * (real * real + imaginary * imaginary) / (rate * windowPower);
        }
    }
    for (double& value : density) {
        value /= segments;
    }
    return density;
}

TEST(Spectrum, IsWelchsEstimate) {
    std::vector<float> noise;
    std::uint32_t state = 3;
    for (int i = 0; i < 150; ++i) {
        state = state * 1664525U + 1013904223U;
        noise.push_back(static_cast<float>(state >> 16) / 1000.0f);
    }
    Spectrum spectrum(1, 20, 50.0);
    spectrum.add(noise.size(), noise.data());
    const std::vector<double> density = spectrum.density(0);
    const std::vector<double> expected = plain_density(noise, 20, 50.0);
    ASSERT_EQ(density.size(), expected.size());
    const double largest = *std::max_element(expected.begin(), expected.end());
    for (std::size_t bin = 0; bin < density.size(); ++bin) {
        EXPECT_NEAR(density[bin], expected[bin], 1e-10 * largest) << bin;
    }
    EXPECT_EQ(spectrum.segments(0), 14U); // 0-19, 10-29, ..., 130-149
}

TEST(Spectrum, ASinesPowerIsHalfItsAmplitudeSquared) {
    const std::vector<float> values = sine(6.0, 10.0, 250.0, 5000);
    Spectrum spectrum(1, 1000, 250.0);
    spectrum.add(values.size(), values.data());
    const std::vector<double> density = spectrum.density(0);
    EXPECT_NEAR(band_power(density, spectrum.bin_width(), 8.0, 13.0), 18.0, 1e-3);
    EXPECT_LT(band_power(density, spectrum.bin_width(), 13.0, 120.0), 1e-6);
    EXPECT_DOUBLE_EQ(spectrum.bin_width(), 0.25);
}

TEST(Spectrum, BlocksOfAnyLengthGiveTheSame) {
    const std::vector<float> first = sine(3.0, 7.0, 100.0, 1000);
    const std::vector<float> second = sine(5.0, 21.0, 100.0, 1000);
    Spectrum whole(2, 100, 100.0);
    std::vector<float> both(first);
    both.insert(both.end(), second.begin(), second.end());
    whole.add(1000, both.data());
    Spectrum parts(2, 100, 100.0);
    for (std::size_t start = 0; start < 1000;) {
        const std::size_t count = std::min<std::size_t>(start % 70 + 1, 1000 - start);
        std::vector<float> block(first.begin() + static_cast<std::ptrdiff_t>(start),
                                 first.begin() + static_cast<std::ptrdiff_t>(start + count));
        block.insert(block.end(), second.begin() + static_cast<std::ptrdiff_t>(start),
                     second.begin() + static_cast<std::ptrdiff_t>(start + count));
        parts.add(count, block.data());
        start += count;
    }
    for (std::size_t channel = 0; channel < 2; ++channel) {
        EXPECT_EQ(parts.density(channel), whole.density(channel));
    }
}

TEST(Spectrum, SegmentsWithWhatIsNoNumberDoNotCount) {
    std::vector<float> values = sine(6.0, 10.0, 250.0, 5000);
    values[700] = std::numeric_limits<float>::quiet_NaN(); // in the segments from 0 and from 500
    Spectrum spectrum(1, 1000, 250.0);
    spectrum.add(values.size(), values.data());
    EXPECT_EQ(spectrum.segments(0), 7U);
    EXPECT_NEAR(band_power(spectrum.density(0), 0.25, 8.0, 13.0), 18.0, 1e-3);
}

TEST(Spectrum, WithoutASegmentThePowerIsNothing) {
    const std::vector<float> values(9, 1.0f);
    Spectrum spectrum(1, 10, 10.0);
    spectrum.add(values.size(), values.data());
    EXPECT_EQ(spectrum.density(0), std::vector<double>(6, 0.0));
}

TEST(Spectrum, DecibelsAreAveragedOverTheSegmentsOfAKind) {
    // Segments begin at 0, 50, 100, ... The amplitude is 1 up to sample 1000, 10 behind it.
    std::vector<float> values = sine(1.0, 10.0, 100.0, 2000);
    const std::vector<float> strong = sine(10.0, 10.0, 100.0, 2000);
    std::copy(strong.begin() + 1000, strong.end(), values.begin() + 1000);
    Spectrum spectrum(1, 100, 100.0);
    spectrum.gather_logarithms(20.0, [](std::uint64_t first) {
        return first < 900 ? SegmentKind::quiet : first >= 1000 ? SegmentKind::steady : SegmentKind::other;
    });
    spectrum.add(values.size(), values.data());
    EXPECT_EQ(spectrum.segments_of(SegmentKind::quiet, 0), 18U);
    EXPECT_EQ(spectrum.segments_of(SegmentKind::steady, 0), 19U);
    const std::vector<double> quiet = spectrum.mean_decibels(SegmentKind::quiet, 0);
    const std::vector<double> steady = spectrum.mean_decibels(SegmentKind::steady, 0);
    ASSERT_EQ(quiet.size(), 21U); // 0 to 20 Hz
    EXPECT_NEAR(steady[10] - quiet[10], 20.0, 1e-4);
}

TEST(SpectrumSegment, IsFourSecondsWhereThereAreSo) {
    EXPECT_EQ(spectrum_segment(250.0, 100000), 1000U);
    EXPECT_EQ(spectrum_segment(250.3, 100000), 1000U); // 1001.2, made even
    EXPECT_EQ(spectrum_segment(250.0, 999), 998U);
    EXPECT_EQ(spectrum_segment(0.1, 50), 2U);
    EXPECT_EQ(spectrum_segment(1e9, 1U << 30), 65536U);
}

TEST(BandPower, TakesTheLowerEdgeAndNotTheUpperOne) {
    const std::vector<double> density{1.0, 2.0, 4.0, 8.0, 16.0};
    EXPECT_DOUBLE_EQ(band_power(density, 0.5, 0.5, 1.5), (2.0 + 4.0) * 0.5);
    EXPECT_DOUBLE_EQ(band_power(density, 0.5, 3.0, 9.0), 0.0);
}

} // namespace
