#include "workbench/report/spectral_findings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "workbench/channel_list.h"

namespace workbench {

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
// Harmonics closer than this many bins run into each other under the Hann window (its main lobe has four).
constexpr double fewestBinsApart = 10.0;
constexpr double highestHarmonic = 120.0; // Hz; above, hardly any EEG is looked at
constexpr double harmonicBins = 3.0;      // nearer bins belong to the harmonic itself
// Farther from every line of the comb than this share of their distance is "between".
constexpr double betweenShare = 0.25;
// The neighbourhood that a harmonic is compared with ends here, or half-way to the next one.
constexpr double neighbourhood = 2.0; // Hz

// Lines of the mains would be taken for the artifact's.
bool near_mains(double frequency) {
    for (const double mains : {50.0, 60.0}) {
        if (std::abs(frequency - mains * std::round(frequency / mains)) < 1.0 && frequency > 1.0) {
            return true;
        }
    }
    return false;
}

std::size_t nearest_bin(double frequency, double binWidth) {
    return static_cast<std::size_t>(std::lround(frequency / binWidth));
}

double peak_power(const std::vector<double>& density, std::size_t bin) {
    return std::max({density[bin - 1], density[bin], density[bin + 1]});
}

// How far a harmonic stands out of the bins around it, in dB.
double peak_height(const std::vector<double>& density, std::size_t bin, double binWidth, double spacing) {
    const auto reach = static_cast<std::size_t>(std::min(neighbourhood, spacing / 2.0) / binWidth);
    std::vector<double> around;
    for (auto distance = static_cast<std::size_t>(harmonicBins); distance <= reach; ++distance) {
        if (distance <= bin) {
            around.push_back(density[bin - distance]);
        }
        if (bin + distance < density.size()) {
            around.push_back(density[bin + distance]);
        }
    }
    const double floor = finite_median(around);
    return floor > 0.0 ? 10.0 * std::log10(peak_power(density, bin) / floor) : notANumber;
}

// Half-way between two harmonics stands power of the artifact, too, where every second one differs a little (sampled
// half a sample later, or a slice of the other parity).
bool between_harmonics(double frequency, double binWidth, double spacing) {
    const double comb = spacing / 2.0;
    const double distance = std::abs(frequency - comb * std::round(frequency / comb));
    return distance > std::max(harmonicBins * binWidth, betweenShare * comb);
}

// Change of a band's power between the harmonics, in dB.
double change_between(const std::vector<double>& before, const std::vector<double>& after, double binWidth,
                      double spacing, const Band& band) {
    double sum = 0.0;
    double count = 0.0;
    for (std::size_t bin = 0; bin < before.size(); ++bin) {
        const double frequency = static_cast<double>(bin) * binWidth;
        if (frequency >= band.from && frequency < band.to && between_harmonics(frequency, binWidth, spacing)) {
            sum += after[bin] - before[bin];
            count += 1.0;
        }
    }
    return count > 0.0 ? sum / count : notANumber;
}

void find_peaks(SpectralFindings& findings, const Densities& before, const Densities& after, const Densities& truth,
                double binWidth) {
    const double spacing = findings.spacing;
    const double end = std::min(highestHarmonic, 0.9 * static_cast<double>(after[0].size() - 1) * binWidth);
    for (std::size_t channel = 0; channel < after.size(); ++channel) {
        SpectralFindings::Peak highest{static_cast<std::uint32_t>(channel), 0.0, 0.0};
        for (double frequency = spacing; frequency < end; frequency += spacing) {
            if (near_mains(frequency)) {
                continue;
            }
            const std::size_t bin = nearest_bin(frequency, binWidth);
            const double height = peak_height(after[channel], bin, binWidth, spacing);
            // The artifact's own peak was there before, and the EEG without artifact has none.
            const bool wasThere = peak_power(before[channel], bin) > 0.8 * peak_power(after[channel], bin);
            const bool isEeg =
                !truth.empty() && peak_power(after[channel], bin) < 2.0 * peak_power(truth[channel], bin);
            if (height >= peakThreshold && wasThere && !isEeg && height > highest.height) {
                highest = {static_cast<std::uint32_t>(channel), frequency, height};
            }
        }
        if (highest.height > 0.0) {
            findings.peaks.push_back(highest);
        }
    }
}

std::string band_list(const std::array<double, eegBandCount>& values, const std::array<bool, eegBandCount>& told) {
    std::string text;
    for (std::size_t i = 0; i < eegBandCount; ++i) {
        if (told[i]) {
            text +=
                (text.empty() ? "" : ", ") + std::string(eegBands[i].name) + " " + decimal_text(values[i], 1) + " dB";
        }
    }
    return text;
}

std::string lost_against_truth(const SpectralFindings& findings) {
    std::array<bool, eegBandCount> told{};
    for (std::size_t i = 0; i < eegBandCount; ++i) {
        told[i] = findings.againstTruth[i] <= lossAgainstTruthThreshold;
    }
    return band_list(findings.againstTruth, told);
}

std::string lost_between(const SpectralFindings& findings) {
    std::array<bool, eegBandCount> told{};
    for (std::size_t i = 0; i < eegBandCount; ++i) {
        const bool fell = findings.betweenHarmonics[i] <= lossThreshold;
        told[i] = fell && !(findings.againstQuiet[i] > lossThreshold);
    }
    return band_list(findings.betweenHarmonics, told);
}

} // namespace

