#include "workbench/check/run_check.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <numeric>
#include <system_error>

#include <unistd.h>

#include "fileio/ctc_header.h"
#include "workbench/check/channel_findings.h"
#include "workbench/check/run_cost.h"
#include "workbench/check/segment_findings.h"
#include "workbench/input_error.h"
#include "workbench/pending_file.h"
#include "workbench/preflight.h"
#include "workbench/result_files.h"
#include "workbench/shell_quoted.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

// Components for the time of a fit, before they are chosen.
constexpr int usualComponents = 3;
// Reach of the average around triggers that are far apart, ms: no artifact with a clear beginning takes longer.
constexpr double farthestReach = 2000.0;

void append(std::vector<std::string>& to, const std::vector<std::string>& sentences) {
    to.insert(to.end(), sentences.begin(), sentences.end());
}

// Channels worth a look at their components: all that hold a signal throughout, or all.
std::vector<std::uint32_t> usable_channels(const std::vector<ChannelFindings>& findings) {
    std::vector<std::uint32_t> channels;
    for (const ChannelFindings& f : findings) {
        if (!f.flat && f.notFinite == 0) {
            channels.push_back(f.channel);
        }
    }
    if (channels.empty()) {
        channels.resize(findings.size());
        std::iota(channels.begin(), channels.end(), 0U);
    }
    return channels;
}

WindowSuggestion suggest_window(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                const RunSettings& given, const std::vector<std::uint32_t>& channels) {
    const float rate = recording.header().SamplingFrequency;
    const CTCStruct& header = recording.header();
    const std::uint64_t nSamples = header.NrOfSamples;
    const TriggerFindings findings = examine_triggers(triggers, {0, 0}, nSamples);
    if (findings.distances != 0 && evenly_spaced(findings)) {
        return tiling_window(triggers, findings, given.pre.value_or(0), rate, nSamples);
    }
    const double farthest = farthestReach * static_cast<double>(rate) / 1000.0;
    const double wished = findings.distances == 0 ? farthest : std::min(findings.medianDistance, farthest);
    // The average takes as much memory as it reaches: a header may promise any length, so what the file holds counts.
    const std::uint64_t held = (fileio::total_samples(header) - recording.missing_elements()) / header.NrOfChannels;
    const double reach = std::clamp(wished, 2.0, std::max(2.0, static_cast<double>(held / 4)));
    return window_around_triggers(triggers,
                                  examine_locked_power(recording, triggers, static_cast<std::int64_t>(reach), channels),
                                  rate, nSamples);
}

int setting_of(CheckedSetting& setting, const std::optional<int>& given, int suggestion) {
    setting.given = given.has_value();
    setting.suggestion = suggestion;
    setting.value = given.value_or(suggestion);
    return setting.value;
}

std::optional<std::uint64_t> memory_available() {
    std::ifstream file("/proc/meminfo");
    std::string word;
    while (file >> word) {
        std::uint64_t kilobytes = 0;
        if (word == "MemAvailable:" && file >> kilobytes) {
            return kilobytes * 1024;
        }
    }
    return std::nullopt;
}

fs::path with_suffix(const fs::path& file, const std::string& suffix) {
    return file.parent_path() / (file.stem().string() + suffix);
}

// The first of R_OBS.ctc, R_OBS_2.ctc, ... that a run could give its results.
fs::path free_output(const CheckRequest& request, const fs::path& data, const std::string& condition) {
    for (int i = 1;; ++i) {
        const fs::path output = i == 1 ? fs::path() : with_suffix(data, "_OBS_" + std::to_string(i) + ".ctc");
        try {
            check_result_files(result_files(data, output, condition), {data, request.protocol}, false);
            return output;
        } catch (const InputError&) {
            std::error_code error;
            if (i == 1000 || !fs::is_directory(folder_of(data), error)) {
                throw;
            }
        }
    }
}

// The conversion that a data type needs for a usable result, and the run.
void write_commands(const RecordingReader& recording, const CheckRequest& request, RunCheck& check) {
    fs::path data = request.recording;
    if (check.needsConversion) {
        const fs::path original = data;
        data = with_suffix(original, "_float.ctc");
        std::error_code error;
        for (int i = 2; fs::exists(data, error) && i < 1000; ++i) {
            data = with_suffix(original, "_float_" + std::to_string(i) + ".ctc");
        }
        check.commands.push_back("ctc convert " + shell_quoted(original.string()) + " " + shell_quoted(data.string()) +
                                 " --datatype 1 --ordering " + std::to_string(recording.header().SampleOrdering));
    }
    const fs::path output = request.output.empty() ? free_output(request, data, check.condition) : request.output;
    std::string command = "workbench run \"$MODULE\" --data " + shell_quoted(data.string()) + " --protocol " +
                          shell_quoted(request.protocol.string()) + " --condition " + shell_quoted(check.condition);
    const auto add = [&](const char* option, const CheckedSetting& setting) {
        command += std::string(option) + std::to_string(setting.value);
    };
    add(" --pre ", check.pre);
    add(" --post ", check.post);
    add(" --segment ", check.segment);
    add(" --components ", check.components);
    command += output.empty() ? "" : " -o " + shell_quoted(output.string());
    command += request.settings.asIs ? " --as-is" : "";
    check.commands.push_back(command);
}

void take_header(const RecordingReader& recording, RunCheck& check) {
    const CTCStruct& header = recording.header();
    check.recording = recording.path().string();
    check.channels = header.NrOfChannels;
    check.samples = header.NrOfSamples;
    check.rate = header.SamplingFrequency;
    check.dataType = header.DataType;
    check.ordering = header.SampleOrdering;
    std::error_code error;
    check.bytes = fs::file_size(recording.path(), error);
}

