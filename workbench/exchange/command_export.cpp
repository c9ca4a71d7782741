#include "workbench/exchange/command_export.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "workbench/exchange/brainvision_writer.h"
#include "workbench/exchange/channels_table.h"
#include "workbench/exchange/edf_writer.h"
#include "workbench/exchange/export_job.h"
#include "workbench/exchange/file_set.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/interrupt.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/run_error.h"
#include "workbench/window.h"

namespace workbench {

using namespace exchange;

namespace {

namespace fs = std::filesystem;

struct ExportOptions {
    std::string input;
    std::string output;
    std::string protocol;
    std::string channels;
    bool overwrite = false;
};

enum class Format { edf, bdf, brainVision };

Format format_of(const fs::path& output) {
    const std::string ending = lower_case(output.extension().string());
    if (ending == ".edf") {
        return Format::edf;
    }
    if (ending == ".bdf") {
        return Format::bdf;
    }
    if (ending == ".vhdr") {
        return Format::brainVision;
    }
    throw InputError(output.string() + ": the name must end in .edf, .bdf or .vhdr, which chooses the format");
}

std::vector<fs::path> outputs_of(const fs::path& output, Format format) {
    if (format != Format::brainVision) {
        return {output};
    }
    const BrainVisionFiles files = brainvision_files(output);
    return {files.header, files.markers, files.data};
}

// The markers of all conditions by their time.
std::vector<Marker> markers_of(const Protocol& protocol, const CTCStruct& header, std::vector<std::string>& notes) {
    std::vector<Marker> markers;
    std::size_t outside = 0;
    for (const ProtocolCondition& condition : protocol.conditions) {
        for (const std::int64_t sample : trigger_samples(protocol, condition, header.SamplingFrequency)) {
            if (sample >= 0 && sample < std::int64_t{header.NrOfSamples}) {
                markers.push_back({sample, condition.name});
            } else {
                ++outside;
            }
        }
    }
    std::stable_sort(markers.begin(), markers.end(),
                     [](const Marker& a, const Marker& b) { return a.sample < b.sample; });
    if (outside > 0) {
        notes.push_back(std::to_string(outside) + " triggers lie outside the recording and are left out");
    }
    return markers;
}

// The table that an import leaves beside a recording serves without being named; for the cleaned one, which a run calls
// R_OBS.ctc, too.
fs::path channels_file(const ExportOptions& options) {
    if (!options.channels.empty()) {
        return options.channels;
    }
    const fs::path recording(options.input);
    std::string stem = recording.stem().string();
    std::error_code error;
    for (const std::string suffix : {"", "_OBS"}) {
        if (stem.ends_with(suffix)) {
            stem.resize(stem.size() - suffix.size());
            const fs::path beside = recording.parent_path() / (stem + "_channels.tsv");
            if (fs::is_regular_file(beside, error)) {
                return beside;
            }
        }
    }
    return {};
}

// A table that was not asked for is used where it fits.
std::vector<NamedChannel> names_of(const ExportOptions& options, const fs::path& table, std::size_t channels,
                                   std::vector<std::string>& notes) {
    if (table.empty()) {
        notes.push_back("the channels are called Ch1, Ch2 and so on; --channels names a table with their names");
        return numbered_channels(channels);
    }
    try {
        return read_channels_table(table, channels);
    } catch (const InputError& error) {
        if (!options.channels.empty()) {
            throw;
        }
        notes.push_back(std::string(error.what()) + "; it is not used, and they are called Ch1, Ch2 and so on");
        return numbered_channels(channels);
    }
}

void export_recording(const ExportOptions& options) {
    const Format format = format_of(options.output);
    const fs::path channelsFile = channels_file(options);
    require_output_names(outputs_of(options.output, format), {options.input, options.protocol, channelsFile},
                         options.overwrite);
    InterruptHold interrupt; // half-written files go first
    RecordingReader recording(options.input);
    if (!recording.continuous()) {
        throw InputError(options.input + ": is cut into conditions (sample ordering " +
                         std::to_string(recording.header().SampleOrdering) +
                         "); only continuous recordings can be exported");
    }
    require_sampling_frequency(recording);
    const std::size_t channels = recording.header().NrOfChannels;
    ExportJob job{recording, {}, {}, options.overwrite, interrupt};
    job.channels = names_of(options, channelsFile, channels, job.notes);
    if (!options.protocol.empty()) {
        job.markers = markers_of(read_protocol(options.protocol), recording.header(), job.notes);
    }
    if (const std::uint64_t missing = recording.missing_elements(); missing > 0) {
        job.notes.push_back("the data section is cut short: " + std::to_string(missing) +
                            " values are missing and count as stored zeros");
    }
    if (format == Format::brainVision) {
        write_brainvision(job, options.output);
    } else {
        write_edf(job, options.output, format == Format::bdf);
    }
    for (const std::string& note : job.notes) {
        std::cerr << "workbench: note: " << note << "\n";
    }
    std::cout << "Wrote " << options.output << ": " << channels << (channels == 1 ? " channel of " : " channels of ")
              << job.samples() << " samples, " << job.markers.size()
              << (format == Format::brainVision ? " markers; " : " annotations; ") << job.precision << "\n";
}

} // namespace

void add_export_command(CLI::App& app) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* command = app.add_subcommand("export", "Write a recording in a format that other programs read");
    command->add_option("RECORDING.ctc", options->input, "the recording; it is never changed")->required();
    command
        ->add_option("-o,--output", options->output,
                     "OUT.edf (EDF+, 16 bits), OUT.bdf (BDF+, 24 bits) or OUT.vhdr (BrainVision, floats)")
        ->required();
    command->add_option("--protocol", options->protocol,
                        "protocol (.prt) whose triggers become annotations or markers");
    command->add_option("--channels", options->channels,
                        "table with the channels' names (if not given, R_channels.tsv beside R.ctc or R_OBS.ctc)");
    command->add_flag("--overwrite", options->overwrite, "replace existing files");
    command->footer("Example, after workbench simulate -o demo.ctc:\n"
                    "  workbench export demo.ctc -o demo.vhdr --protocol demo.prt\n");
    command->callback([options] { export_recording(*options); });
}

} // namespace workbench
