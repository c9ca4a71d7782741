#include "workbench/command_simulate.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "workbench/input_error.h"
#include "workbench/interrupt.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/shell_quoted.h"
#include "workbench/simulation.h"
#include "workbench/whole_number.h"

namespace workbench {

namespace {

struct SimulateOptions {
    std::string output;
    std::uint32_t channels = 32;
    double seconds = 120.0;
    double rate = 1000.0;
    std::uint32_t dataType = 1;
    std::uint32_t ordering = 1;
    std::uint64_t seed = 1;
    std::string artifact = "gradient";
    bool overwrite = false;
};

constexpr std::uint64_t blockValues = 1 << 18; // of all channels together

std::uint32_t block_length(std::uint32_t channels) {
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(1, blockValues / channels));
}

SimulationSettings settings_of(const SimulateOptions& options) {
    SimulationSettings settings;
    settings.channels = options.channels;
    settings.rate = static_cast<float>(options.rate);
    settings.seed = options.seed;
    settings.artifact = options.artifact == "gradient" ? Artifact::gradient : Artifact::heartbeat;
    const double samples = std::floor(options.seconds * static_cast<double>(settings.rate) + 0.5);
    if (!(samples >= 1.0 && samples * options.channels < 4294967296.0 && samples <= 2147483647.0)) {
        throw InputError("a recording of " + std::to_string(options.channels) + " channels and " +
                         std::to_string(options.seconds) +
                         " seconds at that rate is too long or empty; choose fewer channels, seconds or a lower rate");
    }
    settings.samples = static_cast<std::uint32_t>(samples);
    return settings;
}

// Calls use(count, clean, recorded) for one block after another.
template <class Use>
void for_each_block(const SimulationSettings& settings, InterruptHold& interrupt, const Use& use) {
    Simulation simulation(settings);
    const std::uint32_t length = block_length(settings.channels);
    std::vector<float> clean(std::size_t{settings.channels} * length);
    std::vector<float> recorded(clean.size());
    for (std::uint32_t done = 0; done < settings.samples;) {
        const std::uint32_t count = std::min(length, settings.samples - done);
        simulation.next(count, clean.data(), recorded.data());
        use(count, clean.data(), recorded.data());
        interrupt.throw_if_arrived();
        done += count;
    }
}

// Offsets and scales with which every channel fills the range of its data type: integers to their ends, scaled floats
// from -1 to 1. That takes a first pass over the recording.
void choose_scales(const SimulationSettings& settings, InterruptHold& interrupt, RecordingFormat& format) {
    std::vector<float> lowest(settings.channels, std::numeric_limits<float>::max());
    std::vector<float> highest(settings.channels, std::numeric_limits<float>::lowest());
    for_each_block(settings, interrupt, [&](std::uint32_t count, const float*, const float* recorded) {
        for (std::uint32_t channel = 0; channel < settings.channels; ++channel) {
            const float* first = recorded + std::size_t{channel} * count;
            const auto [low, high] = std::minmax_element(first, first + count);
            lowest[channel] = std::min(lowest[channel], *low);
            highest[channel] = std::max(highest[channel], *high);
        }
    });
    const double steps = format.dataType == 3 ? 32767.0 : format.dataType == 4 ? 127.0 : 1.0;
    for (std::uint32_t channel = 0; channel < settings.channels; ++channel) {
        const double low = static_cast<double>(lowest[channel]);
        const double high = static_cast<double>(highest[channel]);
        const double reach = std::max(0.5 * (high - low), 1e-3); // a recording of one sample has no range
        format.offsets.push_back(static_cast<float>(0.5 * (low + high)));
        format.scales.push_back(static_cast<float>(reach / steps));
    }
}

std::string plain_number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

void print_suggestion(const SimulateOptions& options, const SimulationSettings& settings, const Protocol& protocol,
                      const std::string& protocolPath) {
    const ProtocolCondition& condition = protocol.conditions.front();
    const SuggestedSettings suggested =
        suggested_settings(settings.artifact, settings.rate, condition.intervals.size());
    if (suggested.segment == 0) {
        std::cout << "A removal needs at least 10 artifacts: simulate more seconds for one.\n";
        return;
    }
    std::cout << "Settings that suit it:\n  --data " << shell_quoted(options.output) << " --protocol "
              << shell_quoted(protocolPath) << " --condition " << condition.name << " --pre " << suggested.pre
              << " --post " << suggested.post << " --segment " << suggested.segment << " --components "
              << suggested.components << "\n";
}

void simulate(const SimulateOptions& options) {
    const std::filesystem::path recordingPath(options.output);
    if (recordingPath.extension() != ".ctc" || recordingPath.stem().empty()) {
        throw InputError(options.output + ": the name of a recording must end in .ctc");
    }
    std::filesystem::path protocolPath = recordingPath;
    std::filesystem::path cleanPath = recordingPath;
    protocolPath.replace_extension(".prt");
    cleanPath.replace_extension(".clean.ctc");
    for (const std::filesystem::path& path : {recordingPath, protocolPath, cleanPath}) {
        require_free_name(path, options.overwrite);
    }

    const SimulationSettings settings = settings_of(options);
    InterruptHold interrupt; // the half-written files go first
    const std::string conditionName = simulated_condition(settings.artifact);
    Protocol protocol;
    protocol.experiment = "Simulated " + options.artifact + " artifact, seed " + std::to_string(options.seed);
    protocol.conditions.push_back({conditionName, Simulation(settings).triggers()});

    RecordingFormat format;
    format.channels = settings.channels;
    format.samples = settings.samples;
    format.rate = settings.rate;
    format.ordering = options.ordering;
    RecordingWriter clean(cleanPath, format, options.overwrite); // the truth is kept exactly: plain floats
    format.dataType = options.dataType;
    if (format.dataType != 1) {
        choose_scales(settings, interrupt, format);
    }
    RecordingWriter recorded(recordingPath, format, options.overwrite);
    PendingFile protocolFile(protocolPath, options.overwrite);
    for_each_block(settings, interrupt, [&](std::uint32_t count, const float* cleanBlock, const float* recordedBlock) {
        clean.write(count, cleanBlock);
        recorded.write(count, recordedBlock);
    });
    protocolFile.stream() << protocol_text(protocol);
    clean.commit();
    protocolFile.commit();
    recorded.commit();

    std::cout << "Wrote " << options.output << " (" << settings.channels << " channels, "
              << plain_number(settings.samples / static_cast<double>(settings.rate)) << " s at "
              << plain_number(static_cast<double>(settings.rate)) << " Hz, " << options.artifact << " artifact),\n  "
              << protocolPath.string() << " (condition " << conditionName << ", "
              << protocol.conditions.front().intervals.size() << " triggers) and\n  " << cleanPath.string()
              << " (the same without artifact)\n";
    print_suggestion(options, settings, protocol, protocolPath.string());
}

// A minus sign would wrap around, a leading zero mean octal, a number too large become the largest.
std::string seed_problem(const std::string& text) {
    std::uint64_t seed = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), seed);
    const bool whole = error == std::errc{} && stop == text.data() + text.size();
    return whole && std::to_string(seed) == text ? "" : "must be a whole number from 0 to 2^64 - 1, not " + text;
}

} // namespace

