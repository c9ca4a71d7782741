#include "workbench/comparison.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "fileio/ctc_header.h"
#include "workbench/input_error.h"

namespace workbench {

namespace {

// What the windows of one recording contribute. The indices are [channel * window length + i].
struct Track {
    RecordingReader* recording = nullptr;
    std::vector<float> samples;           // of the current window
    std::vector<double> centred;          // the same about the channel's mean
    std::vector<double> sum;              // of the centred windows so far
    std::vector<double> power;            // [channel] sum of squares of the centred windows
    std::vector<double> errorPower;       // [channel] sum of squares of the difference from the truth
    std::vector<double> withTruth;        // [channel] sum of products with the truth, both centred
    std::vector<std::uint64_t> notFinite; // [channel]

    void prepare(RecordingReader* reader, std::size_t channels, std::size_t length) {
        recording = reader;
        samples.assign(channels * length, 0.0f);
        centred.assign(channels * length, 0.0);
        sum.assign(channels * length, 0.0);
        power.assign(channels, 0.0);
        errorPower.assign(channels, 0.0);
        withTruth.assign(channels, 0.0);
        notFinite.assign(channels, 0);
    }
};

void require_match(const RecordingReader& first, const RecordingReader& second) {
    const CTCStruct& a = first.header();
    const CTCStruct& b = second.header();
    const auto refuse = [&](const std::string& what, const std::string& here, const std::string& there) {
        throw InputError("the recordings do not match: " + first.path().string() + " has " + here + " " + what + ", " +
                         second.path().string() + " has " + there);
    };
    if (a.NrOfChannels != b.NrOfChannels) {
        refuse("channels", std::to_string(a.NrOfChannels), std::to_string(b.NrOfChannels));
    }
    if (a.NrOfSamples != b.NrOfSamples) {
        refuse("samples", std::to_string(a.NrOfSamples), std::to_string(b.NrOfSamples));
    }
    if (!(a.SamplingFrequency == b.SamplingFrequency)) {
        refuse("samples per second", std::to_string(a.SamplingFrequency), std::to_string(b.SamplingFrequency));
    }
}

void require_usable(const RecordingReader& recording, const Window& window) {
    const CTCStruct& header = recording.header();
    if (!recording.continuous()) {
        throw InputError(recording.path().string() + ": is cut into conditions (sample ordering " +
                         std::to_string(header.SampleOrdering) + "); only continuous recordings can be compared");
    }
    require_sampling_frequency(recording);
    require_window(recording, window);
}

void take_window(Track& track, std::int64_t firstSample, std::size_t channels, std::size_t length) {
    track.recording->read(firstSample, static_cast<std::uint32_t>(length), track.samples.data());
    for (std::size_t channel = 0; channel < channels; ++channel) {
        const float* samples = &track.samples[channel * length];
        double mean = 0.0;
        for (std::size_t i = 0; i < length; ++i) {
            mean += static_cast<double>(samples[i]);
            track.notFinite[channel] += std::isfinite(samples[i]) ? 0U : 1U;
        }
        mean /= static_cast<double>(length);
        for (std::size_t i = 0; i < length; ++i) {
            const double value = static_cast<double>(samples[i]) - mean;
            track.centred[channel * length + i] = value;
            track.sum[channel * length + i] += value;
            track.power[channel] += value * value;
        }
    }
}

void add_truth(Track& track, const Track& truth, std::size_t channels, std::size_t length) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
        for (std::size_t i = channel * length; i < (channel + 1) * length; ++i) {
            const double error = static_cast<double>(track.samples[i]) - static_cast<double>(truth.samples[i]);
            track.errorPower[channel] += error * error;
            track.withTruth[channel] += track.centred[i] * truth.centred[i];
        }
    }
}

double locked_power(const Track& track, std::size_t channel, std::size_t length, double windows) {
    const double* sum = &track.sum[channel * length];
    double mean = 0.0;
    for (std::size_t i = 0; i < length; ++i) {
        mean += sum[i];
    }
    mean /= static_cast<double>(length);
    double power = 0.0;
    for (std::size_t i = 0; i < length; ++i) {
        const double value = (sum[i] - mean) / windows;
        power += value * value;
    }
    return power / static_cast<double>(length);
}

