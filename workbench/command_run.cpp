#include "workbench/command_run.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "workbench/dialogs.h"
#include "workbench/failed_transfers.h"
#include "workbench/host_products.h"
#include "workbench/host_services.h"
#include "workbench/input_error.h"
#include "workbench/interrupt.h"
#include "workbench/log_pane.h"
#include "workbench/module.h"
#include "workbench/pending_file.h"
#include "workbench/preflight.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/report/report.h"
#include "workbench/result_check.h"
#include "workbench/result_files.h"
#include "workbench/run_error.h"
#include "workbench/run_process.h"
#include "workbench/run_settings.h"
#include "workbench/whole_number.h"
#include "workbench/window.h"
#include "workbench/working_folder.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

struct RunOptions {
    std::string module;
    std::string data;
    std::string protocol;
    std::string condition;
    RunSettings settings; // the condition is looked up in the protocol
    std::string output;
    std::optional<std::string> report; // empty for the default name
    std::string product = "fixed";
    bool overwrite = false;
    bool quiet = false;
    bool verbose = false;
};

// Inside the working folder the module sees these names, so that its 255-byte paths always suffice.
constexpr const char* recordingLink = "recording.ctc"; // its copy is cleanedName
constexpr const char* protocolLink = "protocol.prt";

bool can_ask() {
    return isatty(STDIN_FILENO) == 1;
}

void say(const RunOptions& options, const std::string& text) {
    if (!options.quiet) {
        std::cout << text << std::endl;
    }
}

void say_notes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        std::cerr << "workbench: note: " << note << "\n";
    }
}

// Everything that is missing is named at once, when nobody can be asked for it.
void require_options(const RunOptions& options) {
    std::string missing;
    const auto note = [&](bool given, const char* option) { missing += given ? "" : std::string(" ") + option; };
    note(!options.data.empty(), "--data");
    note(!options.protocol.empty(), "--protocol");
    note(!options.condition.empty(), "--condition");
    note(options.settings.pre.has_value(), "--pre");
    note(options.settings.post.has_value(), "--post");
    note(options.settings.segment.has_value(), "--segment");
    note(options.settings.components.has_value(), "--components");
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

int trials_of(const Protocol& protocol, const RunSettings& settings) {
    return static_cast<int>(protocol.conditions[static_cast<std::size_t>(*settings.condition)].intervals.size());
}

// Asks for the settings that no option gave, with the module's defaults and limits. False when the user cancels: the
// module then gets a cancelled dialog where it would have asked.
bool ask_missing(const RecordingReader& recording, const Protocol& protocol, RunSettings& settings) {
    const auto ask = [](std::optional<int>& setting, const char* question, int defaultValue, int lowest, int highest) {
        if (!setting) {
            setting = ask_integer(question, defaultValue, lowest, highest);
        }
        return setting.has_value();
    };
    if (!settings.condition) {
        const int count = static_cast<int>(protocol.conditions.size());
        for (int c = 0; c < count; ++c) {
            const ProtocolCondition& condition = protocol.conditions[static_cast<std::size_t>(c)];
            std::cerr << "  " << c + 1 << "  " << condition.name << " (" << condition.intervals.size()
                      << " triggers)\n";
        }
        const std::optional<int> number = ask_integer("Condition with the artifact triggers", count, 1, count);
        if (!number) {
            return false;
        }
        settings.condition = *number - 1;
        check_settings(recording, protocol, settings);
    }
    return ask(settings.pre, "Time before the trigger in ms", 500, 0, longestWindow) &&
           ask(settings.post, "Time after the trigger in ms", 1200, 0, longestWindow) &&
           ask(settings.segment, "Artifacts per segment", 100, smallestSegment, trials_of(protocol, settings)) &&
           ask(settings.components, "Principal components to remove", 3, 1, *settings.segment);
}

// Where the file system tells, the results must fit before anything is computed.
void require_space(const RecordingReader& recording, const Protocol& protocol, const RunSettings& settings,
                   const fs::path& folder) {
    const ProtocolCondition& condition = protocol.conditions[static_cast<std::size_t>(*settings.condition)];
    const std::uint64_t trialBytes = condition.intervals.size() * (condition.name.size() + 16);
    const std::uint64_t needed = recording.size_when_whole() + trialBytes;
    std::error_code error;
    const fs::space_info space = fs::space(folder, error);
    if (!error && space.available < needed) {
        throw InputError("the results need " + std::to_string(needed) + " bytes, and " + folder.string() +
                         " has room for " + std::to_string(space.available) +
                         "; make room, or choose another place with -o");
    }
}

void link_into(const fs::path& folder, const char* name, const fs::path& target) {
    std::error_code error;
    fs::create_symlink(fs::absolute(target), folder / name, error);
    if (error) {
        throw InputError("cannot make a link in " + folder.parent_path().string() + " (" + error.message() +
                         "); choose another place for the result with -o");
    }
}

void note_changed_protocol(const fs::path& file, const Protocol& protocol) {
    std::string now;
    try {
        now = protocol_text(read_protocol(file));
    } catch (const InputError&) {
        now.clear(); // gone, or spoilt
    }
    if (now != protocol_text(protocol)) {
        say_notes({file.string() + " changed during the run; the triggers are those that it held at the start"});
    }
}

// The one trial file that the run left in its folder, whatever the module made of the condition's name; empty when it
// could not be written.
fs::path written_trial_file(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".trl") {
            return entry.path();
        }
    }
    return {};
}

