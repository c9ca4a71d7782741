#include "workbench/report/report_data.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

namespace workbench {

namespace {

using nlohmann::json;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double highestShown = 250.0; // Hz
constexpr double lowestDb = -200.0;    // stands for no power at all

json band_changes(const Densities& reference, const Densities& after, std::size_t channel, double binWidth) {
    json changes = json::array();
    for (const Band& band : eegBands) {
        changes.push_back(band_change_db(reference[channel], after[channel], binWidth, band));
    }
    return changes;
}

json channel_row(const ChannelComparison& result, bool hasTruth) {
    json row{{"artifactBefore", std::sqrt(result.lockedPowerBefore)},
             {"artifactAfter", std::sqrt(result.lockedPowerAfter)},
             {"removed", result.lockedDbRemoved},
             {"rmsBefore", result.rmsBefore},
             {"rmsAfter", result.rmsAfter}};
    if (hasTruth) {
        row["errorBefore"] = result.artifactRmsBefore;
        row["errorAfter"] = result.artifactRmsAfter;
        row["errorRemoved"] = result.artifactDbRemoved;
        row["correlation"] = result.correlationAfter;
    }
    return row;
}

// Means of `factor` neighbours each; the last one may have fewer.
std::vector<float> joined(const double* values, std::size_t count, std::size_t factor) {
    std::vector<float> means;
    for (std::size_t first = 0; first < count; first += factor) {
        const std::size_t end = std::min(count, first + factor);
        double sum = 0.0;
        for (std::size_t i = first; i < end; ++i) {
            sum += values[i];
        }
        means.push_back(static_cast<float>(sum / static_cast<double>(end - first)));
    }
    return means;
}

std::vector<float> decibels(const std::vector<float>& powers) {
    std::vector<float> db;
    for (const float power : powers) {
        const double value = power > 0.0f ? 10.0 * std::log10(static_cast<double>(power)) : lowestDb;
        db.push_back(static_cast<float>(std::max(lowestDb, value)));
    }
    return db;
}

std::vector<double> median_density(const Densities& densities) {
    std::vector<double> medians;
    for (std::size_t bin = 0; bin < densities[0].size(); ++bin) {
        std::vector<double> values;
        for (const std::vector<double>& density : densities) {
            values.push_back(density[bin]);
        }
        medians.push_back(finite_median(values));
    }
    return medians;
}

json scales_json(const std::vector<Scale>& scales) {
    json all = json::array();
    for (const Scale& scale : scales) {
        all.push_back({scale.offset, scale.step});
    }
    return all;
}

} // namespace

json packed_json(const std::vector<float>& values) {
    double lowest = HUGE_VAL;
    double highest = -HUGE_VAL;
    for (const float value : values) {
        if (std::isfinite(value)) {
            lowest = std::min(lowest, static_cast<double>(value));
            highest = std::max(highest, static_cast<double>(value));
        }
    }
    // A thousandth of the range is finer than a line is wide.
    const Scale scale = scale_for(lowest, highest, (highest - lowest) / 4000.0);
    return {scale.offset, scale.step, packed(quantised(values.data(), values.size(), scale))};
}

json channels_json(const Comparison& comparison, const std::vector<OutsideWindows>& outside,
                   const std::vector<Densities>& densities, double binWidth) {
    json rows = json::array();
    for (std::size_t channel = 0; channel < comparison.channels.size(); ++channel) {
        json row = channel_row(comparison.channels[channel], comparison.hasTruth);
        row["channel"] = channel + 1;
        row["kept"] = 100.0 * outside[channel].keptShare;
        row["bands"] = band_changes(densities[0], densities[1], channel, binWidth);
        rows.push_back(row);
    }
    json all = channel_row(comparison.all, comparison.hasTruth);
    std::vector<double> kept;
    for (const OutsideWindows& channel : outside) {
        kept.push_back(100.0 * channel.keptShare);
    }
    all["kept"] = finite_median(kept);
    return {{"rows", rows}, {"all", all}};
}

json bands_json(const SpectralFindings& findings, bool hasTruth) {
    json bands = json::array();
    for (std::size_t i = 0; i < eegBandCount; ++i) {
        bands.push_back({{"name", eegBands[i].name},
                         {"from", eegBands[i].from},
                         {"to", eegBands[i].to},
                         {"change", findings.change[i]},
                         {"between", findings.betweenHarmonics[i]},
                         {"quiet", findings.againstQuiet[i]},
                         {"truth", hasTruth ? findings.againstTruth[i] : notANumber}});
    }
    return bands;
}

json average_json(const LockedAverage& before, const LockedAverage& after, std::size_t channels, std::int64_t preS,
                  double rate, std::size_t mostPoints) {
    const std::size_t factor = (before.length + mostPoints - 1) / mostPoints;
    const double centre = static_cast<double>(factor - 1) / 2.0; // a point stands at the middle of its samples
    json series = json::array();
    for (std::size_t channel = 0; channel < channels; ++channel) {
        const auto of = [&](const std::vector<double>& values) {
            return packed_json(joined(&values[channel * before.length], before.length, factor));
        };
        series.push_back({{"before", of(before.mean)},
                          {"beforeSpread", of(before.deviation)},
                          {"after", of(after.mean)},
                          {"afterSpread", of(after.deviation)}});
    }
    return {{"windows", before.windows},
            {"firstMs", (centre - static_cast<double>(preS)) * 1000.0 / rate},
            {"stepMs", static_cast<double>(factor) * 1000.0 / rate},
            {"samplesPerPoint", factor},
            {"channels", series}};
}

json spectrum_json(const std::vector<Densities>& densities, const Spectrum& spectrum, double spacing,
                   std::size_t mostBins) {
    constexpr const char* names[] = {"before", "after", "truth"};
    const std::size_t shown =
        std::min(spectrum.bins(), static_cast<std::size_t>(std::floor(highestShown / spectrum.bin_width())) + 1);
    const std::size_t factor = (shown * densities.size() * densities[0].size() + mostBins - 1) / mostBins;
    const auto of = [&](const std::vector<double>& density) {
        // The constant part says nothing: the mean of every segment was taken off.
        return packed_json(decibels(joined(&density[1], shown - 1, factor)));
    };
    json channels = json::array();
    json median;
    for (std::size_t channel = 0; channel < densities[0].size(); ++channel) {
        json entry;
        for (std::size_t i = 0; i < densities.size(); ++i) {
            entry[names[i]] = of(densities[i][channel]);
        }
        channels.push_back(entry);
    }
    for (std::size_t i = 0; i < densities.size(); ++i) {
        median[names[i]] = of(median_density(densities[i]));
    }
    const double centre = static_cast<double>(factor - 1) / 2.0;
    return {{"firstHz", (1.0 + centre) * spectrum.bin_width()},
            {"stepHz", static_cast<double>(factor) * spectrum.bin_width()},
            {"binHz", spectrum.bin_width()},
            {"segment", spectrum.segment()},
            {"segments", spectrum.segments(0)},
            {"harmonicHz", spacing},
            {"median", median},
            {"channels", channels}};
}

json positions_json(std::vector<std::int64_t> positions) {
    std::sort(positions.begin(), positions.end());
    json distances = json::array();
    for (std::size_t i = 1; i < positions.size(); ++i) {
        distances.push_back(positions[i] - positions[i - 1]);
    }
    return {{"first", positions.empty() ? json() : json(positions[0])}, {"distances", distances}};
}

json traces_json(const TraceStore& store) {
    json stretches = json::array();
    for (const Span& stretch : store.stretches) {
        stretches.push_back({stretch.first, stretch.last});
    }
    return {{"samplesPerBin", store.samplesPerBin},
            {"bins", store.bins},
            {"before", scales_json(store.before)},
            {"after", scales_json(store.after)},
            {"stretchBefore", scales_json(store.stretchBefore)},
            {"stretchAfter", scales_json(store.stretchAfter)},
            {"stretches", stretches}};
}

} // namespace workbench