double total(const std::vector<double>& values, std::size_t first, std::size_t end) {
    double sum = 0.0;
    for (std::size_t i = first; i < end; ++i) {
        sum += values[i];
    }
    return sum;
}

// The results for the channels from `first` up to `end` together.
ChannelComparison results(const Track& before, const Track& after, const Track& truth, bool hasTruth, std::size_t first,
                          std::size_t end, std::size_t length, double windows) {
    const auto channels = static_cast<double>(end - first);
    const double samples = channels * windows * static_cast<double>(length);
    const auto rms = [&](const std::vector<double>& power) { return std::sqrt(total(power, first, end) / samples); };

    ChannelComparison result;
    result.rmsBefore = rms(before.power);
    result.rmsAfter = rms(after.power);
    for (std::size_t channel = first; channel < end; ++channel) {
        result.lockedPowerBefore += locked_power(before, channel, length, windows) / channels;
        result.lockedPowerAfter += locked_power(after, channel, length, windows) / channels;
        result.notFiniteBefore += before.notFinite[channel];
        result.notFiniteAfter += after.notFinite[channel];
    }
    result.lockedDbRemoved = 10.0 * std::log10(result.lockedPowerBefore / result.lockedPowerAfter);
    if (hasTruth) {
        const auto correlation = [&](const Track& track) {
            return total(track.withTruth, first, end) /
                   std::sqrt(total(track.power, first, end) * total(truth.power, first, end));
        };
        result.artifactRmsBefore = rms(before.errorPower);
        result.artifactRmsAfter = rms(after.errorPower);
        result.artifactDbRemoved = 20.0 * std::log10(result.artifactRmsBefore / result.artifactRmsAfter);
        result.correlationBefore = correlation(before);
        result.correlationAfter = correlation(after);
        for (std::size_t channel = first; channel < end; ++channel) {
            result.notFiniteTruth += truth.notFinite[channel];
        }
    }
    return result;
}

} // namespace

Comparison compare_recordings(RecordingReader& before, RecordingReader& after, RecordingReader* truth,
                              const std::vector<std::int64_t>& triggers, const Window& window) {
    require_match(before, after);
    if (truth != nullptr) {
        require_match(before, *truth);
        require_usable(*truth, window);
    }
    require_usable(before, window);
    require_usable(after, window);

    const std::size_t channels = before.header().NrOfChannels;
    const auto length = static_cast<std::size_t>(window.length());
    Track tracks[3]; // before, after, truth
    tracks[0].prepare(&before, channels, length);
    tracks[1].prepare(&after, channels, length);
    if (truth != nullptr) {
        tracks[2].prepare(truth, channels, length);
    }

    Comparison comparison;
    comparison.hasTruth = truth != nullptr;
    comparison.window = window;
    for (const std::int64_t trigger : triggers) {
        if (!window.fits(trigger, before.header().NrOfSamples)) {
            ++comparison.windowsOutside;
            continue;
        }
        ++comparison.windows;
        for (Track& track : tracks) {
            if (track.recording != nullptr) {
                take_window(track, trigger - window.preS, channels, length);
            }
        }
        if (truth != nullptr) {
            add_truth(tracks[0], tracks[2], channels, length);
            add_truth(tracks[1], tracks[2], channels, length);
        }
    }
    if (comparison.windows == 0) {
        throw InputError("none of the " + std::to_string(triggers.size()) +
                         " windows lies inside the recording; nothing can be compared");
    }

    const auto windows = static_cast<double>(comparison.windows);
    const auto of = [&](std::size_t first, std::size_t end) {
        return results(tracks[0], tracks[1], tracks[2], comparison.hasTruth, first, end, length, windows);
    };
    for (std::size_t channel = 0; channel < channels; ++channel) {
        comparison.channels.push_back(of(channel, channel + 1));
    }
    comparison.all = of(0, channels);
    return comparison;
}

} // namespace workbench