// The module's own last words, less their ending. The recording was found readable before the run, so that only its
// copy can be what the module could not read.
std::string why_not_completed(std::string reason) {
    const std::size_t ending = reason.find(". Exiting plugin.");
    reason = reason.substr(0, ending);
    if (reason == "Error reading CTC file") {
        reason += " (its copy could not be made: is the disk full?)";
    }
    return "the run did not complete" + (reason.empty() ? "" : ": " + reason);
}

// Executes the module in the working folder. Returns why the run did not reach its completed line, or nothing.
std::string execute_module(const RunOptions& options, const RunSettings& settings, const Module& module,
                           const Protocol& protocol) {
    const Verbosity verbosity =
        options.quiet ? Verbosity::quiet : (options.verbose ? Verbosity::verbose : Verbosity::normal);
    LogPane log(verbosity, isatty(STDOUT_FILENO) == 1);
    HostState state{log, {recordingLink, protocolLink, settings, can_ask()}, protocol, std::nullopt, false};
    set_host_state(&state);
    use_product(options.product == "blas" ? Product::blas : Product::fixedOrder);

    const std::unique_ptr<NivoraPluginInterface> plugin(module.createPlugin());
    if (plugin == nullptr) {
        return "the module made no plug-in object: there is not enough memory";
    }
    const bool initialised = plugin->initPlugin();
    const bool result = initialised && plugin->execute();
    log.close_live_line();
    if (state.dialogCancelled) {
        return "cancelled";
    }
    return result && log.completed() ? "" : why_not_completed(log.reason());
}

// The whole run, in a process of its own: the module, then a look at what it made.
std::string run_and_check(const RunOptions& options, const RunSettings& settings, const Module& module,
                          RecordingReader& recording, const Protocol& protocol, const fs::path& folder) {
    fs::current_path(folder);
    forget_failed_transfers();
    std::string failure = execute_module(options, settings, module, protocol);
    if (!failure.empty() && recording.changed()) {
        failure = "the recording " + recording.path().string() + " changed during the run";
    }
    const std::string lost = failed_transfer();
    if (!failure.empty() || !lost.empty()) {
        return failure + (failure.empty() || lost.empty() ? "" : ": ") + lost;
    }
    const ProtocolCondition& condition = protocol.conditions[static_cast<std::size_t>(*settings.condition)];
    const float rate = recording.header().SamplingFrequency;
    const ResultCheck check =
        check_result(recording, cleanedName, written_trial_file("."), trigger_samples(protocol, condition, rate),
                     window_in_samples(*settings.pre, *settings.post, rate));
    say_notes(check.notes);
    return check.failure;
}

// Where the report goes; empty when none is wanted.
fs::path report_file(const RunOptions& options, const ResultFiles& files) {
    if (!options.report) {
        return {};
    }
    return options.report->empty() ? fs::path(files.recording).replace_extension(".html") : fs::path(*options.report);
}

void check_report_file(const RunOptions& options, const ResultFiles& files, const fs::path& report) {
    if (report.empty()) {
        return;
    }
    for (const fs::path& result : {files.recording, files.trials}) {
        if (fs::weakly_canonical(fs::absolute(report)) == fs::weakly_canonical(fs::absolute(result))) {
            throw InputError("--report and the run's results name the same file " + report.string());
        }
    }
    check_report_name(report, {options.module, options.data, options.protocol}, options.overwrite);
}

// The results are in place by now, and stay there whatever becomes of the report.
void make_report(const RunOptions& options, const RunSettings& settings, const Module& module, const ResultFiles& files,
                 const fs::path& report) {
    ReportRequest request;
    request.before = options.data;
    request.after = files.recording;
    request.protocol = options.protocol;
    request.condition = std::to_string(*settings.condition + 1);
    request.pre = settings.pre;
    request.post = settings.post;
    request.segment = settings.segment;
    request.components = settings.components;
    request.module = std::string(module.getPluginName()) + " " + module.getPluginVersion();
    request.output = report;
    request.overwrite = options.overwrite;
    const auto fail = [](const std::string& reason, int status) {
        throw RunError("no report: " + reason + "; the cleaned recording and its trigger times stay", status);
    };
    try {
        write_report(request);
    } catch (const RunError& error) {
        fail(error.status == exitInterrupted ? "interrupted" : error.what(), error.status);
    } catch (const std::exception& error) {
        fail(error.what(), exitNotCompleted);
    }
    say(options, "Report:            " + report.string());
}

