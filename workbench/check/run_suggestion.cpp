#include "workbench/check/run_suggestion.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "workbench/run_settings.h"

namespace workbench {

namespace {

constexpr std::size_t mostAveraged = 200;

// Components follow what changes slowly from artifact to artifact the better the fewer a segment has, and are the less
// mixed with EEG the more it has. 50 is what gradient artifacts and heartbeats do well with.
constexpr std::size_t usualSegment = 50;

// Of the distances, in order, the one that this share is shorter than.
constexpr double shortShare = 0.1;
// Of the average's power above chance, what may lie outside the window on either side.
constexpr double shareCutOff = 0.005;
// Added on either side, as a share of the window: single artifacts begin earlier and end later than their average, and
// where a window cuts into one, a step stays behind.
constexpr double margin = 0.1;
// The average's power, in units of what chance leaves, from which it stands out.
constexpr double standsOut = 1.0;

std::vector<std::int64_t> sorted_distances(std::vector<std::int64_t> triggers) {
    std::sort(triggers.begin(), triggers.end());
    std::vector<std::int64_t> distances;
    for (std::size_t i = 1; i < triggers.size(); ++i) {
        if (triggers[i] != triggers[i - 1]) {
            distances.push_back(triggers[i] - triggers[i - 1]);
        }
    }
    std::sort(distances.begin(), distances.end());
    return distances;
}

// The fewest whole milliseconds that make so many samples; within what the module takes.
int milliseconds_for(std::int64_t samples, float rate) {
    const double exact = static_cast<double>(std::max<std::int64_t>(samples, 0)) * 1000.0 / static_cast<double>(rate);
    const double whole = std::min(std::ceil(exact), static_cast<double>(longestWindow));
    int ms = static_cast<int>(whole);
    while (ms < longestWindow && window_in_samples(0, ms, rate).postS < samples) { // single precision rounds down
        ++ms;
    }
    return ms;
}

// Shortens a window that is longer than the recording.
WindowSuggestion within(WindowSuggestion window, float rate, std::uint64_t nSamples) {
    const auto length = [&] { return window_in_samples(window.pre, window.post, rate).length(); };
    while (length() > static_cast<std::int64_t>(nSamples) && window.pre + window.post > 0) {
        --(window.post > 0 ? window.post : window.pre);
    }
    return window;
}

// The mean of each channel's window is taken off: recordings may stand far from zero.
void take_window(const float* samples, std::size_t count, double* sums, double* squares) {
    double mean = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        mean += static_cast<double>(samples[i]);
    }
    mean /= static_cast<double>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double x = static_cast<double>(samples[i]) - mean;
        sums[i] += x;
        squares[i] += x * x;
    }
}

} // namespace

LockedPower examine_locked_power(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                 std::int64_t reach, const std::vector<std::uint32_t>& channels) {
    const Window window{reach, reach};
    const auto length = static_cast<std::size_t>(window.length());
    std::vector<std::int64_t> inside;
    std::copy_if(triggers.begin(), triggers.end(), std::back_inserter(inside),
                 [&](std::int64_t t) { return window.fits(t, recording.header().NrOfSamples); });
    const std::size_t n = std::min(mostAveraged, inside.size());
    LockedPower power{-reach, std::vector<double>(length, 0.0)};
    if (n < 2 || channels.empty()) {
        return power;
    }
    std::vector<float> samples(recording.header().NrOfChannels * length);
    std::vector<double> sums(channels.size() * length, 0.0);
    std::vector<double> squares(sums.size(), 0.0);
    for (std::size_t i = 0; i < n; ++i) {
        recording.read(inside[i * inside.size() / n] - reach, static_cast<std::uint32_t>(length), samples.data());
        for (std::size_t c = 0; c < channels.size(); ++c) {
            take_window(&samples[channels[c] * length], length, &sums[c * length], &squares[c * length]);
        }
    }
    const auto count = static_cast<double>(n);
    for (std::size_t c = 0; c < channels.size(); ++c) {
        // What chance leaves of an average is a share of the spread between the windows, here over all lags: where the
        // artifact itself varies, the spread there says little of the rest.
        double chance = 0.0;
        for (std::size_t i = c * length; i < (c + 1) * length; ++i) {
            chance += (squares[i] - sums[i] * sums[i] / count) / ((count - 1.0) * count * static_cast<double>(length));
        }
        for (std::size_t i = 0; i < length && chance > 0.0; ++i) {
            const double mean = sums[c * length + i] / count;
            power.excess[i] += (mean * mean / chance - 1.0) / static_cast<double>(channels.size());
        }
    }
    return power;
}

