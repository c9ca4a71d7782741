#include "workbench/report/trace_store.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace workbench {

namespace {

// Traces are rounded to this part of their typical step from sample to sample: it does not show, and rounded values
// compress well. Before the removal those steps are the artifact's; the finer division keeps the EEG in between.
constexpr double roundingAfter = 1.0 / 32.0;
constexpr double roundingBefore = 1.0 / 256.0;

// Bins of many samples are rounded to this part of the range that they span on average.
constexpr double roundingOfBins = 1.0 / 100.0;

constexpr double shareOfLayer = 0.5; // the other half is for stretches with every sample
constexpr std::size_t mostStretches = 4;

Scale scale_of(const TraceLayer& layer, std::size_t channel, double finestStep) {
    double lowest = HUGE_VAL;
    double highest = -HUGE_VAL;
    for (std::size_t bin = 0; bin < layer.bins(); ++bin) {
        if (std::isfinite(layer.lowest(channel)[bin])) {
            lowest = std::min(lowest, static_cast<double>(layer.lowest(channel)[bin]));
            highest = std::max(highest, static_cast<double>(layer.highest(channel)[bin]));
        }
    }
    return scale_for(lowest, highest, finestStep);
}

double mean_range(const TraceLayer& layer, std::size_t channel) {
    double sum = 0.0;
    double count = 0.0;
    for (std::size_t bin = 0; bin < layer.bins(); ++bin) {
        const double range =
            static_cast<double>(layer.highest(channel)[bin]) - static_cast<double>(layer.lowest(channel)[bin]);
        if (std::isfinite(range)) {
            sum += range;
            count += 1.0;
        }
    }
    return count > 0.0 ? sum / count : 0.0;
}

// The scales of the whole recording. In a layer of single samples they are those of the samples.
std::vector<Scale> layer_scales(const TraceLayer& layer, const std::vector<Scale>& ofSamples) {
    std::vector<Scale> scales;
    for (std::size_t channel = 0; channel < layer.channels(); ++channel) {
        scales.push_back(
            scale_of(layer, channel, std::max(ofSamples[channel].step, roundingOfBins * mean_range(layer, channel))));
    }
    return scales;
}

std::string layer_text(const TraceLayer& layer, std::size_t channel, const Scale& scale) {
    const std::vector<std::int16_t> lowest = quantised(layer.lowest(channel), layer.bins(), scale);
    std::string text = packed(lowest) + "\n";
    if (layer.samples_per_bin() > 1) {
        std::vector<std::int16_t> range = quantised(layer.highest(channel), layer.bins(), scale);
        for (std::size_t bin = 0; bin < range.size(); ++bin) {
            range[bin] = static_cast<std::int16_t>(static_cast<std::uint16_t>(range[bin] - lowest[bin]));
        }
        text += packed(range) + "\n";
    }
    return text;
}

// Nothing when the layers need more than `bytes`.
std::optional<std::vector<std::string>> layer_texts(const TraceLayer& before, const TraceLayer& after,
                                                    const TraceStore& store, std::uint64_t bytes,
                                                    const std::function<void()>& betweenParts) {
    std::vector<std::string> texts;
    std::uint64_t used = 0;
    for (std::size_t channel = 0; channel < before.channels(); ++channel) {
        betweenParts();
        texts.push_back(layer_text(before, channel, store.before[channel]) +
                        layer_text(after, channel, store.after[channel]));
        used += texts.back().size();
        if (used > bytes && before.bins() > 1) {
            return std::nullopt;
        }
    }
    return texts;
}

// Up to four stretches of equal length, `total` samples together: one at the first artifacts, the others spread over
// what follows.
std::vector<Span> choose_stretches(std::int64_t firstTrigger, std::int64_t samples, std::int64_t total, double rate) {
    const std::int64_t shortest = static_cast<std::int64_t>(std::ceil(2.0 * rate));
    const std::int64_t count = std::clamp<std::int64_t>(total / shortest, 1, mostStretches);
    const std::int64_t length = std::min(total / count, samples / count);
    if (length < 2) {
        return {};
    }
    const std::int64_t lead = std::min<std::int64_t>(length / 5, static_cast<std::int64_t>(rate));
    const std::int64_t start = std::clamp<std::int64_t>(firstTrigger - lead, 0, samples - count * length);
    std::vector<Span> stretches;
    for (std::int64_t i = 0; i < count; ++i) {
        const std::int64_t first = count == 1 ? start : start + (samples - length - start) * i / (count - 1);
        stretches.push_back({first, first + length - 1});
    }
    return stretches;
}

std::vector<std::string> stretch_texts(RecordingReader& before, RecordingReader& after, const TraceStore& store,
                                       const std::vector<Span>& stretches, const std::function<void()>& betweenParts) {
    const std::size_t channels = before.header().NrOfChannels;
    std::vector<std::string> texts(channels);
    std::vector<float> samples;
    for (const Span& stretch : stretches) {
        const auto count = static_cast<std::uint32_t>(stretch.last - stretch.first + 1);
        samples.resize(channels * count);
        for (RecordingReader* recording : {&before, &after}) {
            betweenParts();
            recording->read(stretch.first, count, samples.data());
            const std::vector<Scale>& scales = recording == &before ? store.stretchBefore : store.stretchAfter;
            for (std::size_t channel = 0; channel < channels; ++channel) {
                texts[channel] += packed(quantised(&samples[channel * count], count, scales[channel])) + "\n";
            }
        }
    }
    return texts;
}

std::uint64_t total_size(const std::vector<std::string>& texts) {
    std::uint64_t size = 0;
    for (const std::string& text : texts) {
        size += text.size();
    }
    return size;
}

// Fills what room there is with stretches of which every sample is held.
void add_stretches(RecordingReader& before, RecordingReader& after, TraceStore& store, std::int64_t firstTrigger,
                   std::uint64_t bytes, const std::function<void()>& betweenParts) {
    const std::int64_t samples = before.header().NrOfSamples;
    const auto channels = static_cast<double>(before.header().NrOfChannels);
    const auto rate = static_cast<double>(before.header().SamplingFrequency);
    auto total = static_cast<std::int64_t>(static_cast<double>(bytes) / (2.0 * channels * 1.5)); // bytes per value
    while (total >= 2) {
        total = std::min(total, samples);
        const std::vector<Span> stretches = choose_stretches(firstTrigger, samples, total, rate);
        const std::vector<std::string> texts = stretch_texts(before, after, store, stretches, betweenParts);
        const std::uint64_t size = total_size(texts);
        if (size <= bytes) {
            store.stretches = stretches;
            for (std::size_t channel = 0; channel < texts.size(); ++channel) {
                store.texts[channel] += texts[channel];
            }
            return;
        }
        total = static_cast<std::int64_t>(0.95 * static_cast<double>(total) * static_cast<double>(bytes) /
                                          static_cast<double>(size));
    }
}

} // namespace

