#include "tools/ctc_info.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "fileio/ctc_header.h"
#include "tools/channel_ranges.h"
#include "tools/recording_text.h"
#include "workbench/channel_list.h"
#include "workbench/recording.h"

namespace tools {

namespace {

struct InfoOptions {
    std::string file;
    bool headerOnly = false;
};

void line(const char* label, const std::string& text) {
    std::printf("%-15s %s\n", label, text.c_str());
}

template <class... Texts>
void row(const Texts&... cells) {
    std::string text;
    const auto add = [&](const std::string& cell) {
        text += (text.empty() ? "" : "  ") + std::string(cell.size() < 14 ? 14 - cell.size() : 0, ' ') + cell;
    };
    (add(cells), ...);
    std::printf("%s\n", text.c_str());
}

bool has_rate(const CTCStruct& header) {
    return std::isfinite(header.SamplingFrequency) && header.SamplingFrequency > 0.0f;
}

std::string seconds_text(const CTCStruct& header, std::uint64_t samples) {
    return has_rate(header) ? number_text(static_cast<double>(samples) / static_cast<double>(header.SamplingFrequency))
                            : "unknown";
}

std::string data_section_text(const workbench::RecordingReader& recording) {
    const CTCStruct& header = recording.header();
    const std::uint64_t bytes = fileio::total_samples(header) * fileio::stored_size(header.DataType);
    const std::uint64_t end = recording.data_position() + bytes;
    std::error_code error;
    const std::uint64_t fileBytes = std::filesystem::file_size(recording.path(), error);
    std::string text = std::to_string(bytes) + " bytes from byte " + std::to_string(recording.data_position()) + " on";
    if (!error && fileBytes < end) {
        text += ", of which the last " + std::to_string(end - fileBytes) + " are missing";
    } else if (!error && fileBytes > end) {
        text += ", then " + std::to_string(fileBytes - end) + " more";
    }
    return text;
}

void print_conditions(const CTCStruct& header) {
    std::printf("\n");
    row("condition", "trials", "pre", "post", "epoch", "epoch [s]");
    for (std::uint32_t k = 0; k < header.NrOfConditions; ++k) {
        const std::uint64_t length = std::uint64_t{header.PreTriggerSamples[k]} + header.PostTriggerSamples[k];
        row(std::to_string(k + 1), std::to_string(header.NrOfTrials[k]), std::to_string(header.PreTriggerSamples[k]),
            std::to_string(header.PostTriggerSamples[k]), std::to_string(length), seconds_text(header, length));
    }
}

void print_header(const workbench::RecordingReader& recording) {
    const CTCStruct& header = recording.header();
    line("File", recording.path().string());
    line("File version", std::to_string(header.FileVersion));
    line("Compression", header.CompressionType == 0 ? "none" : "type " + std::to_string(header.CompressionType));
    line("Data type", data_type_text(header.DataType));
    line("Ordering", ordering_text(header.SampleOrdering));
    line("Channels", std::to_string(header.NrOfChannels));
    line("Samples", std::to_string(header.NrOfSamples) +
                        (recording.continuous() ? " per channel" : " (not used: the conditions tell)"));
    line("Rate", number_text(header.SamplingFrequency) + " Hz");
    if (recording.continuous()) {
        line("Duration", seconds_text(header, header.NrOfSamples) + (has_rate(header) ? " s" : ""));
    }
    line("Conditions", header.NrOfConditions == 0 ? "none" : std::to_string(header.NrOfConditions));
    line("Data section", data_section_text(recording));
    if (header.NrOfConditions != 0) {
        print_conditions(header);
    }
}

void print_ranges(const CTCStruct& header, const std::vector<ChannelRange>& ranges) {
    const bool scaled = header.DataType != 1;
    std::vector<std::uint32_t> flat;
    std::vector<std::uint32_t> notFinite;
    std::printf("\n");
    if (scaled) {
        row("channel", "lowest", "highest", "not finite", "scale", "offset");
    } else {
        row("channel", "lowest", "highest", "not finite");
    }
    for (std::uint32_t channel = 0; channel < ranges.size(); ++channel) {
        const ChannelRange& range = ranges[channel];
        const std::string lowest = range.empty() ? "-" : number_text(range.lowest);
        const std::string highest = range.empty() ? "-" : number_text(range.highest);
        if (scaled) {
            row(std::to_string(channel + 1), lowest, highest, std::to_string(range.notFinite),
                number_text(header.ChannelScales[channel]), number_text(header.ChannelOffsets[channel]));
        } else {
            row(std::to_string(channel + 1), lowest, highest, std::to_string(range.notFinite));
        }
        if (range.flat()) {
            flat.push_back(channel);
        }
        if (range.notFinite != 0) {
            notFinite.push_back(channel);
        }
    }
    std::printf("\n");
    line("Flat", flat.empty() ? "none" : "channel " + workbench::channel_list(flat));
    line("Not finite", notFinite.empty() ? "none" : "channel " + workbench::channel_list(notFinite));
}

void info(const InfoOptions& options) {
    const workbench::RecordingReader recording(options.file);
    print_header(recording);
    std::fflush(stdout);
    say_notes(shortcomings(recording));
    if (!options.headerOnly) {
        const DataSection section(recording);
        print_ranges(recording.header(), channel_ranges(section, "reading", nullptr));
    }
}

} // namespace

void add_info_command(CLI::App& app) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = app.add_subcommand("info", "Show a recording's header and the range of every channel");
    command->add_option("FILE", options->file, "recording (.ctc)")->required();
    command->add_flag("--header", options->headerOnly, "the header only; the samples are not read");
    command->footer("Example, after workbench simulate -o demo.ctc:\n  ctc info demo.ctc\n");
    command->callback([options] { info(*options); });
}

} // namespace tools
