#include "workbench/batch/command_batch.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <sched.h>
#include <unistd.h>

#include "workbench/batch/batch_lock.h"
#include "workbench/batch/job_list.h"
#include "workbench/batch/job_look.h"
#include "workbench/batch/job_pool.h"
#include "workbench/batch/jobs_file.h"
#include "workbench/batch/module_check.h"
#include "workbench/batch/overview.h"
#include "workbench/batch/result_names.h"
#include "workbench/batch/summary.h"
#include "workbench/input_error.h"
#include "workbench/run_error.h"
#include "workbench/shell_quoted.h"
#include "workbench/whole_number.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

struct BatchOptions {
    std::string jobsFile;
    std::string module;
    std::string results;
    std::optional<int> width;
    std::optional<int> only; // line of the jobs file
    bool list = false;
    bool summaryOnly = false;
    bool overwrite = false;
    bool redo = false;
    bool quiet = false;
};

constexpr int mostProcesses = 1024;

std::size_t usable_processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    const int count = sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
    return static_cast<std::size_t>(std::max(1, count));
}

fs::path results_folder(const BatchOptions& options) {
    if (!options.results.empty()) {
        return fs::absolute(options.results).lexically_normal();
    }
    const fs::path jobsFile = fs::absolute(options.jobsFile).lexically_normal();
    return jobsFile.parent_path() / (jobsFile.stem().string() + "_results");
}

void say_problems(const std::vector<std::string>& problems) {
    for (const std::string& problem : problems) {
        std::cerr << "workbench: " << problem << "\n";
    }
}

std::string place_of(const BatchOptions& options, const Job& job) {
    return options.jobsFile + ":" + std::to_string(job.line);
}

std::vector<Job> usable_jobs(const BatchOptions& options) {
    JobsFile file = read_jobs(options.jobsFile);
    if (!file.problems.empty()) {
        say_problems(file.problems);
        throw InputError(options.jobsFile + " cannot be used as it is; nothing was run");
    }
    if (!options.only) {
        return file.jobs;
    }
    for (const Job& job : file.jobs) {
        if (job.line == static_cast<std::size_t>(std::max(0, *options.only))) {
            return {job};
        }
    }
    throw InputError("--only " + std::to_string(*options.only) + ": " + options.jobsFile +
                     " has no recording on that line (--list shows them)");
}

void make_folders(const fs::path& results) {
    std::error_code error;
    fs::create_directories(state_folder(results), error);
    if (error) {
        throw InputError(results.string() + ": cannot be made (" + error.message() +
                         "); choose another folder with -o");
    }
}

void remove_left_work_folders(const fs::path& results) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(state_folder(results), error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("work-") || name.starts_with(".workbench-")) {
            std::error_code ignored;
            fs::remove_all(entry.path(), ignored);
        }
    }
}

// A batch that is to be done anew stays so when it is interrupted and taken up again.
void forget_finished(const std::vector<Job>& jobs, const fs::path& results) {
    for (const Job& job : jobs) {
        std::optional<JobRecord> record = read_record(results, job);
        if (record && record->status == JobStatus::done) {
            record->status = JobStatus::moving;
            write_record(results, job, *record);
        }
    }
}

void announce_problems(const BatchOptions& options, const std::vector<Job>& jobs) {
    for (const Job& job : jobs) {
        if (const std::string problem = problem_of(job); !problem.empty()) {
            std::cerr << "workbench: note: " << place_of(options, job) << ": will fail: " << problem << "\n";
        }
    }
}

std::string failure_line(const BatchOptions& options, const JobOutcome& outcome, const fs::path& results) {
    const std::string log = log_of(outcome).empty() ? "" : " (log: " + (results / log_of(outcome)).string() + ")";
    return place_of(options, outcome.job) + ": " + outcome.job.recording + " failed: " + outcome.reason + log;
}

// How one more job came to its end, as a line. The failure of a single job is what the program ends with.
void say_end(const BatchOptions& options, const JobOutcome& outcome, const fs::path& results) {
    if (outcome.status != JobOutcome::Status::done) {
        if (!options.only) {
            std::cerr << "workbench: " << failure_line(options, outcome, results) << std::endl;
        }
    } else if (!options.quiet) {
        char figures[96];
        std::snprintf(figures, sizeof figures, "%.1f s, %.1f dB removed", outcome.record->seconds,
                      outcome.record->lockedDbRemoved.value_or(0.0));
        std::cout << place_of(options, outcome.job) << ": " << outcome.job.recording << " done (" << figures << ")"
                  << std::endl;
    }
}