// Why a run with all its settings would not begin, in its own words.
void find_refusals(const RecordingReader& recording, const Protocol& protocol, const RunSettings& settings,
                   const fs::path& folder, RunCheck& check) {
    try {
        check_settings(recording, protocol, settings);
    } catch (const InputError& error) {
        check.needsConversion = true; // all else was checked before
        check.refusals.push_back(error.what());
    }
    if (access(folder.c_str(), W_OK) != 0) {
        check.refusals.push_back("cannot write in the folder " + folder.string() + " (" + std::strerror(errno) +
                                 "); choose another place for the result with -o");
    }
    std::error_code error;
    const fs::space_info space = fs::space(folder, error);
    if (!error) {
        check.diskAvailable = space.available;
    }
    if (!error && space.available < check.diskBytes) {
        check.refusals.push_back("the results need " + std::to_string(check.diskBytes) + " bytes, and " +
                                 folder.string() + " has room for " + std::to_string(space.available) +
                                 "; make room, or choose another place with -o");
    }
}

void find_problems(RecordingReader& recording, const Protocol& protocol, const std::vector<std::int64_t>& triggers,
                   std::vector<ChannelFindings> channels, RunCheck& check) {
    append(check.problems, trigger_warnings(check.triggers, check.window, check.rate));
    const std::vector<SegmentFindings> segments =
        examine_segments(recording, triggers, check.window, static_cast<std::size_t>(check.segment.value));
    for (const SegmentFindings& f : segments) {
        if (f.spoiledSegments != 0) {
            channels[f.channel].notFinite = 0; // told with what it leads to
        }
    }
    append(check.problems, channel_warnings(channels, check.samples));
    append(check.problems, segment_warnings(segments));
    std::vector<std::string> ofRecording = announcements(recording, protocol, RunSettings{});
    if (check.needsConversion && !ofRecording.empty()) {
        ofRecording.erase(ofRecording.begin()); // the data type, which is why it is refused
    }
    append(check.problems, ofRecording);
    if (check.outstanding == 0 && check.triggers.inside != 0) {
        check.problems.push_back(
            "no component stands out: is there an artifact at these triggers, and in this window?");
    }
    if (check.memoryAvailable && *check.memoryAvailable < check.memoryBytes) {
        check.problems.push_back("the run needs more memory than is free: choose fewer artifacts per segment or a "
                                 "shorter window");
    }
}

} // namespace

RunCheck check_run(RecordingReader& recording, const Protocol& protocol, const CheckRequest& request,
                   const std::function<void(double)>& progress) {
    const auto advance = [&](double share) {
        if (progress) {
            progress(share);
        }
    };
    RunSettings settings = request.settings;
    settings.condition = request.condition;
    settings.asIs = true; // a data type that the module spoils is refused in the end, with all else looked at
    check_settings(recording, protocol, settings);

    RunCheck check;
    take_header(recording, check);
    const ProtocolCondition& condition = protocol.conditions[static_cast<std::size_t>(request.condition)];
    check.condition = condition.name;
    const fs::path output = request.output;
    if (!output.empty()) {
        check_result_files(result_files(request.recording, output, condition.name),
                           {request.recording, request.protocol}, false);
    }
    const std::vector<std::int64_t> triggers = trigger_samples(protocol, condition, check.rate);
    const std::vector<ChannelFindings> channels = examine_channels(recording, [&](std::uint64_t done) {
        advance(0.7 * static_cast<double>(done) / static_cast<double>(check.samples));
    });
    const std::vector<std::uint32_t> usable = usable_channels(channels);

    const WindowSuggestion suggested = suggest_window(recording, triggers, settings, usable);
    advance(0.8);
    check.windowReason = suggested.reason;
    settings.pre = setting_of(check.pre, settings.pre, suggested.pre);
    settings.post = setting_of(check.post, settings.post, suggested.post);
    const int atLeast = settings.components.value_or(1);
    settings.segment = setting_of(check.segment, settings.segment, suggested_segment(triggers.size(), atLeast));
    check_settings(recording, protocol, settings);
    check.window = window_in_samples(*settings.pre, *settings.post, check.rate);
    check.triggers = examine_triggers(triggers, check.window, check.samples);
    const auto perSegment = static_cast<std::size_t>(*settings.segment);
    check.segments = (triggers.size() + perSegment - 1) / perSegment;
    check.borrowed = check.segments * perSegment - triggers.size();

    check.spectrum = examine_components(recording, triggers, check.window, *settings.segment,
                                        settings.components.value_or(usualComponents), usable);
    check.outstanding = outstanding_components(check.spectrum, check.window);
    settings.components =
        setting_of(check.components, settings.components, std::min(std::max(1, check.outstanding), *settings.segment));
    advance(0.9);

    const RunSize size{check.window, triggers.size(), perSegment, static_cast<std::size_t>(*settings.components),
                       check.triggers.medianDistance};
    check.memoryBytes = memory_needed(recording, size);
    check.memoryAvailable = memory_available();
    check.diskBytes = disk_needed(recording, condition);
    check.seconds = estimated_seconds(recording, size, check.spectrum.fitSeconds);
    settings.asIs = request.settings.asIs;
    find_refusals(recording, protocol, settings, folder_of(output.empty() ? request.recording : output), check);
    find_problems(recording, protocol, triggers, channels, check);
    write_commands(recording, request, check);
    advance(1.0);
    return check;
}

} // namespace workbench
