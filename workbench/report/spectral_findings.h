#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "workbench/report/measures.h"

/// What the spectra say about a removal: is some of the artifact left, was some of the EEG taken?
namespace workbench {

/// Power densities [channel][bin].
using Densities = std::vector<std::vector<double>>;

/// Mean powers in dB, [channel][bin].
struct SteadyPowers {
    // While the artifact goes on; empty where it never does for long.
    std::vector<std::vector<double>> before;
    std::vector<std::vector<double>> after;
    std::vector<std::vector<double>> quiet; ///< where there is none of it; empty where there is no such place
};

struct SpectralFindings {
    /// Frequency at which the artifact recurs, in hertz; 0 where its triggers are too uneven for harmonics.
    double spacing = 0.0;
    /// Why harmonics and the power between them were not judged, as a sentence; empty when they were.
    std::string notJudged;
    // A harmonic at which a channel still stands out.
    struct Peak {
        std::uint32_t channel;
        double frequency;
        double height; ///< dB above its neighbourhood
    };
    std::vector<Peak> peaks; ///< the highest one of each channel that has any
    // Medians over the channels in dB, one per EEG band; not a number where they could not be told.
    std::array<double, eegBandCount> change{};           ///< all of the band, after against before
    std::array<double, eegBandCount> betweenHarmonics{}; ///< where the artifact has little power
    std::array<double, eegBandCount> againstQuiet{};     ///< there, while the artifact goes on against where it is not
    std::array<double, eegBandCount> againstTruth{};     ///< all of the band, after against the truth
};

/// A harmonic that stands this far out of its neighbourhood after the removal is told (dB).
constexpr double peakThreshold = 6.0;
/// A band that lost this much between the harmonics is told (dB); before the removal an unsteady artifact adds a little
/// there, so that a small loss need not be the EEG's. Where the recording has stretches without artifact, the power
/// must be this much less than there, too.
constexpr double lossThreshold = -3.0;
/// A band that lost this much against the truth is told (dB).
constexpr double lossAgainstTruthThreshold = -1.0;

/// @param truth    empty where it is not known
/// @param spacing  how often per second the artifact recurs; 0 where that is uneven
SpectralFindings examine_spectra(const Densities& before, const Densities& after, const Densities& truth,
                                 const SteadyPowers& steady, double binWidth, double spacing);

/// One plain sentence per kind of trouble; empty when all is well.
std::vector<std::string> spectral_warnings(const SpectralFindings& findings);

/// Median of the values that are finite; not a number when none is.
double finite_median(std::vector<double> values);

/// "12.5": a number for a sentence.
std::string decimal_text(double value, int digits);

} // namespace workbench
