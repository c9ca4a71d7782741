#include "workbench/preflight.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>

#include "workbench/channel_list.h"
#include "workbench/input_error.h"
#include "workbench/shell_quoted.h"
#include "workbench/window.h"

namespace workbench {

namespace {

constexpr std::size_t largestBlock = std::size_t{1} << 20; // sample values looked at in one go

void check_range(const char* option, const std::optional<int>& value, int lowest, int highest,
                 const std::string& what) {
    if (value && (*value < lowest || *value > highest)) {
        throw InputError(std::string(option) + " " + std::to_string(*value) + " is out of range: give " + what +
                         " from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
}

std::string in_quotes(const std::string& text) {
    return "\"" + text + "\"";
}

// What the module does to recordings of this data type and ordering; empty where their cleaned epochs are usable.
std::string damage(const CTCStruct& header) {
    if ((header.DataType == 3 || header.DataType == 4) && header.SampleOrdering == 1) {
        return "this recording holds " + std::string(header.DataType == 3 ? "16" : "8") +
               "-bit samples channel by channel (data type " + std::to_string(header.DataType) +
               ", ordering 1): the module writes every cleaned epoch one window length later than it belongs";
    }
    if (header.DataType == 5) {
        return "this recording holds scaled floats (data type 5): the module moves single bytes of them and spoils "
               "the cleaned epochs";
    }
    return "";
}

// The command that makes a recording of it that the module cleans properly: plain floats.
std::string conversion(const RecordingReader& recording) {
    std::filesystem::path converted = recording.path();
    converted.replace_filename(converted.stem().string() + "_float.ctc");
    return "ctc convert " + shell_quoted(recording.path().string()) + " " + shell_quoted(converted.string()) +
           " --datatype 1 --ordering " + std::to_string(recording.header().SampleOrdering);
}

void announce_data_type(const RecordingReader& recording, std::vector<std::string>& lines) {
    const CTCStruct& header = recording.header();
    if (!damage(header).empty()) {
        lines.push_back(damage(header) +
                        "; for a usable result clean what this command makes: " + conversion(recording));
    }
    if (header.CompressionType != 0) {
        lines.push_back("the header calls the data compressed (type " + std::to_string(header.CompressionType) +
                        "): the module reads it as if it were not");
    }
}

// Notes for each channel whether a window holds another value than the first of its segment.
void look_at_window(RecordingReader& recording, std::int64_t start, std::uint64_t length, bool firstOfSegment,
                    std::vector<float>& block, std::vector<float>& first, std::vector<bool>& varies) {
    const std::size_t nChannels = first.size();
    const std::size_t blockLength = std::clamp<std::size_t>(largestBlock / nChannels, 1, length);
    block.resize(nChannels * blockLength);
    for (std::uint64_t done = 0; done < length; done += blockLength) {
        const std::size_t count = std::min(blockLength, length - done);
        recording.read(start + static_cast<std::int64_t>(done), static_cast<std::uint32_t>(count), block.data());
        for (std::size_t c = 0; c < nChannels; ++c) {
            const float* samples = &block[c * count];
            first[c] = firstOfSegment && done == 0 ? samples[0] : first[c];
            varies[c] = varies[c] || std::any_of(samples, samples + count, [&](float x) { return x != first[c]; });
        }
    }
}

// Channels that hold one and the same value in all windows of some segment.
std::vector<std::uint32_t> flat_channels(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                         const Window& window, std::size_t perSegment) {
    const std::size_t nChannels = recording.header().NrOfChannels;
    std::vector<float> block;
    std::vector<float> first(nChannels);
    std::vector<bool> varies(nChannels);
    std::vector<bool> flat(nChannels, false);
    std::size_t seen = 0;
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        if (i % perSegment == 0) {
            seen = 0;
            varies.assign(nChannels, false);
        }
        if (window.fits(triggers[i], recording.header().NrOfSamples)) {
            look_at_window(recording, triggers[i] - window.preS, static_cast<std::uint64_t>(window.length()), seen == 0,
                           block, first, varies);
            ++seen;
        }
        const bool segmentEnds = (i + 1) % perSegment == 0 || i + 1 == triggers.size();
        for (std::size_t c = 0; segmentEnds && seen > 0 && c < nChannels; ++c) {
            flat[c] = flat[c] || !varies[c];
        }
    }
    std::vector<std::uint32_t> channels;
    for (std::uint32_t c = 0; c < nChannels; ++c) {
        if (flat[c]) {
            channels.push_back(c);
        }
    }
    return channels;
}

} // namespace

void check_settings(const RecordingReader& recording, const Protocol& protocol, const RunSettings& settings) {
    const CTCStruct& header = recording.header();
    if (!recording.continuous()) {
        throw InputError(recording.path().string() + " is not a continuous recording (sample ordering " +
                         std::to_string(header.SampleOrdering) + "): the module can only clean orderings 1 and 2");
    }
    if (!settings.asIs && !damage(header).empty()) {
        throw InputError(damage(header) + "; convert it first and clean the result (" + conversion(recording) +
                         "), or give --as-is to run all the same");
    }
    require_sampling_frequency(recording);
    if (protocol.conditions.empty()) {
        throw InputError("the protocol has no condition: add one with the artifact triggers");
    }
    check_range("--pre", settings.pre, 0, longestWindow, "milliseconds before the trigger");
    check_range("--post", settings.post, 0, longestWindow, "milliseconds after the trigger");
    if (settings.pre && settings.post) {
        require_window(recording, window_in_samples(*settings.pre, *settings.post, header.SamplingFrequency));
    }
    int nTrials = INT32_MAX;
    if (settings.condition) {
        const ProtocolCondition& condition = protocol.conditions[static_cast<std::size_t>(*settings.condition)];
        nTrials = static_cast<int>(condition.intervals.size());
        if (nTrials < smallestSegment) {
            throw InputError("the condition " + in_quotes(condition.name) + " has " + std::to_string(nTrials) +
                             " triggers; the smallest segment needs " + std::to_string(smallestSegment));
        }
    }
    check_range("--segment", settings.segment, smallestSegment, nTrials, "artifacts per segment");
    check_range("--components", settings.components, 1, settings.segment.value_or(nTrials), "components to keep");
}

std::vector<std::string> announcements(RecordingReader& recording, const Protocol& protocol,
                                       const RunSettings& settings) {
    const CTCStruct& header = recording.header();
    std::vector<std::string> lines;
    announce_data_type(recording, lines);
    if (recording.missing_elements() != 0) {
        lines.push_back("the data section is cut short: " + std::to_string(recording.missing_elements()) +
                        " sample values are missing and count as stored zeros");
    }
    if (!settings.condition || !settings.pre || !settings.post) {
        return lines;
    }
    const Window window = window_in_samples(*settings.pre, *settings.post, header.SamplingFrequency);
    const std::vector<std::int64_t> triggers = trigger_samples(
        protocol, protocol.conditions[static_cast<std::size_t>(*settings.condition)], header.SamplingFrequency);
    const auto outside = std::count_if(triggers.begin(), triggers.end(),
                                       [&](std::int64_t t) { return !window.fits(t, header.NrOfSamples); });
    if (window.length() == 1) {
        lines.push_back(
            "the window has one sample: less its mean nothing is left to fit, and cleaned samples will not be "
            "numbers");
    }
    if (outside != 0) {
        lines.push_back(std::to_string(outside) + " of " + std::to_string(triggers.size()) +
                        " triggers have a window that passes an end of the recording; they are not cleaned");
    }
    if (settings.segment) {
        const std::vector<std::uint32_t> flat =
            flat_channels(recording, triggers, window, static_cast<std::size_t>(*settings.segment));
        if (!flat.empty()) {
            lines.push_back("flat in the windows of a whole segment, so the fit there may give values that are not "
                            "numbers: channel " +
                            channel_list(flat));
        }
    }
    return lines;
}

} // namespace workbench