void add_simulate_command(CLI::App& app) {
    auto options = std::make_shared<SimulateOptions>();
    CLI::App* command =
        app.add_subcommand("simulate", "Make up a recording with artifact, its protocol and its clean truth");
    command->add_option("-o,--output", options->output, "the recording R.ctc; R.prt and R.clean.ctc go beside it")
        ->required();
    command->add_option("--artifact", options->artifact, "gradient (of a scanner) or heartbeat")
        ->check(CLI::IsMember({"gradient", "heartbeat"}))
        ->capture_default_str();
    command->add_option("--channels", options->channels, "number of channels")
        ->check(whole_number_problem)
        ->check(CLI::Range(std::uint32_t{1}, mostSimulatedChannels))
        ->capture_default_str();
    command->add_option("--seconds", options->seconds, "length of the recording")
        ->check(CLI::Range(0.001, 1000000.0))
        ->capture_default_str();
    command->add_option("--rate", options->rate, "samples per second")
        ->check(CLI::Range(static_cast<double>(lowestSimulatedRate), static_cast<double>(highestSimulatedRate)))
        ->capture_default_str();
    command->add_option("--datatype", options->dataType, "1 float, 3 16-bit, 4 8-bit, 5 scaled float")
        ->check(whole_number_problem)
        ->check(CLI::IsMember(std::vector<std::uint32_t>{1, 3, 4, 5}))
        ->capture_default_str();
    command->add_option("--ordering", options->ordering, "1 channel after channel, 2 sample after sample")
        ->check(whole_number_problem)
        ->check(CLI::IsMember(std::vector<std::uint32_t>{1, 2}))
        ->capture_default_str();
    command->add_option("--seed", options->seed, "the same seed gives the same files")
        ->check(seed_problem)
        ->capture_default_str();
    command->add_flag("--overwrite", options->overwrite, "replace files that exist");
    command->footer("Example:\n  workbench simulate -o demo.ctc --seconds 60\n");
    command->callback([options] { simulate(*options); });
}

} // namespace workbench