// A job that was run and whose records do not say how it ended.
JobOutcome outcome_of_run(const Job& job, const BatchSettings& settings) {
    JobOutcome outcome = outcome_of(job, settings.moduleDigest, settings.results);
    if (outcome.status == JobOutcome::Status::notRun) {
        outcome.status = JobOutcome::Status::failed;
        const std::optional<JobRecord> record = read_record(settings.results, job);
        outcome.reason = record && record->status == JobStatus::done ? outcome.reason + " while it was cleaned"
                                                                     : "its process ended before it could say why";
    }
    return outcome;
}

std::vector<std::uint64_t> sizes_of(const std::vector<Job>& jobs) {
    std::vector<std::uint64_t> sizes;
    for (const Job& job : jobs) {
        std::error_code error;
        const std::uintmax_t size = fs::file_size(job.recordingFile, error);
        sizes.push_back(error ? 0 : size);
    }
    return sizes;
}

std::vector<std::string> names_of(const std::vector<Job>& jobs) {
    std::vector<std::string> names;
    for (const Job& job : jobs) {
        names.push_back(job.recording);
    }
    return names;
}

// Runs the jobs; outcomes[i] is that of jobs[i]. Returns the number of the signal that interrupted them, or 0.
int run_jobs(const BatchOptions& options, const BatchSettings& settings, const BatchLock& lock,
             const std::vector<Job>& jobs, std::size_t finishedBefore) {
    const std::size_t width = options.width ? static_cast<std::size_t>(*options.width) : usable_processors();
    Overview overview(names_of(jobs), sizes_of(jobs), finishedBefore, width,
                      !options.quiet && isatty(STDERR_FILENO) == 1);
    JobPool pool(settings, lock, width);
    PoolEvents events;
    events.started = [&](std::size_t job) { overview.started(job); };
    events.ended = [&](std::size_t job) {
        const JobOutcome outcome = outcome_of_run(jobs[job], settings);
        overview.clear();
        overview.ended(job, outcome.status == JobOutcome::Status::done);
        say_end(options, outcome, settings.results);
    };
    events.tick = [&] { overview.draw(); };
    return pool.run(jobs, events);
}

std::string command_to_go_on(const BatchOptions& options) {
    std::string command =
        "workbench batch " + shell_quoted(options.jobsFile) + " --module " + shell_quoted(options.module);
    command += options.results.empty() ? "" : " -o " + shell_quoted(options.results);
    command += options.only ? " --only " + std::to_string(*options.only) : "";
    command += options.width ? " --jobs " + std::to_string(*options.width) : "";
    return command + (options.overwrite ? " --overwrite" : "");
}

// The table, and what the batch ends with.
void finish(const BatchOptions& options, const std::vector<JobOutcome>& outcomes, const fs::path& results) {
    if (!options.quiet) {
        std::cout << "\n" << summary_table(outcomes);
        if (!options.only) {
            std::cout << "Summary: " << (results / "summary.html").string() << " and summary.csv\n";
        }
        std::cout << std::flush;
    }
    const auto bad = std::count_if(outcomes.begin(), outcomes.end(), [](const JobOutcome& outcome) {
        return outcome.status != JobOutcome::Status::done;
    });
    if (bad > 0 && options.only) {
        throw RunError(failure_line(options, outcomes.front(), results), exitNotCompleted);
    }
    if (bad > 0) {
        throw RunError(std::to_string(bad) + " of " + std::to_string(outcomes.size()) +
                           (options.summaryOnly ? " recordings are not done" : " recordings failed") +
                           "; see summary.csv in " + results.string(),
                       exitNotCompleted);
    }
}

std::string title_of(const BatchOptions& options) {
    return "Batch " + fs::path(options.jobsFile).filename().string();
}

std::vector<JobOutcome> outcomes_now(const std::vector<Job>& jobs, const BatchSettings& settings) {
    std::vector<JobOutcome> outcomes;
    for (const Job& job : jobs) {
        outcomes.push_back(outcome_of(job, settings.moduleDigest, settings.results));
    }
    return outcomes;
}

void summarise(const BatchOptions& options, const BatchSettings& settings, const std::vector<Job>& jobs) {
    const std::vector<JobOutcome> outcomes = outcomes_now(jobs, settings);
    require_own_summary(settings.results, options.overwrite);
    write_summary(settings.results, outcomes, title_of(options));
    finish(options, outcomes, settings.results);
}

void require_usable_names(const BatchOptions& options, const std::vector<Job>& jobs, const fs::path& results) {
    const std::vector<std::string> problems = problems_of_names(options.jobsFile, jobs, results, options.overwrite);
    if (!problems.empty()) {
        say_problems(problems);
        throw InputError("the results cannot be written; nothing was run");
    }
    if (!options.only) {
        require_own_summary(results, options.overwrite);
    }
}

