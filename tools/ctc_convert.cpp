#include "tools/ctc_convert.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fileio/ctc_header.h"
#include "tools/channel_ranges.h"
#include "tools/data_section.h"
#include "tools/output_recording.h"
#include "tools/recoding.h"
#include "tools/recording_text.h"
#include "workbench/channel_list.h"
#include "workbench/input_error.h"
#include "workbench/interrupt.h"
#include "workbench/recording.h"
#include "workbench/whole_number.h"

namespace tools {

namespace {

using workbench::InputError;
using workbench::InterruptHold;
using workbench::RecordingReader;

struct ConvertOptions {
    std::string input;
    std::string output;
    std::optional<std::uint32_t> dataType;
    std::optional<std::uint32_t> ordering;
    bool overwrite = false;
};

void check(const ConvertOptions& options, const RecordingReader& recording) {
    if (!options.dataType && !options.ordering) {
        throw InputError("nothing to convert: give --datatype, --ordering or both");
    }
    if (options.ordering && !recording.continuous()) {
        throw InputError(recording.path().string() + ": is cut into conditions (sample ordering " +
                         std::to_string(recording.header().SampleOrdering) +
                         "), which stay in their order; leave out --ordering");
    }
}

bool to_integers(const CTCStruct& header, std::uint32_t newType) {
    return newType != header.DataType && (newType == 3 || newType == 4);
}

// The scales of the new elements: integers use the whole range of their type, scaled floats need none.
std::vector<ChannelScale> new_scales(const std::vector<ChannelRange>& ranges, const CTCStruct& header,
                                     std::uint32_t newType) {
    std::vector<ChannelScale> scales(header.NrOfChannels);
    for (std::size_t channel = 0; channel < ranges.size(); ++channel) {
        scales[channel] = scale_to_fill(ranges[channel], newType);
    }
    return scales;
}

OutputFormat new_format(const CTCStruct& header, std::uint32_t newType, std::uint32_t newOrdering,
                        const std::vector<ChannelScale>& scales) {
    OutputFormat format = format_of(header, all_channels(header));
    format.dataType = newType;
    format.ordering = newOrdering;
    if (newType != header.DataType) {
        format.offsets.clear();
        format.scales.clear();
        for (const ChannelScale& scale : scales) {
            format.offsets.push_back(scale.offset);
            format.scales.push_back(scale.scale);
        }
    }
    return format;
}

// Every element stays at its place.
void convert_in_order(const DataSection& section, std::size_t newSize, Recoding& recoding, OutputRecording& output,
                      Job& job) {
    const CTCStruct& header = section.recording().header();
    std::vector<char> recoded;
    for_each_piece(section, blocks_of(header), all_channels(header), job,
                   [&](std::size_t channel, const char* elements, std::uint64_t count) {
                       recoded.resize(count * newSize);
                       recoding.convert(channel, count, elements, 1, recoded.data(), 1);
                       output.append(count, recoded.data());
                   });
}

// Channel by channel to sample by sample, or back, a stretch of all channels at a time.
void convert_transposed(const DataSection& section, std::size_t newSize, Recoding& recoding, OutputRecording& output,
                        Job& job) {
    const CTCStruct& header = section.recording().header();
    const std::uint64_t channels = header.NrOfChannels;
    const std::uint64_t samples = header.NrOfSamples;
    const bool interleaved = header.SampleOrdering == 1; // afterwards
    const Strides strides = strides_of(header, 0);
    const std::vector<std::uint32_t> all = all_channels(header);
    const std::uint64_t length = std::min(samples, gather_length(strides, all.size()));
    std::vector<char> elements(length * channels * section.element_size());
    std::vector<char> recoded(length * channels * newSize);
    for (std::uint64_t first = 0; first < samples; first += length) {
        const std::uint64_t count = std::min(length, samples - first);
        gather(section, first * strides.sample, strides, all, count, elements.data());
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const char* run = elements.data() + channel * count * section.element_size();
            char* place = recoded.data() + (interleaved ? channel : channel * count) * newSize;
            recoding.convert(channel, count, run, 1, place, interleaved ? channels : 1);
            if (!interleaved) {
                output.write(channel * samples + first, count, place);
            }
        }
        if (interleaved) {
            output.write(first * channels, count * channels, recoded.data());
        }
        job.advance(count * channels);
    }
}

std::uint64_t sum(const std::vector<std::uint64_t>& counts) {
    std::uint64_t total = 0;
    for (const std::uint64_t count : counts) {
        total += count;
    }
    return total;
}

std::string channels_with(const std::vector<std::uint64_t>& counts) {
    std::vector<std::uint32_t> channels;
    for (std::uint32_t channel = 0; channel < counts.size(); ++channel) {
        if (counts[channel] != 0) {
            channels.push_back(channel);
        }
    }
    return workbench::channel_list(channels);
}

// The step between neighbouring values that a channel can store, from the finest channel to the coarsest.
std::string steps_text(const std::vector<ChannelRange>& ranges, const std::vector<ChannelScale>& scales) {
    std::vector<float> steps;
    for (std::size_t channel = 0; channel < ranges.size(); ++channel) {
        if (!ranges[channel].empty() && !ranges[channel].flat()) {
            steps.push_back(scales[channel].scale);
        }
    }
    if (steps.empty()) {
        return "none (every channel is flat)";
    }
    const auto [finest, coarsest] = std::minmax_element(steps.begin(), steps.end());
    return number_text(*finest) + (*finest == *coarsest ? "" : " to " + number_text(*coarsest));
}

void report_integers(const std::vector<ChannelRange>& ranges, const std::vector<ChannelScale>& scales,
                     const Recoding& recoding) {
    std::vector<std::uint32_t> flat;
    for (std::uint32_t channel = 0; channel < ranges.size(); ++channel) {
        if (ranges[channel].flat()) {
            flat.push_back(channel);
        }
    }
    std::cout << "Quantisation step: " << steps_text(ranges, scales) << "\n"
              << "Flat:              " << (flat.empty() ? "none" : "channel " + workbench::channel_list(flat)) << "\n"
              << "Clipped:           " << sum(recoding.clipped()) << "\n"
              << "Not a number:      " << sum(recoding.not_numbers()) << "\n";
    std::vector<std::string> notes;
    if (sum(recoding.clipped()) != 0) {
        notes.push_back(std::to_string(sum(recoding.clipped())) +
                        " values are infinite or too large and were clipped to the ends of the range: channel " +
                        channels_with(recoding.clipped()));
    }
    if (sum(recoding.not_numbers()) != 0) {
        notes.push_back(std::to_string(sum(recoding.not_numbers())) +
                        " values are not numbers and were stored as 0, which is read as the offset: channel " +
                        channels_with(recoding.not_numbers()));
    }
    say_notes(notes);
}

void convert(const ConvertOptions& options) {
    const RecordingReader recording(options.input);
    const CTCStruct& header = recording.header();
    check(options, recording);
    const std::uint32_t newType = options.dataType.value_or(header.DataType);
    const std::uint32_t newOrdering = options.ordering.value_or(header.SampleOrdering);
    require_output_name(options.output, recording.path(), options.overwrite); // before the first of two passes

    InterruptHold interrupt; // the half-written file goes first
    const DataSection section(recording);
    say_notes(shortcomings(recording));
    std::vector<ChannelRange> ranges;
    if (to_integers(header, newType)) {
        ranges = channel_ranges(section, "looking for the range of every channel", &interrupt);
    }
    const std::vector<ChannelScale> scales = new_scales(ranges, header, newType);
    const OutputFormat format = new_format(header, newType, newOrdering, scales);
    const std::uint64_t elements = fileio::total_samples(header);
    Recoding recoding(header, newType, scales);
    OutputRecording output(options.output, recording.path(), format, elements, options.overwrite);
    {
        Job job("converting", elements, &interrupt);
        const std::size_t newSize = fileio::stored_size(newType);
        if (newOrdering == header.SampleOrdering) {
            convert_in_order(section, newSize, recoding, output, job);
        } else {
            convert_transposed(section, newSize, recoding, output, job);
        }
    }
    require_unchanged(recording);
    output.commit();
    std::cout << "Wrote " << options.output << ": "
              << extent_text(newOrdering, format.channels, format.samples, header.NrOfConditions) << ", data type "
              << data_type_text(newType) << ", ordering " << ordering_text(newOrdering) << "\n";
    if (to_integers(header, newType)) {
        report_integers(ranges, scales, recoding);
    } else {
        std::cout << (newType == header.DataType ? "The stored elements are unchanged.\n"
                                                 : "Every value is kept as a float.\n");
    }
}

} // namespace

void add_convert_command(CLI::App& app) {
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = app.add_subcommand("convert", "Write a recording with another data type or ordering");
    command->add_option("IN", options->input, "recording (.ctc); it is never changed")->required();
    command->add_option("OUT", options->output, "the same in the other form")->required();
    command
        ->add_option("--datatype", options->dataType, "1 float, 3 16-bit, 4 8-bit, 5 scaled float (default: as it is)")
        ->check(workbench::whole_number_problem)
        ->check(CLI::IsMember(std::vector<std::uint32_t>{1, 3, 4, 5}));
    command
        ->add_option("--ordering", options->ordering,
                     "1 channel after channel, 2 sample after sample (default: as it is)")
        ->check(workbench::whole_number_problem)
        ->check(CLI::IsMember(std::vector<std::uint32_t>{1, 2}));
    command->add_flag("--overwrite", options->overwrite, "replace an existing file");
    command->footer("Recordings that are cut into conditions keep their ordering.\n"
                    "Example, after workbench simulate -o demo.ctc:\n  ctc convert demo.ctc demo_16bit.ctc --datatype "
                    "3 --ordering 2\n");
    command->callback([options] { convert(*options); });
}

} // namespace tools
