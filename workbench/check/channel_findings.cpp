#include "workbench/check/channel_findings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "workbench/channel_list.h"

namespace workbench {

namespace {

constexpr std::uint32_t blockValues = 1 << 20; // of all channels together

// What tells an amplifier's or converter's limit from a wave's own crest:
//
// - The signal stays exactly at the channel's highest (or lowest) value for three samples or more. Stored floats hardly
//   ever do that by chance.
// - Stored integers do: the crest of a slow wave, sampled fast, rests on one step of the converter for a while. It gets
//   there and leaves step by step, whereas a wave that is cut off still rises when it is. So a stay counts only where
//   the signal jumps by more than four steps into or out of it, or where it lasts for a tenth of a second, longer than
//   any crest with EEG on it. The step is the smallest difference between neighbouring samples.
// - A channel that takes but a few values (triggers, a status word) is always at an end of its range. It has none.
constexpr std::uint64_t shortestStay = 3;
constexpr double steepSteps = 4.0;
constexpr double longStaySeconds = 0.1;
constexpr double fewestSteps = 16.0;

constexpr std::uint64_t fewestClipped = 10;
constexpr std::uint64_t oneClippedIn = 100000;

// The stays at one end of a channel's range. It is turned so that this end is up.
class Limit {
public:
    explicit Limit(std::uint64_t longStay) : longStay_(longStay) {}

    // `jump` is how far the sample lies from the one before it, 0 at a channel's start.
    void take(double value, double jump, double step) {
        if (value > reached_) { // all stays so far were below the limit
            reached_ = value;
            clipped_ = 0;
            length_ = 0;
        }
        if (value == reached_) {
            jumpInto_ = length_ == 0 ? jump : jumpInto_;
            ++length_;
        } else {
            end_stay(jump, step);
        }
    }
    void end_stay(double jumpOut, double step) {
        const bool steep = std::max(jumpInto_, jumpOut) > steepSteps * step;
        if (length_ >= longStay_ || (length_ >= shortestStay && steep)) {
            clipped_ += length_;
        }
        length_ = 0;
    }
    double reached() const { return reached_; }
    std::uint64_t clipped() const { return clipped_; }

private:
    std::uint64_t longStay_;
    double reached_ = -std::numeric_limits<double>::infinity();
    double jumpInto_ = 0.0;
    std::uint64_t length_ = 0; // of the stay that goes on
    std::uint64_t clipped_ = 0;
};

// One channel's samples as they come. The step is known after a few of them, well enough to judge a stay when it ends.
class ChannelExamination {
public:
    explicit ChannelExamination(std::uint64_t longStay) : top_(longStay), bottom_(longStay) {}

    void take(float sample) {
        if (!std::isfinite(sample)) {
            ++notFinite_;
            return;
        }
        const double value = static_cast<double>(sample);
        const double jump = seen_ ? std::fabs(value - previous_) : 0.0;
        step_ = jump > 0.0 ? std::min(step_, jump) : step_;
        top_.take(value, jump, step_);
        bottom_.take(-value, jump, step_);
        previous_ = value;
        seen_ = true;
    }

