#include "workbench/command_run.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "workbench/host_products.h"
#include "workbench/host_services.h"
#include "workbench/input_error.h"
#include "workbench/log_pane.h"
#include "workbench/module.h"
#include "workbench/pending_file.h"
#include "workbench/preflight.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/result_check.h"
#include "workbench/run_error.h"
#include "workbench/run_process.h"
#include "workbench/working_folder.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

struct RunOptions {
    std::string module;
    std::string data;
    std::string protocol;
    std::string condition;
    std::optional<int> pre;
    std::optional<int> post;
    std::optional<int> segment;
    std::optional<int> components;
    std::string output;
    std::string product = "blas";
    bool overwrite = false;
    bool quiet = false;
    bool verbose = false;
};

// Where the results go.
struct Destination {
    fs::path recording;
    fs::path trialPrefix; // folder and first part of the trial file's name
};

// Inside the working folder the module sees these names, so that its 255-byte paths always suffice.
constexpr const char* recordingLink = "recording.ctc";
constexpr const char* cleanedName = "recording_OBS.ctc";
constexpr const char* protocolLink = "protocol.prt";

bool can_ask() {
    return isatty(STDIN_FILENO) == 1;
}

void say(const RunOptions& options, const std::string& text) {
    if (!options.quiet) {
        std::cout << text << std::endl;
    }
}

// Everything that is missing is named at once, when nobody can be asked for it.
void require_options(const RunOptions& options) {
    std::string missing;
    const auto note = [&](bool given, const char* option) { missing += given ? "" : std::string(" ") + option; };
    note(!options.data.empty(), "--data");
    note(!options.protocol.empty(), "--protocol");
    note(!options.condition.empty(), "--condition");
    note(options.pre.has_value(), "--pre");
    note(options.post.has_value(), "--post");
    note(options.segment.has_value(), "--segment");
    note(options.components.has_value(), "--components");
    if (!missing.empty() && !can_ask()) {
        throw InputError("missing:" + missing + "; give them, or run on a terminal to be asked");
    }
}

std::string file_or_ask(const std::string& given, const std::string& question) {
    if (!given.empty()) {
        return given;
    }
    const std::optional<std::string> answer = ask_line(question);
    if (!answer || answer->empty()) {
        throw RunError("cancelled; nothing was written", exitNotCompleted);
    }
    return *answer;
}

Destination destination_of(const RunOptions& options, const fs::path& data) {
    if (options.output.empty()) {
        const fs::path stem = data.parent_path() / data.stem();
        return {fs::path(stem) += "_OBS.ctc", stem};
    }
    const fs::path output(options.output);
    return {output, output.parent_path() / output.stem()};
}

fs::path folder_of(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

fs::path trial_path(const Destination& destination, const std::string& conditionText) {
    return fs::path(destination.trialPrefix) += "_" + conditionText + ".trl";
}

void refuse_same_file(const fs::path& result, const fs::path& input) {
    std::error_code error;
    if (fs::equivalent(result, input, error)) {
        throw InputError("the result would replace " + input.string() +
                         ", which is never changed; choose another name "
                         "with -o");
    }
}

// Both results' names must be free before anything is computed. The trial file is named by the module; where the name
// has a percent sign it may come out differently, and is looked at again when the file is moved.
void check_destination(const RunOptions& options, const Destination& destination, const RunSettings& settings,
                       const Protocol& protocol, const std::vector<fs::path>& inputs) {
    std::vector<fs::path> results{destination.recording};
    if (settings.condition) {
        results.push_back(
            trial_path(destination, protocol.conditions[static_cast<std::size_t>(*settings.condition)].name));
    }
    for (const fs::path& result : results) {
        for (const fs::path& input : inputs) {
            refuse_same_file(result, input);
        }
        require_free_name(result, options.overwrite);
    }
}

// In the child: loads nothing, asks nothing that an option answers; true when the run reached its completed line.
bool run_module(const RunOptions& options, const Module& module, const fs::path& folder, const RunSettings& settings) {
    fs::current_path(folder);
    const Verbosity verbosity =
        options.quiet ? Verbosity::quiet : (options.verbose ? Verbosity::verbose : Verbosity::normal);
    LogPane log(verbosity, isatty(STDOUT_FILENO) == 1);
    DialogAnswers answers;
    answers.dataFile = recordingLink;
    answers.protocolFile = protocolLink;
    if (settings.condition) {
        answers.condition = *settings.condition + 1;
    }
    answers.pre = settings.pre;
    answers.post = settings.post;
    answers.segment = settings.segment;
    answers.components = settings.components;
    answers.askOnTerminal = can_ask();
    HostState state{log, answers, std::nullopt, false};
    set_host_state(&state);
    use_product(options.product == "plain" ? Product::plain : Product::blas);

    const std::unique_ptr<NivoraPluginInterface> plugin(module.createPlugin());
    const bool initialised = plugin->initPlugin();
    const bool result = initialised && plugin->execute();
    log.close_live_line();
    return result && log.completed() && !state.dialogCancelled;
}

// The one trial file that the run left in its folder; empty when it could not be written.
fs::path written_trial_file(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".trl") {
            return entry.path();
        }
    }
    return {};
}

