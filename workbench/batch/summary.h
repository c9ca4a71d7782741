#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workbench/batch/job_record.h"

namespace workbench {

/// One line of a batch's summary.
struct JobOutcome {
    Job job;
    enum class Status { done, failed, notRun } status = Status::notRun;
    bool finishedBefore = false;
    std::string reason;              ///< of a failure, or why it is still to be run
    std::optional<JobRecord> record; ///< of a job that is done or failed
};

/// What the records tell of a job now.
JobOutcome outcome_of(const Job& job, const std::string& moduleDigest, const std::filesystem::path& results);

/// "done", "failed", "not run".
std::string status_word(const JobOutcome& outcome);

/// A result's name relative to the results folder; empty where the job has none.
std::string output_of(const JobOutcome& outcome);
std::string report_of(const JobOutcome& outcome);
std::string log_of(const JobOutcome& outcome);

/// For people: an aligned table, and a line that counts.
std::string summary_table(const std::vector<JobOutcome>& outcomes);
/// "18 done (5 of them before), 2 failed".
std::string summary_counts(const std::vector<JobOutcome>& outcomes);
std::string summary_csv(const std::vector<JobOutcome>& outcomes);
/// A page that needs nothing else, with links to reports and logs.
std::string summary_page(const std::vector<JobOutcome>& outcomes, const std::string& title);

/// Throws InputError where summary.csv or summary.html in the results folder are not a batch's own (and overwrite is
/// not given).
void require_own_summary(const std::filesystem::path& results, bool overwrite);
/// Writes summary.csv and summary.html. Throws InputError.
void write_summary(const std::filesystem::path& results, const std::vector<JobOutcome>& outcomes,
                   const std::string& title);

} // namespace workbench