TraceStore store_traces(RecordingReader& before, RecordingReader& after, Measures& measures, std::int64_t firstTrigger,
                        std::uint64_t bytes, const std::function<void()>& betweenParts) {
    TraceLayer& layerBefore = measures.traceBefore;
    TraceLayer& layerAfter = measures.traceAfter;
    TraceStore store;
    for (std::size_t channel = 0; channel < layerBefore.channels(); ++channel) {
        const double fine = layerAfter.roughness(channel) * roundingAfter;
        store.stretchBefore.push_back(
            scale_of(layerBefore, channel, std::max(fine, layerBefore.roughness(channel) * roundingBefore)));
        store.stretchAfter.push_back(scale_of(layerAfter, channel, fine));
    }
    while (true) {
        store.before = layer_scales(layerBefore, store.stretchBefore);
        store.after = layer_scales(layerAfter, store.stretchAfter);
        const bool whole = layerBefore.samples_per_bin() == 1;
        const auto room = whole ? bytes : static_cast<std::uint64_t>(shareOfLayer * static_cast<double>(bytes));
        if (auto texts = layer_texts(layerBefore, layerAfter, store, room, betweenParts)) {
            store.texts = std::move(*texts);
            break;
        }
        layerBefore.merge(whole ? 4 : 2);
        layerAfter.merge(whole ? 4 : 2);
    }
    store.samplesPerBin = layerBefore.samples_per_bin();
    store.bins = layerBefore.bins();
    if (const std::uint64_t used = total_size(store.texts); store.samplesPerBin > 1 && used < bytes) {
        add_stretches(before, after, store, firstTrigger, bytes - used, betweenParts);
    }
    return store;
}

} // namespace workbench