WindowSuggestion tiling_window(const std::vector<std::int64_t>& triggers, const TriggerFindings& findings, int pre,
                               float rate, std::uint64_t nSamples) {
    // Distances that stand out (pauses, missed triggers) do not count.
    const auto usual = [&](std::int64_t d) {
        return std::fabs(static_cast<double>(d) - findings.medianDistance) <= 0.1 * findings.medianDistance;
    };
    const std::vector<std::int64_t> distances = sorted_distances(triggers);
    std::int64_t shortest = 0;
    std::int64_t longest = 0;
    for (const std::int64_t d : distances) {
        if (usual(d)) {
            shortest = shortest == 0 ? d : shortest;
            longest = d;
        }
    }
    // More than a sample of difference is jitter, which needs no covering: the artifact is over before.
    const std::int64_t length = longest - shortest <= 1 ? longest : shortest;
    const std::int64_t preS = window_in_samples(pre, 0, rate).preS;
    return within({pre, milliseconds_for(length - 1 - preS, rate), WindowReason::tiles}, rate, nSamples);
}

WindowSuggestion window_around_triggers(const std::vector<std::int64_t>& triggers, const LockedPower& power, float rate,
                                        std::uint64_t nSamples) {
    const std::vector<std::int64_t> distances = sorted_distances(triggers);
    const auto rank = static_cast<std::size_t>(shortShare * static_cast<double>(distances.size()));
    const std::int64_t longest = std::clamp<std::int64_t>(distances.empty() ? 0 : distances[rank], 2, -power.firstLag);
    const auto value = [&](std::int64_t lag) {
        return std::max(0.0, power.excess[static_cast<std::size_t>(lag - power.firstLag)]);
    };

    // The place of the longest window in which the average is strongest. It holds the trigger.
    double sum = 0.0;
    for (std::int64_t lag = 1 - longest; lag <= 0; ++lag) {
        sum += value(lag);
    }
    double best = sum;
    std::int64_t start = 1 - longest;
    for (std::int64_t first = 2 - longest; first <= 0; ++first) {
        sum += value(first + longest - 1) - value(first - 1);
        if (sum > best) {
            best = sum;
            start = first;
        }
    }
    if (best < standsOut * static_cast<double>(longest)) {
        return within(
            {milliseconds_for(longest / 2, rate), milliseconds_for((longest - 1) / 2, rate), WindowReason::distance},
            rate, nSamples);
    }
    // Less its ends, where next to nothing is.
    std::int64_t first = start;
    std::int64_t last = start + longest - 1;
    for (double cut = value(first); first < 0 && cut < shareCutOff * best; cut += value(first)) {
        ++first;
    }
    for (double cut = value(last); last > 0 && cut < shareCutOff * best; cut += value(last)) {
        --last;
    }
    const std::int64_t length = last - first + 1;
    const auto wished = static_cast<std::int64_t>(std::ceil(margin * static_cast<double>(length)));
    const std::int64_t wider = std::min(wished, (longest - length) / 2);
    first -= wider;
    last += wider;
    return within({milliseconds_for(-first, rate), milliseconds_for(last, rate), WindowReason::average}, rate,
                  nSamples);
}

int suggested_segment(std::size_t nTriggers, int components) {
    const std::size_t segments = std::max<std::size_t>(1, (nTriggers + usualSegment / 2) / usualSegment);
    const std::size_t even = (nTriggers + segments - 1) / segments;
    return std::max({smallestSegment, components, static_cast<int>(even)});
}

} // namespace workbench
