#include "workbench/command_compare.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "workbench/comparison.h"
#include "workbench/comparison_text.h"
#include "workbench/input_error.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/run_settings.h"
#include "workbench/whole_number.h"
#include "workbench/window.h"

namespace workbench {

namespace {

struct CompareOptions {
    std::string before;
    std::string after;
    std::string truth;
    std::string protocol;
    std::string condition;
    int pre = 0;
    int post = 0;
    std::string csv;
    std::string json;
    bool overwrite = false;
};

bool to_standard_output(const std::string& file) {
    return file == "-";
}

bool to_file(const std::string& file) {
    return !file.empty() && !to_standard_output(file);
}

std::filesystem::path whole_path(const std::string& file) {
    return std::filesystem::weakly_canonical(std::filesystem::absolute(file));
}

// A result must not take the place of something that was read, nor both results the same place.
void check_results(const CompareOptions& options) {
    if (to_standard_output(options.csv) && to_standard_output(options.json)) {
        throw InputError("--csv - and --json - cannot both go to standard output");
    }
    for (const std::string& result : {options.csv, options.json}) {
        if (!to_file(result)) {
            continue;
        }
        require_free_name(result, options.overwrite);
        for (const std::string& input : {options.before, options.after, options.truth, options.protocol}) {
            std::error_code error;
            if (std::filesystem::equivalent(result, input, error)) {
                throw InputError(result + ": is one of the files to compare; choose another name for the result");
            }
        }
    }
    if (to_file(options.csv) && to_file(options.json) && whole_path(options.csv) == whole_path(options.json)) {
        throw InputError("--csv and --json name the same file");
    }
}

void print(const std::string& text) {
    if (!(std::cout << text << std::flush)) {
        throw InputError("the result could not be written to standard output");
    }
}

void write_result(const std::string& destination, const std::string& text, bool overwrite) {
    if (to_standard_output(destination)) {
        print(text);
    } else if (to_file(destination)) {
        PendingFile file(destination, overwrite);
        file.stream() << text;
        file.commit();
    }
}

void compare(const CompareOptions& options) {
    check_results(options);
    RecordingReader before(options.before);
    RecordingReader after(options.after);
    std::optional<RecordingReader> truth;
    if (!options.truth.empty()) {
        truth.emplace(options.truth);
    }
    const Protocol protocol = read_protocol(options.protocol);
    const ProtocolCondition& condition =
        protocol.conditions[static_cast<std::size_t>(find_condition(protocol, options.condition))];
    const float rate = before.header().SamplingFrequency;
    const Comparison comparison =
        compare_recordings(before, after, truth ? &*truth : nullptr, trigger_samples(protocol, condition, rate),
                           window_in_samples(options.pre, options.post, rate));
    if (!to_standard_output(options.csv) && !to_standard_output(options.json)) {
        print(comparison_table(comparison, condition.name));
    }
    write_result(options.csv, comparison_csv(comparison), options.overwrite);
    write_result(options.json, comparison_json(comparison, condition.name), options.overwrite);
}

} // namespace

void add_compare_command(CLI::App& app) {
    auto options = std::make_shared<CompareOptions>();
    CLI::App* command = app.add_subcommand("compare", "Show how much artifact a removal took out, channel by channel");
    command->add_option("BEFORE.ctc", options->before, "the recording as it was")->required();
    command->add_option("AFTER.ctc", options->after, "the cleaned recording")->required();
    command->add_option("--protocol", options->protocol, "protocol file (.prt) with the artifact's triggers")
        ->required();
    command->add_option("--condition", options->condition, "condition, by name or by number from 1")->required();
    command->add_option("--pre", options->pre, "window before the trigger in ms")
        ->required()
        ->check(whole_number_problem)
        ->check(CLI::Range(0, longestWindow));
    command->add_option("--post", options->post, "window after the trigger in ms")
        ->required()
        ->check(whole_number_problem)
        ->check(CLI::Range(0, longestWindow));
    command->add_option("--truth", options->truth, "the recording without artifact, where it is known");
    command->add_option("--csv", options->csv, "write the results as CSV to this file (- for standard output)");
    command->add_option("--json", options->json, "write the results as JSON to this file (- for standard output)");
    command->add_flag("--overwrite", options->overwrite, "replace result files that exist");
    command->footer("Example, after workbench simulate -o demo.ctc:\n"
                    "  workbench compare demo.ctc demo.clean.ctc --protocol demo.prt --condition slice --pre 0 --post "
                    "63 --truth demo.clean.ctc\n");
    command->callback([options] { compare(*options); });
}

} // namespace workbench
