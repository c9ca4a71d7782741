#include "workbench/report/spectral_findings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using workbench::Densities;
using workbench::examine_spectra;
using workbench::finite_median;
using workbench::spectral_warnings;
using workbench::SpectralFindings;
using workbench::SteadyPowers;

constexpr double binWidth = 0.25;
constexpr std::size_t bins = 801; // to 200 Hz

// The same power in all bins, and more in some.
std::vector<double> flat(double power, const std::vector<std::pair<double, double>>& peaks = {}) {
    std::vector<double> density(bins, power);
    for (const auto& [frequency, height] : peaks) {
        density[static_cast<std::size_t>(std::lround(frequency / binWidth))] = height;
    }
    return density;
}

std::vector<double> decibels(double inBand, double elsewhere, double from, double to) {
    std::vector<double> values;
    for (std::size_t bin = 0; bin <= 320; ++bin) {
        const double frequency = static_cast<double>(bin) * binWidth;
        values.push_back(frequency >= from && frequency < to ? inBand : elsewhere);
    }
    return values;
}

TEST(SpectralFindings, AFlatSpectrumAfterwardsIsFine) {
    const SpectralFindings findings =
        examine_spectra({flat(1.0, {{16.0, 1000.0}})}, {flat(1.0)}, {}, {}, binWidth, 16.0);
    EXPECT_TRUE(findings.notJudged.empty());
    EXPECT_TRUE(findings.peaks.empty());
    EXPECT_TRUE(spectral_warnings(findings).empty());
}

TEST(SpectralFindings, AHarmonicThatStandsOutIsTold) {
    const Densities before{flat(1.0, {{16.0, 1000.0}, {32.0, 1000.0}}), flat(1.0, {{16.0, 1000.0}, {32.0, 1000.0}})};
    const Densities after{flat(1.0), flat(1.0, {{16.0, 5.0}, {32.0, 10.0}})};
    const SpectralFindings findings = examine_spectra(before, after, {}, {}, binWidth, 16.0);
    ASSERT_EQ(findings.peaks.size(), 1U);
    EXPECT_EQ(findings.peaks[0].channel, 1U);
    EXPECT_DOUBLE_EQ(findings.peaks[0].frequency, 32.0);
    EXPECT_NEAR(findings.peaks[0].height, 10.0, 1e-9);
    const std::vector<std::string> warnings = spectral_warnings(findings);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0], "Some of the artifact is left: its harmonics still stand out of the spectrum in channel 2, "
                           "the highest by 10 dB at 32.0 Hz (channel 2). Try more components or shorter segments.");
}

TEST(SpectralFindings, SixDecibelsAreTheLimit) {
    const Densities before{flat(1.0, {{16.0, 1000.0}})};
    EXPECT_TRUE(examine_spectra(before, {flat(1.0, {{16.0, 3.9}})}, {}, {}, binWidth, 16.0).peaks.empty());
    EXPECT_EQ(examine_spectra(before, {flat(1.0, {{16.0, 4.0}})}, {}, {}, binWidth, 16.0).peaks.size(), 1U);
}

TEST(SpectralFindings, PeaksElsewhereAreNotTheArtifacts) {
    const Densities before{flat(1.0, {{16.0, 1000.0}, {10.0, 50.0}})};
    EXPECT_TRUE(examine_spectra(before, {flat(1.0, {{10.0, 50.0}})}, {}, {}, binWidth, 16.0).peaks.empty());
}

TEST(SpectralFindings, APeakOfTheTruthIsNotTheArtifacts) {
    const Densities peak{flat(1.0, {{16.0, 20.0}})};
    EXPECT_TRUE(examine_spectra(peak, peak, peak, {}, binWidth, 16.0).peaks.empty());
    EXPECT_EQ(examine_spectra(peak, peak, {flat(1.0)}, {}, binWidth, 16.0).peaks.size(), 1U);
}

TEST(SpectralFindings, TheMainsAreLeftOut) {
    const Densities mains{flat(1.0, {{50.0, 100.0}, {60.0, 100.0}, {100.0, 100.0}})};
    EXPECT_TRUE(examine_spectra(mains, mains, {}, {}, binWidth, 5.0).peaks.empty());
}

