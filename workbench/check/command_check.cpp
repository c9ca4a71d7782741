#include "workbench/check/command_check.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include <unistd.h>

#include "workbench/check/run_check.h"
#include "workbench/check/run_check_text.h"
#include "workbench/input_error.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/run_settings.h"
#include "workbench/whole_number.h"

namespace workbench {

namespace {

struct CheckOptions {
    std::string recording;
    std::string protocol;
    std::string condition;
    RunSettings settings; // the condition is looked up in the protocol
    std::string output;
    std::string json;
    bool overwrite = false;
};

// One line on a terminal while the work takes long.
class ProgressLine {
public:
    ProgressLine() : live_(isatty(STDERR_FILENO) == 1) {}
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(double share) {
        const Clock::time_point now = Clock::now();
        if (!live_ || now - lastDrawn_ < std::chrono::milliseconds(200)) {
            return;
        }
        std::fprintf(stderr, "\r\033[K%3.0f %%  looking at the recording", 100.0 * share);
        lastDrawn_ = now;
        drawn_ = true;
    }
    void clear() {
        if (drawn_) {
            std::fprintf(stderr, "\r\033[K");
        }
        drawn_ = false;
    }

private:
    using Clock = std::chrono::steady_clock;
    bool live_;
    bool drawn_ = false;
    Clock::time_point lastDrawn_ = Clock::now();
};

bool to_file(const CheckOptions& options) {
    return !options.json.empty() && options.json != "-";
}

void check_json_name(const CheckOptions& options) {
    if (!to_file(options)) {
        return;
    }
    require_free_name(options.json, options.overwrite);
    for (const std::string& input : {options.recording, options.protocol}) {
        std::error_code error;
        if (std::filesystem::equivalent(options.json, input, error)) {
            throw InputError(options.json + ": is one of the files to check; choose another name with --json");
        }
    }
}

void check(const CheckOptions& options) {
    check_json_name(options);
    RecordingReader recording(options.recording);
    const Protocol protocol = read_protocol(options.protocol);
    const CheckRequest request{options.recording, options.protocol, options.output,
                               find_condition(protocol, options.condition), options.settings};
    ProgressLine line;
    const RunCheck result = check_run(recording, protocol, request, [&](double share) { line.show(share); });
    line.clear();

    if (!(std::cout << (options.json == "-" ? run_check_json(result) : run_check_text(result)) << std::flush)) {
        throw InputError("the result could not be written to standard output");
    }
    if (to_file(options)) {
        PendingFile file(options.json, options.overwrite);
        file.stream() << run_check_json(result);
        file.commit();
    }
    if (!result.refusals.empty()) {
        throw InputError(result.refusals.front());
    }
}

} // namespace

void add_check_command(CLI::App& app) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App* command = app.add_subcommand("check", "Look before running: what a run would do, need and leave");
    command->add_option("RECORDING.ctc", options->recording, "the recording to clean")->required();
    command->add_option("PROTOCOL.prt", options->protocol, "protocol with the artifact triggers")->required();
    command->add_option("--condition", options->condition, "condition that holds the triggers: name, or number from 1")
        ->required();
    const auto add_number = [&](const char* name, std::optional<int>& setting, const char* description) {
        command->add_option(name, setting, description)->check(whole_number_problem);
    };
    add_number("--pre", options->settings.pre, "window before the trigger in ms, 0 to 5000");
    add_number("--post", options->settings.post, "window after the trigger in ms, 0 to 5000");
    add_number("--segment", options->settings.segment, "artifacts per segment, 10 to the number of triggers");
    add_number("--components", options->settings.components, "principal components to remove, 1 to --segment");
    command->add_option("-o,--output", options->output, "where the run would put the cleaned recording");
    command->add_flag("--as-is", options->settings.asIs, "the run would be given --as-is");
    command->add_option("--json", options->json,
                        "write the findings as JSON to this file (- for standard output, in place of the text)");
    command->add_flag("--overwrite", options->overwrite, "replace the JSON file if it exists");
    command->footer("Settings that are not given are suggested. Nothing is written, --json aside. The exit status is 0 "
                    "when the run would begin, 2 when it would be refused.\n"
                    "Example, after workbench simulate -o demo.ctc:\n"
                    "  workbench check demo.ctc demo.prt --condition slice\n");
    command->callback([options] { check(*options); });
}

} // namespace workbench
