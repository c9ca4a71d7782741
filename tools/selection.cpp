#include "tools/selection.h"

#include <cmath>
#include <sstream>

#include "tools/recording_text.h"
#include "workbench/input_error.h"
#include "workbench/whole_number.h"

namespace tools {

using workbench::InputError;
using workbench::RecordingReader;

namespace {

std::string without_blanks(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// A channel's number from 1 as written in a list; 0 where it is none.
std::uint32_t channel_number(const std::string& text) {
    const std::string number = without_blanks(text);
    const std::optional<int> value = workbench::whole_number(number);
    return value && *value > 0 ? static_cast<std::uint32_t>(*value) : 0;
}

// The sample nearest to a time.
std::uint64_t sample_at(const RecordingReader& recording, const char* option, double seconds) {
    const CTCStruct& header = recording.header();
    const auto rate = static_cast<double>(header.SamplingFrequency);
    const double sample = std::floor(seconds * rate + 0.5);
    if (!(sample >= 0.0 && sample <= static_cast<double>(header.NrOfSamples))) {
        throw InputError(std::string(option) + " " + number_text(seconds) + " is outside the recording, which has " +
                         number_text(header.NrOfSamples / rate) + " seconds");
    }
    return static_cast<std::uint64_t>(sample);
}

} // namespace

std::vector<std::uint32_t> selected_channels(const RecordingReader& recording, const std::optional<std::string>& list) {
    const std::uint32_t nChannels = recording.header().NrOfChannels;
    std::vector<std::uint32_t> channels;
    std::vector<bool> taken(nChannels, false);
    const auto take = [&](std::uint32_t number) {
        if (taken[number - 1]) {
            throw InputError("--channels names channel " + std::to_string(number) + " twice");
        }
        taken[number - 1] = true;
        channels.push_back(number - 1);
    };
    if (!list) {
        for (std::uint32_t number = 1; number <= nChannels; ++number) {
            take(number);
        }
        return channels;
    }
    std::istringstream parts(*list + ",");
    for (std::string part; std::getline(parts, part, ',');) {
        const std::size_t dash = part.find('-');
        const std::uint32_t first = channel_number(part.substr(0, dash));
        const std::uint32_t last = dash == std::string::npos ? first : channel_number(part.substr(dash + 1));
        if (first == 0 || last < first) {
            throw InputError("--channels must be a list of numbers and ranges from 1, such as 1,3,5-8, not \"" + *list +
                             "\"");
        }
        if (last > nChannels) {
            throw InputError("--channels names channel " + std::to_string(last) + "; " + recording.path().string() +
                             " has " + std::to_string(nChannels));
        }
        for (std::uint32_t number = first; number <= last; ++number) {
            take(number);
        }
    }
    return channels;
}

SampleRange selected_samples(const RecordingReader& recording, const SelectionOptions& options) {
    const CTCStruct& header = recording.header();
    SampleRange range{0, header.NrOfSamples};
    if (!options.from && !options.to) {
        return range;
    }
    if (!recording.continuous()) {
        throw InputError(recording.path().string() + ": is cut into conditions (sample ordering " +
                         std::to_string(header.SampleOrdering) + "); --from and --to are for continuous recordings");
    }
    if (!std::isfinite(header.SamplingFrequency) || header.SamplingFrequency <= 0.0f) {
        throw InputError(recording.path().string() + ": has a sampling frequency of " +
                         number_text(header.SamplingFrequency) + " Hz; --from and --to mean nothing in it");
    }
    range.first = options.from ? sample_at(recording, "--from", *options.from) : range.first;
    range.end = options.to ? sample_at(recording, "--to", *options.to) : range.end;
    if (range.first >= range.end) {
        throw InputError("there is no sample from " + number_text(options.from.value_or(0.0)) + " s" +
                         (options.to ? " to " + number_text(*options.to) + " s" : " on"));
    }
    return range;
}

} // namespace tools