void run_unfinished(const BatchOptions& options, const BatchSettings& settings, const BatchLock& lock,
                    const std::vector<Job>& jobs) {
    std::vector<JobOutcome> outcomes = outcomes_now(jobs, settings);
    std::vector<Job> toRun;
    for (JobOutcome& outcome : outcomes) {
        outcome.finishedBefore = outcome.status == JobOutcome::Status::done;
        if (!outcome.finishedBefore) {
            toRun.push_back(outcome.job);
        }
    }
    const std::size_t finishedBefore = jobs.size() - toRun.size();
    if (!options.quiet && finishedBefore > 0) {
        std::cout << finishedBefore << " of " << jobs.size() << " recordings were finished before\n";
    }
    if (!options.only) {
        announce_problems(options, toRun);
    }
    const int interruptedBy = run_jobs(options, settings, lock, toRun, finishedBefore);
    for (JobOutcome& outcome : outcomes) {
        if (!outcome.finishedBefore) {
            outcome = interruptedBy == 0 ? outcome_of_run(outcome.job, settings)
                                         : outcome_of(outcome.job, settings.moduleDigest, settings.results);
        }
    }
    if (!options.only) {
        write_summary(settings.results, outcomes, title_of(options));
    }
    if (interruptedBy != 0) {
        throw RunError("interrupted: " + summary_counts(outcomes) + ". To go on: " + command_to_go_on(options),
                       128 + interruptedBy);
    }
    finish(options, outcomes, settings.results);
}

void batch(const BatchOptions& options) {
    const std::vector<Job> jobs = usable_jobs(options);
    BatchSettings settings;
    settings.results = results_folder(options);
    settings.overwrite = options.overwrite;
    if (options.list) {
        std::cout << job_list(jobs, settings.results);
        return;
    }
    if (options.module.empty()) {
        throw InputError("missing: --module; give the path of OridanArtifactRemoval.so");
    }
    settings.module = fs::absolute(options.module);
    require_module(settings.module);
    settings.moduleDigest = digest_of_file(settings.module);
    make_folders(settings.results);
    if (options.summaryOnly) {
        summarise(options, settings, jobs);
        return;
    }

    const fs::path state = state_folder(settings.results);
    const BatchLock folderLock(state / "lock", options.only ? BatchLock::Kind::shared : BatchLock::Kind::whole);
    std::optional<BatchLock> jobLock;
    if (options.only) {
        jobLock.emplace(work_folder(settings.results, jobs.front()) += ".lock", BatchLock::Kind::job);
    } else {
        remove_left_work_folders(settings.results);
    }
    require_usable_names(options, jobs, settings.results);
    if (options.redo) {
        forget_finished(jobs, settings.results);
    }
    run_unfinished(options, settings, jobLock ? *jobLock : folderLock, jobs);
}

} // namespace

void add_batch_command(CLI::App& app) {
    auto options = std::make_shared<BatchOptions>();
    CLI::App* command = app.add_subcommand("batch", "Clean many recordings, and go on where an earlier batch stopped");
    command->add_option("JOBS.csv", options->jobsFile, "one line per recording, below a line with the columns' names")
        ->required();
    command->add_option("--module", options->module, "the module, e.g. build/release/OridanArtifactRemoval.so");
    command
        ->add_option("--jobs", options->width, "recordings at once (default: the processors that this program may use)")
        ->check(whole_number_problem)
        ->check(CLI::Range(1, mostProcesses));
    command->add_option("-o,--output", options->results,
                        "folder for the results (default: JOBS_results beside the jobs file)");
    auto* redo = command->add_flag("--redo", options->redo, "do again what is finished");
    command->add_flag("--overwrite", options->overwrite, "replace files that are not the batch's own, too");
    command->add_flag("--quiet", options->quiet, "print errors and notes only");
    auto* only = command->add_option("--only", options->only, "only the recording on this line of the jobs file");
    only->check(whole_number_problem);
    auto* summary = command->add_flag("--summary", options->summaryOnly, "run nothing, write the summary anew");
    auto* list = command->add_flag("--list", options->list, "run nothing, print the jobs and their files as JSON");
    summary->excludes(only)->excludes(redo)->excludes(list);
    list->excludes(redo);
    command->footer(
        "Columns: recording, protocol, condition, pre, post, segment, components; and where wanted output, truth,\n"
        "product (fixed, blas), report (yes, no), as_is (yes, no). File names count from the jobs file's folder.\n"
        "Exit status: 0 all done, 1 some failed, 2 the jobs file or an option cannot be used, 128 + signal "
        "interrupted.\n"
        "Example, after workbench simulate -o demo.ctc:\n"
        "  echo recording,protocol,condition,pre,post,segment,components > jobs.csv\n"
        "  echo demo.ctc,demo.prt,slice,0,64,50,3 >> jobs.csv\n"
        "  workbench batch jobs.csv --module build/release/OridanArtifactRemoval.so --jobs 2\n");
    command->callback([options] { batch(*options); });
}

} // namespace workbench
