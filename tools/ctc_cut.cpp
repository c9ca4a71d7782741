#include "tools/ctc_cut.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/data_section.h"
#include "tools/output_recording.h"
#include "tools/recording_text.h"
#include "tools/selection.h"
#include "workbench/interrupt.h"
#include "workbench/recording.h"

namespace tools {

namespace {

struct CutOptions {
    std::string input;
    std::string output;
    SelectionOptions selection;
    bool overwrite = false;
};

// The blocks of a recording with these samples only (a continuous one; those of conditions stay whole).
std::vector<Block> blocks_with(const CTCStruct& header, const SampleRange& samples) {
    std::vector<Block> blocks = blocks_of(header);
    if (header.SampleOrdering == 1) {
        blocks[0].skip = samples.first;
        blocks[0].take = samples.end - samples.first;
    } else if (header.SampleOrdering == 2) {
        blocks[0].firstFrame = samples.first;
        blocks[0].frames = samples.end - samples.first;
    }
    return blocks;
}

void cut(const CutOptions& options) {
    const workbench::RecordingReader recording(options.input);
    const CTCStruct& header = recording.header();
    const std::vector<std::uint32_t> channels = selected_channels(recording, options.selection.channels);
    const SampleRange samples = selected_samples(recording, options.selection);
    const std::vector<Block> blocks = blocks_with(header, samples);
    OutputFormat format = format_of(header, channels);
    if (recording.continuous()) {
        format.samples = static_cast<std::uint32_t>(samples.end - samples.first);
    }
    std::uint64_t elements = 0;
    for (const Block& block : blocks) {
        elements += block.frames * block.take * channels.size();
    }

    workbench::InterruptHold interrupt; // the half-written file goes first
    const DataSection section(recording);
    OutputRecording output(options.output, recording.path(), format, elements, options.overwrite);
    say_notes(shortcomings(recording));
    {
        Job job("cutting", elements, &interrupt);
        for_each_piece(section, blocks, channels, job,
                       [&](std::size_t, const char* stored, std::uint64_t count) { output.append(count, stored); });
    }
    require_unchanged(recording);
    output.commit();
    std::cout << "Wrote " << options.output << ": "
              << extent_text(format.ordering, format.channels, format.samples, header.NrOfConditions) << "\n";
}

} // namespace

void add_cut_command(CLI::App& app) {
    auto options = std::make_shared<CutOptions>();
    CLI::App* command = app.add_subcommand("cut", "Take a stretch of time or some channels out of a recording");
    command->add_option("IN", options->input, "recording (.ctc); it is never changed")->required();
    command->add_option("OUT", options->output, "the part of it")->required();
    add_selection_options(*command, options->selection);
    command->add_flag("--overwrite", options->overwrite, "replace an existing file");
    command->footer("The stored elements, their scales and their offsets stay as they are, bit for bit.\n"
                    "Example, after workbench simulate -o demo.ctc:\n  ctc cut demo.ctc part.ctc --from 10 --to 20 "
                    "--channels 1,3,5-8\n");
    command->callback([options] { cut(*options); });
}

} // namespace tools