void run(RunOptions options) {
    const Module module = load_module(options.module);
    require_options(options);
    options.data = file_or_ask(options.data, "Recording to clean (.ctc), q to cancel: ");
    options.protocol = file_or_ask(options.protocol, "Protocol with the artifact triggers (.prt), q to cancel: ");

    // Absolute: the child works in another folder.
    RecordingReader recording(fs::absolute(options.data));
    const Protocol protocol = read_protocol(options.protocol);
    RunSettings settings = options.settings;
    if (!options.condition.empty()) {
        settings.condition = find_condition(protocol, options.condition);
    }
    check_settings(recording, protocol, settings);
    const bool complete = ask_missing(recording, protocol, settings);
    const std::string condition =
        settings.condition ? protocol.conditions[static_cast<std::size_t>(*settings.condition)].name : "";
    const ResultFiles files = result_files(options.data, options.output, condition);
    say_notes(clear_leftovers(folder_of(files.recording)));
    check_result_files(files, {options.data, options.protocol}, options.overwrite);
    const fs::path report = report_file(options, files);
    check_report_file(options, files, report);
    if (complete) {
        check_settings(recording, protocol, settings);
        require_space(recording, protocol, settings, folder_of(files.recording));
        say_notes(announcements(recording, protocol, settings));
    }

    InterruptHold interrupt; // the working folder must go first
    const WorkingFolder folder(folder_of(files.recording), files.trials.filename().string());
    link_into(folder.path(), recordingLink, options.data);
    link_into(folder.path(), protocolLink, options.protocol);
    const auto start = std::chrono::steady_clock::now();
    const std::string failure = run_in_child(
        interrupt, [&] { return run_and_check(options, settings, module, recording, protocol, folder.path()); });
    interrupt.throw_if_arrived();
    if (!failure.empty()) {
        throw RunError(failure + "; nothing was written", exitNotCompleted);
    }
    try {
        move_results(folder.path(), folder.path() / cleanedName, written_trial_file(folder.path()), files,
                     options.overwrite);
    } catch (const InputError& error) {
        throw RunError(std::string(error.what()) + "; nothing was written", exitNotCompleted);
    }
    note_changed_protocol(options.protocol, protocol);
    char elapsed[32];
    std::snprintf(elapsed, sizeof elapsed, "%.1f s",
                  std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    say(options, "Cleaned recording: " + files.recording.string());
    say(options, "Trigger times:     " + files.trials.string());
    say(options, "Time:              " + std::string(elapsed));
    if (!report.empty()) {
        make_report(options, settings, module, files, report);
    }
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
    const auto add_number = [&](const char* name, std::optional<int>& setting, const char* description) {
        command->add_option(name, setting, description)->check(whole_number_problem);
    };
    add_number("--pre", options->settings.pre, "window before the trigger in ms, 0 to 5000");
    add_number("--post", options->settings.post, "window after the trigger in ms, 0 to 5000");
    add_number("--segment", options->settings.segment, "artifacts per segment, 10 to the number of triggers");
    add_number("--components", options->settings.components, "principal components to remove, 1 to --segment");
    command->add_option("-o,--output", options->output,
                        "cleaned recording (default: the recording's name with _OBS.ctc)");
    command
        ->add_option(
            "--report",
            [options](const CLI::results_t& given) {
                options->report = given[0] == "{}" ? "" : given[0]; // CLI11's sign for an option without its value
                return true;
            },
            "make a report at the end: one HTML file (default: the cleaned recording's name with .html)")
        ->type_name("[FILE]")
        ->expected(0, 1);
    command
        ->add_option("--product", options->product,
                     "matrix product: fixed, the same bits everywhere (default), or the installed blas")
        ->check(CLI::IsMember({"fixed", "blas"}));
    command->add_flag("--as-is", options->settings.asIs,
                      "run even where the recording's data type makes the module misplace or spoil the cleaned epochs "
                      "(16- and 8-bit samples channel by channel, scaled floats); ctc convert avoids it");
    command->add_flag("--overwrite", options->overwrite, "replace existing results");
    auto* quiet = command->add_flag("--quiet", options->quiet, "print errors and notes only");
    command->add_flag("--verbose", options->verbose, "print the dialogs and every line of the log")->excludes(quiet);
    command->footer("What is missing is asked for on a terminal.\n"
                    "Example, after workbench simulate -o demo.ctc:\n"
                    "  workbench run build/release/OridanArtifactRemoval.so --data demo.ctc --protocol demo.prt \\\n"
                    "      --condition 1 --pre 0 --post 64 --segment 50 --components 3 --report\n");
    command->callback([options] { run(*options); });
}

} // namespace workbench
