// Reads any bytes as a recording with the workbench's own reader, looks at it as before a run, compares it with itself,
// and gives it to a command of ctc. What is refused must be refused with an InputError or a RunError and leave nothing
// behind; what is written must be a whole recording of the same values; the recording itself stays as it was.
//
// An input is a recording and 32 bytes of choices.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <nlohmann/json.hpp>

#include "fileio/ctc_header.h"
#include "fuzz/scratch_file.h"
#include "tests/support/temporary_folder.h"
#include "tools/ctc_convert.h"
#include "tools/ctc_cut.h"
#include "tools/ctc_dump.h"
#include "tools/ctc_info.h"
#include "workbench/check/run_check.h"
#include "workbench/check/run_check_text.h"
#include "workbench/comparison.h"
#include "workbench/comparison_text.h"
#include "workbench/input_error.h"
#include "workbench/preflight.h"
#include "workbench/run_error.h"
#include "workbench/window.h"

namespace {

namespace fs = std::filesystem;
using workbench::RecordingReader;

// Headers may promise billions of samples, which count as zeros: what goes through all of them stays below this.
constexpr std::uint64_t mostElements = 1 << 16;

constexpr std::size_t choiceBytes = 32;

bool same(float a, float b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

/// Every channel's samples first .. first + count - 1.
std::vector<float> samples_of(RecordingReader& recording, std::int64_t first, std::uint32_t count) {
    std::vector<float> samples(std::size_t{recording.header().NrOfChannels} * count, -1.0f);
    recording.read(first, count, samples.data());
    return samples;
}

void read_in_pieces(RecordingReader& recording, std::int64_t first) {
    const std::size_t channels = recording.header().NrOfChannels;
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(40, mostElements / channels));
    if (!recording.continuous() || count == 0) {
        return;
    }
    const std::vector<float> whole = samples_of(recording, first, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::vector<float> piece = samples_of(recording, first + i, 1);
        const bool outside = first + i < 0 || first + i >= std::int64_t{recording.header().NrOfSamples};
        for (std::size_t c = 0; c < channels; ++c) {
            fuzz::require(same(piece[c], whole[c * count + i]), "samples are the same one by one");
            fuzz::require(!outside || piece[c] == 0.0f, "there is nothing outside a recording");
        }
    }
}

workbench::Protocol any_protocol(FuzzedDataProvider& choices) {
    workbench::ProtocolCondition condition{"slice", {}};
    const auto first = choices.ConsumeIntegralInRange<std::int32_t>(0, 300);
    const auto distance = choices.ConsumeIntegralInRange<std::int32_t>(0, 40);
    const auto count = choices.ConsumeIntegralInRange<std::int32_t>(0, 30);
    const auto astray = choices.ConsumeIntegralInRange<std::int32_t>(0, 60);
    for (std::int32_t i = 0; i < count; ++i) {
        condition.intervals.push_back(i == astray ? choices.ConsumeIntegral<std::uint16_t>() : first + i * distance);
    }
    const bool samples = choices.ConsumeBool();
    return {"any", samples ? workbench::TimeResolution::samples : workbench::TimeResolution::microseconds, {condition}};
}

std::optional<int> perhaps(FuzzedDataProvider& choices, int lowest, int highest) {
    return choices.ConsumeBool() ? std::optional<int>(choices.ConsumeIntegralInRange(lowest, highest)) : std::nullopt;
}

// What comes before a run and after it.
void look(const std::string& path, RecordingReader& recording, FuzzedDataProvider& choices) {
    const workbench::Protocol protocol = any_protocol(choices);
    workbench::RunSettings settings;
    settings.asIs = choices.ConsumeBool();
    settings.condition = 0;
    settings.pre = perhaps(choices, -1, 40);
    settings.post = perhaps(choices, -1, 40);
    settings.segment = perhaps(choices, 9, 31);
    settings.components = perhaps(choices, 0, 12);
    check_settings(recording, protocol, settings);
    announcements(recording, protocol, settings);
    const bool small = fileio::total_samples(recording.header()) <= mostElements;
    if (small && choices.ConsumeBool()) {
        const workbench::CheckRequest request{path, fuzz::scratch_folder() + "/any.prt", {}, 0, settings};
        const workbench::RunCheck check = check_run(recording, protocol, request);
        run_check_text(check);
        fuzz::require(nlohmann::json::accept(run_check_json(check)), "a check's JSON is JSON");
    }
    const float rate = recording.header().SamplingFrequency;
    RecordingReader again(path);
    const workbench::Comparison comparison =
        compare_recordings(recording, again, choices.ConsumeBool() ? &again : nullptr,
                           trigger_samples(protocol, protocol.conditions[0], rate),
                           workbench::window_in_samples(settings.pre.value_or(3), settings.post.value_or(3), rate));
    const double before = comparison.all.rmsBefore;
    const double after = comparison.all.rmsAfter;
    fuzz::require(before == after || (std::isnan(before) && std::isnan(after)), "a recording is as large as itself");
    comparison_table(comparison, "slice");
    comparison_csv(comparison);
    fuzz::require(nlohmann::json::accept(comparison_json(comparison, "slice")), "a comparison's JSON is JSON");
}

// True when the command came to its end.
bool ctc(std::vector<std::string> words) {
    CLI::App app("", "ctc");
    tools::add_info_command(app);
    tools::add_convert_command(app);
    tools::add_cut_command(app);
    tools::add_dump_command(app);
    std::reverse(words.begin(), words.end());
    try {
        app.parse(words);
        return true;
    } catch (const CLI::ParseError&) {
    } catch (const workbench::InputError&) {
    } catch (const workbench::RunError&) {
    }
    return false;
}

std::vector<std::string> files_in_scratch() {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(fuzz::scratch_folder())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The data section as the header promises it: what is missing is zeros.
std::string whole_data_section(const std::string& path) {
    const RecordingReader recording(path);
    std::string bytes = support::read_file(path).substr(recording.data_position());
    bytes.resize(fileio::total_samples(recording.header()) * fileio::stored_size(recording.header().DataType));
    return bytes;
}

void require_same_values(const std::string& path, const std::string& converted, bool toIntegers) {
    RecordingReader before(path);
    RecordingReader after(converted);
    if (!before.continuous()) {
        return;
    }
    const std::uint32_t count = before.header().NrOfSamples;
    const std::vector<float> expected = samples_of(before, 0, count);
    const std::vector<float> found = samples_of(after, 0, count);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (toIntegers && std::isfinite(expected[i])) {
            const double step = std::fabs(static_cast<double>(after.header().ChannelScales[i / count]));
            const double error = std::fabs(static_cast<double>(found[i]) - static_cast<double>(expected[i]));
            fuzz::require(error <= 0.51 * step + 1e-6 * std::fabs(static_cast<double>(expected[i])) + 1e-38,
                          "a value that is stored as an integer is half a step off at most");
        } else if (!toIntegers) {
            fuzz::require(same(found[i], expected[i]), "a converted recording has the same values");
        }
    }
}

void require_whole(const std::string& path, const std::string& made) {
    const RecordingReader before(path);
    const RecordingReader after(made);
    fuzz::require(after.missing_elements() == 0, "what is written is whole");
    fuzz::require(after.header().SamplingFrequency == before.header().SamplingFrequency ||
                      std::isnan(before.header().SamplingFrequency),
                  "the rate stays");
}

void convert(const std::string& path, const RecordingReader& recording, FuzzedDataProvider& choices) {
    constexpr unsigned int types[] = {1, 3, 4, 5};
    const std::string out = fuzz::scratch_folder() + "/out.ctc";
    const std::string back = fuzz::scratch_folder() + "/back.ctc";
    const CTCStruct& header = recording.header();
    const unsigned int type = choices.ConsumeBool() ? choices.PickValueInArray(types) : header.DataType;
    const unsigned int ordering = choices.ConsumeBool() ? 3 - header.SampleOrdering : header.SampleOrdering;
    std::vector<std::string> words{"convert", path, out, "--datatype=" + std::to_string(type)};
    if (recording.continuous()) {
        words.push_back("--ordering=" + std::to_string(ordering));
    }
    if (!ctc(words)) {
        return;
    }
    require_whole(path, out);
    const bool sameType = type == header.DataType;
    require_same_values(path, out, !sameType && (type == 3 || type == 4));
    if (sameType && recording.continuous()) {
        const bool done = ctc({"convert", out, back, "--ordering=" + std::to_string(header.SampleOrdering)});
        fuzz::require(done && whole_data_section(back) == whole_data_section(path), "there and back changes nothing");
    } else if (sameType) {
        fuzz::require(whole_data_section(out) == whole_data_section(path), "the same form has the same elements");
    }
}

std::vector<std::string> any_selection(FuzzedDataProvider& choices) {
    std::vector<std::string> words;
    if (choices.ConsumeBool()) {
        words.push_back("--from=" + std::to_string(choices.ConsumeFloatingPointInRange(-1.0, 5.0)));
    }
    if (choices.ConsumeBool()) {
        words.push_back("--to=" + std::to_string(choices.ConsumeFloatingPointInRange(-1.0, 5.0)));
    }
    if (choices.ConsumeBool()) {
        const unsigned int first = choices.ConsumeIntegralInRange(0U, 20U);
        words.push_back("--channels=" + std::to_string(first + 2) + "-" +
                        std::to_string(first + choices.ConsumeIntegralInRange(0U, 5U)) + "," + std::to_string(first));
    }
    return words;
}

// Cuts or dumps. @param out  where to
void take_part(const std::string& path, const RecordingReader& recording, bool dump, FuzzedDataProvider& choices) {
    const std::string out = fuzz::scratch_folder() + "/out.ctc";
    const std::vector<std::string> selection = any_selection(choices);
    std::vector<std::string> words =
        dump ? std::vector<std::string>{"dump", path, "-o", out} : std::vector<std::string>{"cut", path, out};
    words.insert(words.end(), selection.begin(), selection.end());
    if (!ctc(words)) {
        return;
    }
    if (!dump) {
        require_whole(path, out);
        fuzz::require(!selection.empty() || whole_data_section(out) == whole_data_section(path),
                      "all of a recording has the same elements");
    } else if (selection.empty()) {
        const std::string text = support::read_file(out);
        const auto lines = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
        fuzz::require(lines == 1 + fileio::total_samples(recording.header()) / recording.header().NrOfChannels,
                      "a line for every sample");
    }
}

void use(const std::string& path, FuzzedDataProvider& choices) {
    const int command = choices.ConsumeIntegralInRange(0, 4);
    const auto first = choices.ConsumeIntegralInRange<std::int64_t>(-50, 5'000'000'000);
    const std::string bytes = support::read_file(path);
    try {
        RecordingReader recording(path);
        read_in_pieces(recording, choices.ConsumeBool() ? first : first % 100);
        ctc({"info", path, "--header"});
        if (fileio::total_samples(recording.header()) <= mostElements) {
            command == 1   ? static_cast<void>(ctc({"info", path}))
            : command == 2 ? convert(path, recording, choices)
            : command >= 3 ? take_part(path, recording, command == 3, choices)
                           : static_cast<void>(0);
        }
        if (command == 0) {
            look(path, recording, choices);
        }
    } catch (const workbench::InputError&) {
    }
    for (const char* made : {"/out.ctc", "/back.ctc"}) {
        fs::remove(fuzz::scratch_folder() + made);
    }
    fuzz::require(support::read_file(path) == bytes, "the recording is never changed");
    fuzz::require(files_in_scratch() == std::vector<std::string>{"in.ctc"}, "nothing is left behind");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool noNotes = std::cerr.rdbuf(nullptr) != nullptr;
    if (!noNotes || size < choiceBytes) {
        return 0;
    }
    FuzzedDataProvider choices(data + size - choiceBytes, choiceBytes);
    use(fuzz::write_scratch("in.ctc", {reinterpret_cast<const char*>(data), size - choiceBytes}), choices);
    return 0;
}
