// Reads any text as a jobs file and as the record of a job, and tells what is known of the jobs. What is refused must
// be refused with an InputError; the results of the jobs stay in the results folder, apart from each other; a record
// survives being written and read.

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>

#include <fuzzer/FuzzedDataProvider.h>
#include <nlohmann/json.hpp>

#include "fuzz/scratch_file.h"
#include "workbench/batch/job_list.h"
#include "workbench/batch/job_look.h"
#include "workbench/batch/job_record.h"
#include "workbench/batch/jobs_file.h"
#include "workbench/batch/result_names.h"
#include "workbench/batch/resume.h"
#include "workbench/batch/summary.h"
#include "workbench/csv_line.h"
#include "workbench/input_error.h"

namespace {

namespace fs = std::filesystem;

void require_results_inside(const std::vector<workbench::Job>& jobs) {
    std::set<std::string> names;
    for (const workbench::Job& job : jobs) {
        for (const std::string& name : workbench::fixed_results(job)) {
            const fs::path path(name);
            fuzz::require(!path.empty() && path.is_relative() && path == path.lexically_normal() &&
                              path.begin()->string() != ".." && name.find('\0') == std::string::npos,
                          "results stay in the results folder");
            fuzz::require(names.insert(name).second, "every result has a name of its own");
        }
        fuzz::require(job.components >= 1 && job.components <= job.segment && job.pre >= 0 && job.post >= 0,
                      "settings are what the dialogs take");
    }
}

// What a batch tells of its jobs, one of them with a record.
void tell(const std::vector<workbench::Job>& jobs, const std::optional<workbench::JobRecord>& record,
          const fs::path& results) {
    std::vector<workbench::JobOutcome> outcomes;
    for (const workbench::Job& job : jobs) {
        workbench::JobOutcome outcome = workbench::outcome_of(job, "digest", results);
        fuzz::require(outcome.status == workbench::JobOutcome::Status::notRun, "a job without a record was not run");
        if (outcomes.empty() && record) {
            outcome.record = record;
            outcome.reason = workbench::reason_to_run(job, record, record->identity, results).value_or("");
            outcome.status =
                outcome.reason.empty() ? workbench::JobOutcome::Status::done : workbench::JobOutcome::Status::failed;
        }
        outcomes.push_back(outcome);
    }
    workbench::summary_table(outcomes);
    workbench::summary_page(outcomes, "jobs");
    const std::string csv = workbench::summary_csv(outcomes);
    fuzz::require(!csv.empty() && csv.back() == '\n', "a summary has whole lines");
    fuzz::require(nlohmann::json::accept(workbench::job_list(jobs, results)), "the list of jobs is JSON");
    for (const workbench::Job& job : jobs) {
        fuzz::require(!workbench::problem_of(job).empty(), "a job without files has a problem");
    }
}

std::optional<workbench::JobRecord> any_record(const std::string& text) {
    const std::optional<workbench::JobRecord> record = workbench::record_from_text(text);
    if (record) {
        const std::string written = workbench::record_text(*record);
        const std::optional<workbench::JobRecord> again = workbench::record_from_text(written);
        fuzz::require(again && workbench::record_text(*again) == written, "a record survives being written and read");
        fuzz::require(again->identity == record->identity && again->windows == record->windows &&
                          again->files.size() == record->files.size() && again->seconds == record->seconds,
                      "and is the same");
    }
    return record;
}

} // namespace

// An input is a jobs file, a byte of 1 and a record.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::uint8_t* end = std::find(data, data + size, std::uint8_t{1});
    const std::string jobsText(data, end);
    const std::optional<workbench::JobRecord> record =
        any_record(std::string(end == data + size ? end : end + 1, data + size));
    const fs::path results = fuzz::scratch_folder() + "/results";
    try {
        const workbench::JobsFile file = workbench::read_jobs(fuzz::write_scratch("jobs.csv", jobsText));
        fuzz::require(!file.jobs.empty() || !file.problems.empty(), "a jobs file has jobs or problems");
        require_results_inside(file.jobs);
        workbench::problems_of_names("jobs.csv", file.jobs, results, false);
        tell(file.jobs, record, results);
    } catch (const workbench::InputError&) {
    }
    return 0;
}
