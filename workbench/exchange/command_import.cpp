#include "workbench/exchange/command_import.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "workbench/exchange/channel_choice.h"
#include "workbench/exchange/channels_table.h"
#include "workbench/exchange/event_sources.h"
#include "workbench/exchange/file_set.h"
#include "workbench/exchange/open_recording.h"
#include "workbench/exchange/progress.h"
#include "workbench/exchange/protocol_from_events.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/interrupt.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"

namespace workbench {

using namespace exchange;

namespace {

namespace fs = std::filesystem;

struct ImportOptions {
    std::string input;
    std::string output;
    std::vector<std::string> events;
    std::optional<double> threshold;
    std::string edge = "rising";
    double minDistance = 0.0;
    std::string unit;
    std::vector<std::string> skip;
    bool incomplete = false;
    bool joinGaps = false;
    bool overwrite = false;
};

struct ImportFiles {
    fs::path recording;
    fs::path protocol;
    fs::path channels;
};

constexpr std::uint64_t blockValues = 1 << 20; // of all channels together
constexpr std::size_t shownConditions = 20;

ImportFiles files_of(const ImportOptions& options) {
    ImportFiles files;
    files.recording =
        options.output.empty() ? fs::path(options.input).replace_extension(".ctc") : fs::path(options.output);
    if (files.recording.extension() != ".ctc" || files.recording.stem().empty()) {
        throw InputError(files.recording.string() + ": the name of a recording must end in .ctc");
    }
    files.protocol = fs::path(files.recording).replace_extension(".prt");
    files.channels = files.recording.parent_path() / (files.recording.stem().string() + "_channels.tsv");
    return files;
}

std::vector<EventSource> sources_of(const ImportOptions& options) {
    std::vector<EventSource> sources;
    for (const std::string& text : options.events) {
        sources.push_back(event_source_of(text));
        if (sources.back().kind == EventSource::Kind::table) {
            open_input_file(sources.back().argument); // a name that was mistyped shows before a long job
        }
    }
    if (sources.empty()) {
        sources.push_back({});
    }
    const bool edges = std::any_of(sources.begin(), sources.end(),
                                   [](const EventSource& source) { return source.kind == EventSource::Kind::channel; });
    if (options.threshold && !edges) {
        throw InputError("--threshold is for triggers in a channel; give --events channel:NAME too");
    }
    return sources;
}

TriggerOptions trigger_options(const ImportOptions& options) {
    TriggerOptions triggers;
    triggers.threshold = options.threshold;
    triggers.edge = options.edge == "rising" ? Edge::rising : options.edge == "falling" ? Edge::falling : Edge::both;
    triggers.minDistance = options.minDistance;
    return triggers;
}

RecordingFormat format_of(const ForeignRecording& recording, const ChannelChoice& choice) {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint32_t>::max();
    if (choice.samples > limit || choice.samples * choice.imported.size() > limit) {
        throw InputError(recording.path().string() + ": has " + std::to_string(choice.imported.size()) +
                         " channels of " + std::to_string(choice.samples) +
                         " samples, and a CTC recording holds less than 2^32 in all; leave out channels with --skip");
    }
    RecordingFormat format;
    format.channels = static_cast<std::uint32_t>(choice.imported.size());
    format.samples = static_cast<std::uint32_t>(choice.samples);
    format.rate = static_cast<float>(choice.rate);
    return format;
}

void require_room(const fs::path& file, const RecordingFormat& format) {
    std::error_code error;
    const fs::space_info space = fs::space(folder_of(file), error);
    const std::uint64_t bytes = std::uint64_t{4} * format.channels * format.samples;
    if (!error && space.available < bytes) {
        throw InputError(file.string() + ": needs " + std::to_string(bytes) + " bytes, and the disk has room for " +
                         std::to_string(space.available));
    }
}

void copy_samples(ForeignRecording& recording, const ChannelChoice& choice, InterruptHold& interrupt,
                  RecordingWriter& writer) {
    std::vector<std::size_t> which;
    for (const ImportedChannel& channel : choice.imported) {
        which.push_back(channel.index);
    }
    const std::uint64_t length = std::max<std::uint64_t>(1, blockValues / which.size());
    Progress progress("importing", choice.samples, interrupt);
    std::vector<double> values;
    std::vector<float> microvolts;
    for (std::uint64_t first = 0; first < choice.samples; first += length) {
        const auto count = static_cast<std::uint32_t>(std::min(length, choice.samples - first));
        values.resize(which.size() * count);
        microvolts.resize(values.size());
        recording.read(which, first, count, values.data());
        for (std::size_t i = 0; i < values.size(); ++i) {
            microvolts[i] = static_cast<float>(values[i] * choice.imported[i / count].microvolts);
        }
        writer.write(count, microvolts.data());
        progress.advance(count);
    }
}

void say_notes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        std::cerr << "workbench: note: " << note << "\n";
    }
}

std::string plain_number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