    ChannelFindings findings(std::uint32_t channel) {
        ChannelFindings result;
        result.channel = channel;
        result.notFinite = notFinite_;
        if (!seen_) {
            return result;
        }
        top_.end_stay(0.0, step_);
        bottom_.end_stay(0.0, step_);
        const double range = top_.reached() + bottom_.reached();
        result.highest = static_cast<float>(top_.reached());
        result.lowest = static_cast<float>(-bottom_.reached());
        result.flat = range == 0.0;
        result.clipped = range >= fewestSteps * step_ ? top_.clipped() + bottom_.clipped() : 0;
        return result;
    }

private:
    Limit top_;
    Limit bottom_; // of the values with their sign turned
    double step_ = std::numeric_limits<double>::infinity();
    double previous_ = 0.0;
    bool seen_ = false; // a finite sample
    std::uint64_t notFinite_ = 0;
};

template <class Condition>
std::vector<std::uint32_t> channels_where(const std::vector<ChannelFindings>& findings, const Condition& condition) {
    std::vector<std::uint32_t> channels;
    for (const ChannelFindings& f : findings) {
        if (condition(f)) {
            channels.push_back(f.channel);
        }
    }
    return channels;
}

std::string named(const std::vector<std::uint32_t>& channels) {
    return (channels.size() == 1 ? "channel " : "channels ") + channel_list(channels);
}

std::string percent(std::uint64_t part, std::uint64_t whole) {
    char number[32];
    std::snprintf(number, sizeof number, "%.2g %%", 100.0 * static_cast<double>(part) / static_cast<double>(whole));
    return number;
}

} // namespace

std::vector<ChannelFindings> examine_channels(RecordingReader& recording,
                                              const std::function<void(std::uint64_t)>& progress) {
    const CTCStruct& header = recording.header();
    const std::uint32_t nChannels = header.NrOfChannels;
    const double longStay = std::ceil(longStaySeconds * static_cast<double>(header.SamplingFrequency));
    const std::uint64_t longest = longStay >= 1.0 && longStay < 1e15 ? static_cast<std::uint64_t>(longStay) : 1;
    std::vector<ChannelExamination> examinations(nChannels, ChannelExamination(std::max(longest, shortestStay)));
    const std::uint32_t block = std::min(header.NrOfSamples, std::max<std::uint32_t>(64, blockValues / nChannels));
    std::vector<float> samples(std::size_t{nChannels} * block);
    for (std::uint32_t done = 0; done < header.NrOfSamples;) {
        const std::uint32_t count = std::min(block, header.NrOfSamples - done);
        recording.read(done, count, samples.data());
        for (std::uint32_t channel = 0; channel < nChannels; ++channel) {
            const float* first = &samples[std::size_t{channel} * count];
            for (std::uint32_t i = 0; i < count; ++i) {
                examinations[channel].take(first[i]);
            }
        }
        done += count;
        if (progress) {
            progress(done);
        }
    }
    std::vector<ChannelFindings> findings;
    findings.reserve(nChannels);
    for (std::uint32_t channel = 0; channel < nChannels; ++channel) {
        findings.push_back(examinations[channel].findings(channel));
    }
    return findings;
}

bool is_clipped(const ChannelFindings& findings, std::uint64_t nSamples) {
    return findings.clipped >= std::max(fewestClipped, nSamples / oneClippedIn);
}

std::vector<std::string> channel_warnings(const std::vector<ChannelFindings>& findings, std::uint64_t nSamples) {
    std::vector<std::string> sentences;
    const auto add = [&](const std::vector<std::uint32_t>& channels, const std::string& what) {
        if (!channels.empty()) {
            sentences.push_back(named(channels) + what);
        }
    };
    add(channels_where(findings, [](const ChannelFindings& f) { return f.flat; }),
        " flat: one value throughout; was the electrode off?");
    std::uint64_t mostClipped = 0;
    std::uint64_t mostNotFinite = 0;
    for (const ChannelFindings& f : findings) {
        mostClipped = std::max(mostClipped, f.clipped);
        mostNotFinite = std::max(mostNotFinite, f.notFinite);
    }
    add(channels_where(findings, [&](const ChannelFindings& f) { return is_clipped(f, nSamples); }),
        " clipped: the signal stays at its highest or lowest value as at a limit of the amplifier (in up to " +
            percent(mostClipped, nSamples) + " of the samples); what was cut off there cannot be brought back");
    add(channels_where(findings, [](const ChannelFindings& f) { return f.notFinite != 0; }),
        " with samples that are not numbers (up to " + percent(mostNotFinite, nSamples) + " of them)");
    return sentences;
}

} // namespace workbench