TEST(SpectralFindings, UnevenAndDenseArtifactsAreNotJudged) {
    const Densities peak{flat(1.0, {{16.0, 20.0}})};
    const SpectralFindings uneven = examine_spectra(peak, peak, {}, {}, binWidth, 0.0);
    EXPECT_NE(uneven.notJudged.find("unevenly"), std::string::npos);
    EXPECT_TRUE(uneven.peaks.empty());
    const SpectralFindings dense = examine_spectra(peak, peak, {}, {}, binWidth, 1.0);
    EXPECT_NE(dense.notJudged.find("1.00 Hz apart"), std::string::npos);
    EXPECT_TRUE(dense.peaks.empty());
}

TEST(SpectralFindings, ALossBetweenTheHarmonicsIsTold) {
    const Densities same{flat(1.0)};
    const SteadyPowers steady{{decibels(10.0, 0.0, 8.0, 13.0)}, {decibels(6.5, 0.0, 8.0, 13.0)}, {}};
    const SpectralFindings findings = examine_spectra(same, same, {}, steady, binWidth, 40.0);
    EXPECT_NEAR(findings.betweenHarmonics[2], -3.5, 1e-9);
    EXPECT_NEAR(findings.betweenHarmonics[3], 0.0, 1e-9);
    const std::vector<std::string> warnings = spectral_warnings(findings);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("probably lost: between the artifact's harmonics it fell (alpha -3.5 dB, median"),
              std::string::npos);
}

TEST(SpectralFindings, ALossDownToWhatIsThereWithoutArtifactIsNone) {
    const Densities same{flat(1.0)};
    const SteadyPowers steady{
        {decibels(10.0, 0.0, 8.0, 13.0)}, {decibels(5.0, 0.0, 8.0, 13.0)}, {decibels(7.0, 0.0, 8.0, 13.0)}};
    const SpectralFindings findings = examine_spectra(same, same, {}, steady, binWidth, 40.0);
    EXPECT_NEAR(findings.againstQuiet[2], -2.0, 1e-9);
    EXPECT_TRUE(spectral_warnings(findings).empty());
}

TEST(SpectralFindings, PowerNearTheHarmonicsDoesNotCountAsBetween) {
    // All that is lost lies within 2 Hz of the harmonics of 20 Hz and of the middles between them.
    std::vector<double> before(321, 0.0);
    for (std::size_t bin = 0; bin < before.size(); ++bin) {
        const double frequency = static_cast<double>(bin) * binWidth;
        before[bin] = std::abs(frequency - 10.0 * std::round(frequency / 10.0)) <= 2.0 ? 30.0 : 0.0;
    }
    const SteadyPowers steady{{before}, {std::vector<double>(321, 0.0)}, {}};
    const SpectralFindings findings = examine_spectra({flat(1.0)}, {flat(1.0)}, {}, steady, binWidth, 20.0);
    EXPECT_DOUBLE_EQ(findings.betweenHarmonics[3], 0.0);
    EXPECT_DOUBLE_EQ(findings.betweenHarmonics[4], 0.0);
}

TEST(SpectralFindings, ALossAgainstTheTruthIsTold) {
    const SpectralFindings findings = examine_spectra({flat(9.0)}, {flat(0.5)}, {flat(1.0)}, {}, binWidth, 0.0);
    EXPECT_NEAR(findings.againstTruth[0], 10.0 * std::log10(0.5), 1e-9);
    const std::vector<std::string> warnings = spectral_warnings(findings);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("less than in the recording without artifact (delta -3.0 dB, theta -3.0 dB"),
              std::string::npos);
}

TEST(FiniteMedian, LeavesOutWhatIsNoNumber) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    EXPECT_DOUBLE_EQ(finite_median({3.0, none, 1.0}), 2.0);
    EXPECT_DOUBLE_EQ(finite_median({5.0, 3.0, 1.0}), 3.0);
    EXPECT_TRUE(std::isnan(finite_median({none})));
}

} // namespace