void tell(const ForeignRecording& recording, const ChannelChoice& choice, const ImportFiles& files,
          const Protocol& protocol) {
    std::cout << "Wrote " << files.recording.string() << " (" << recording.format() << ", " << choice.imported.size()
              << (choice.imported.size() == 1 ? " channel, " : " channels, ")
              << plain_number(static_cast<double>(choice.samples) / choice.rate) << " s at "
              << plain_number(choice.rate) << " Hz, microvolts) and\n  " << files.channels.string() << "\n";
    for (const SkippedChannel& channel : choice.skipped) {
        std::cout << "  skipped channel " << printable(recording.channels()[channel.index].name) << ": "
                  << channel.reason << "\n";
    }
    if (protocol.conditions.empty()) {
        std::cout << "No events were found, so no protocol was written; --events says where they are.\n";
        return;
    }
    std::cout << "Wrote " << files.protocol.string() << ":\n";
    for (std::size_t i = 0; i < protocol.conditions.size() && i < shownConditions; ++i) {
        std::cout << "  " << protocol.conditions[i].name << ": " << protocol.conditions[i].intervals.size()
                  << (protocol.conditions[i].intervals.size() == 1 ? " trigger\n" : " triggers\n");
    }
    if (protocol.conditions.size() > shownConditions) {
        std::cout << "  and " << protocol.conditions.size() - shownConditions << " more conditions\n";
    }
}

void import_recording(const ImportOptions& options) {
    const ImportFiles files = files_of(options);
    const std::vector<EventSource> sources = sources_of(options);
    InterruptHold interrupt; // half-written files go first
    const std::unique_ptr<ForeignRecording> recording =
        open_recording(options.input, {options.incomplete, options.joinGaps}, interrupt);
    std::vector<fs::path> inputs = recording->files();
    for (const EventSource& source : sources) {
        inputs.push_back(source.kind == EventSource::Kind::table ? source.argument : "");
    }
    require_output_names({files.recording, files.protocol, files.channels}, inputs, options.overwrite);
    const ChannelChoice choice = choose_channels(*recording, options.unit, options.skip);
    const RecordingFormat format = format_of(*recording, choice);
    require_room(files.recording, format);

    std::vector<std::string> notes = recording->notes();
    const std::vector<ForeignEvent> events =
        collect_events(*recording, sources, trigger_options(options), choice.rate, interrupt, notes);
    const Protocol protocol =
        protocol_from_events(events, choice.rate, choice.samples, fs::path(options.input).stem().string(), notes);

    RecordingWriter writer(files.recording, format, options.overwrite);
    PendingFile channelsFile(files.channels, options.overwrite);
    channelsFile.stream() << channels_table_text(*recording, choice);
    std::optional<PendingFile> protocolFile;
    std::vector<SetMember> members = {{files.channels, [&] { channelsFile.commit(); }}};
    if (!protocol.conditions.empty()) {
        protocolFile.emplace(files.protocol, options.overwrite);
        protocolFile->stream() << protocol_text(protocol);
        members.push_back({files.protocol, [&] { protocolFile->commit(); }});
    }
    copy_samples(*recording, choice, interrupt, writer);
    members.push_back({files.recording, [&] { writer.commit(); }});
    commit_together(members);
    say_notes(notes);
    tell(*recording, choice, files, protocol);
}

} // namespace

void add_import_command(CLI::App& app) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* command =
        app.add_subcommand("import", "Make a CTC recording and a protocol of a recording in another format");
    command
        ->add_option("RECORDING", options->input,
                     "BrainVision (.vhdr), EDF, EDF+, BDF, BDF+, GDF, or what else libbiosig reads")
        ->required();
    command->add_option("-o,--output", options->output,
                        "the recording R.ctc; R.prt and R_channels.tsv go beside it (RECORDING's name if not given)");
    command
        ->add_option("--events", options->events,
                     "where the triggers are, once or more: file (what the recording itself tells; the default), "
                     "none, a table (_events.tsv or .csv), or [NAME=]channel:CHANNEL (edges), "
                     "[NAME=]codes:CHANNEL (numbers), [NAME=]ecg:CHANNEL (heartbeats)")
        ->allow_extra_args(false);
    command->add_option("--threshold", options->threshold,
                        "for channel:, in the channel's own unit (halfway between its lowest and highest value if not "
                        "given)");
    command->add_option("--edge", options->edge, "for channel:")
        ->check(CLI::IsMember({"rising", "falling", "both"}))
        ->capture_default_str();
    command->add_option("--min-distance", options->minDistance, "for channel: and codes:, ms between triggers")
        ->check(CLI::Range(0.0, 1e6))
        ->capture_default_str();
    command->add_option("--unit", options->unit, "unit of channels that state none")
        ->check(CLI::IsMember({"nV", "uV", "mV", "V"}));
    command->add_option("--skip", options->skip, "a channel to leave out; once or more")->allow_extra_args(false);
    command->add_flag("--incomplete", options->incomplete, "import a file that is cut short as far as it goes");
    command->add_flag("--join-gaps", options->joinGaps, "put together pieces with time between them");
    command->add_flag("--overwrite", options->overwrite, "replace existing results");
    command->footer("Example, after workbench simulate -o demo.ctc:\n"
                    "  workbench export demo.ctc -o demo.edf --protocol demo.prt\n"
                    "  workbench import demo.edf -o again.ctc\n");
    command->callback([options] { import_recording(*options); });
}

} // namespace workbench