double finite_median(std::vector<double> values) {
    std::erase_if(values, [](double value) { return !std::isfinite(value); });
    if (values.empty()) {
        return notANumber;
    }
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

std::string decimal_text(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

SpectralFindings examine_spectra(const Densities& before, const Densities& after, const Densities& truth,
                                 const SteadyPowers& steady, double binWidth, double spacing) {
    SpectralFindings findings;
    findings.spacing = spacing;
    if (!(spacing > 0.0)) {
        findings.notJudged =
            "The triggers are unevenly spaced, so that the artifact has no sharp harmonics: what is left "
            "of it cannot be told from the spectrum.";
    } else if (spacing < fewestBinsApart * binWidth) {
        findings.notJudged = "The artifact's harmonics lie " + decimal_text(spacing, 2) +
                             " Hz apart, too close to be told from what is between them.";
    } else {
        find_peaks(findings, before, after, truth, binWidth);
    }
    for (std::size_t band = 0; band < eegBandCount; ++band) {
        std::vector<double> change;
        std::vector<double> between;
        std::vector<double> quiet;
        std::vector<double> against;
        for (std::size_t channel = 0; channel < after.size(); ++channel) {
            change.push_back(band_change_db(before[channel], after[channel], binWidth, eegBands[band]));
            if (findings.notJudged.empty() && !steady.before.empty()) {
                between.push_back(
                    change_between(steady.before[channel], steady.after[channel], binWidth, spacing, eegBands[band]));
                if (!steady.quiet.empty()) {
                    quiet.push_back(change_between(steady.quiet[channel], steady.after[channel], binWidth, spacing,
                                                   eegBands[band]));
                }
            }
            if (!truth.empty()) {
                against.push_back(band_change_db(truth[channel], after[channel], binWidth, eegBands[band]));
            }
        }
        findings.change[band] = finite_median(change);
        findings.betweenHarmonics[band] = finite_median(between);
        findings.againstQuiet[band] = finite_median(quiet);
        findings.againstTruth[band] = finite_median(against);
    }
    return findings;
}

std::vector<std::string> spectral_warnings(const SpectralFindings& findings) {
    std::vector<std::string> warnings;
    if (!findings.peaks.empty()) {
        std::vector<std::uint32_t> channels;
        const SpectralFindings::Peak* highest = &findings.peaks[0];
        for (const SpectralFindings::Peak& peak : findings.peaks) {
            channels.push_back(peak.channel);
            highest = peak.height > highest->height ? &peak : highest;
        }
        warnings.push_back("Some of the artifact is left: its harmonics still stand out of the spectrum in channel" +
                           std::string(channels.size() == 1 ? " " : "s ") + channel_list(channels) +
                           ", the highest by " + decimal_text(highest->height, 0) + " dB at " +
                           decimal_text(highest->frequency, 1) + " Hz (channel " +
                           std::to_string(highest->channel + 1) + "). Try more components or shorter segments.");
    }
    const std::string againstTruth = lost_against_truth(findings);
    const std::string between = lost_between(findings);
    const std::string advice = "; some EEG was taken along. Try fewer components or longer segments.";
    if (!againstTruth.empty()) {
        warnings.push_back("EEG power was lost: less than in the recording without artifact (" + againstTruth +
                           ", median over the channels)" + advice);
    } else if (!between.empty() && std::isnan(findings.againstTruth[0])) {
        warnings.push_back("EEG power was probably lost: between the artifact's harmonics it fell (" + between +
                           ", median over the channels)" + advice);
    }
    return warnings;
}

} // namespace workbench