void link_into(const fs::path& folder, const char* name, const fs::path& target) {
    std::error_code error;
    fs::create_symlink(fs::absolute(target), folder / name, error);
    if (error) {
        throw InputError("cannot make a link in " + folder.parent_path().string() + " (" + error.message() +
                         "); choose another place for the result with -o");
    }
}

// Gives both results their names, or neither.
std::vector<fs::path> move_results(const RunOptions& options, const Destination& destination, const fs::path& folder) {
    const fs::path trial = written_trial_file(folder);
    if (trial.empty()) {
        throw RunError("the trial file could not be written (disk full?); nothing was kept", exitNotCompleted);
    }
    const std::string name = trial.stem().string().substr(1); // the module names it "_" and the condition
    const fs::path trialTarget = trial_path(destination, name);
    move_into_place(trial, trialTarget, options.overwrite);
    try {
        move_into_place(folder / cleanedName, destination.recording, options.overwrite);
    } catch (const InputError&) {
        std::error_code ignored;
        fs::remove(trialTarget, ignored);
        throw;
    }
    return {destination.recording, trialTarget};
}

void run(RunOptions options) {
    require_options(options);
    const Module module = load_module(options.module);
    options.data = file_or_ask(options.data, "Recording to clean (.ctc), q to cancel: ");
    options.protocol = file_or_ask(options.protocol, "Protocol with the artifact triggers (.prt), q to cancel: ");

    RecordingReader recording(options.data);
    const Protocol protocol = read_protocol(options.protocol);
    RunSettings settings{std::nullopt, options.pre, options.post, options.segment, options.components};
    if (!options.condition.empty()) {
        settings.condition = find_condition(protocol, options.condition);
    }
    check_settings(recording, protocol, settings);
    const Destination destination = destination_of(options, options.data);
    check_destination(options, destination, settings, protocol, {options.data, options.protocol});
    for (const std::string& line : announcements(recording, protocol, settings)) {
        std::cerr << "workbench: note: " << line << "\n";
    }

    const WorkingFolder folder(folder_of(destination.recording));
    link_into(folder.path(), recordingLink, options.data);
    link_into(folder.path(), protocolLink, options.protocol);
    const auto start = std::chrono::steady_clock::now();
    const ProcessResult result = run_in_child([&] { return run_module(options, module, folder.path(), settings); });
    if (result.interrupted) {
        throw RunError("interrupted; nothing was written", exitInterrupted);
    }
    if (!result.succeeded) {
        throw RunError((result.failure.empty() ? "the run did not complete" : result.failure) + "; nothing was written",
                       exitNotCompleted);
    }
    const ResultCheck check = check_result(recording, folder.path() / cleanedName);
    for (const std::string& line : check.notes) {
        std::cerr << "workbench: note: " << line << "\n";
    }
    if (!check.failure.empty()) {
        throw RunError(check.failure + "; nothing was kept", exitNotCompleted);
    }
    const std::vector<fs::path> results = move_results(options, destination, folder.path());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    char elapsed[32];
    std::snprintf(elapsed, sizeof elapsed, "%.1f s", seconds);
    say(options, "Cleaned recording: " + results[0].string());
    say(options, "Trigger times:     " + results[1].string());
    say(options, "Time:              " + std::string(elapsed));
}

} // namespace

void add_run_command(CLI::App& app) {
    auto options = std::make_shared<RunOptions>();
    CLI::App* command = app.add_subcommand("run", "Clean a copy of a recording with the module");
    command->add_option("MODULE", options->module, "the module, e.g. build/release/OridanArtifactRemoval.so")
        ->required();
    command->add_option("--data", options->data, "recording to clean (.ctc); it is never changed");
    command->add_option("--protocol", options->protocol, "protocol with the artifact triggers (.prt)");
    command->add_option("--condition", options->condition, "condition that holds the triggers: name, or number from 1");
    command->add_option("--pre", options->pre, "window before the trigger in ms, 0 to 5000");
    command->add_option("--post", options->post, "window after the trigger in ms, 0 to 5000");
    command->add_option("--segment", options->segment, "artifacts per segment, 10 to the number of triggers");
    command->add_option("--components", options->components, "principal components to remove, 1 to --segment");
    command->add_option("-o,--output", options->output,
                        "cleaned recording (default: the recording's name with _OBS.ctc)");
    command->add_option("--product", options->product, "matrix product: blas, or plain for the same bits everywhere")
        ->check(CLI::IsMember({"blas", "plain"}));
    command->add_flag("--overwrite", options->overwrite, "replace existing results");
    auto* quiet = command->add_flag("--quiet", options->quiet, "print errors and notes only");
    command->add_flag("--verbose", options->verbose, "print the dialogs and every line of the log")->excludes(quiet);
    command->footer("What is missing is asked for on a terminal.\n"
                    "Example:\n"
                    "  workbench run build/release/OridanArtifactRemoval.so --data demo.ctc --protocol demo.prt \\\n"
                    "      --condition 1 --pre 0 --post 63 --segment 50 --components 3");
    command->callback([options] { run(*options); });
}

} // namespace workbench
