#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workbench/batch/job_record.h"

/// What of a batch is finished, and which files it may replace.
namespace workbench {

/// Why a job must be run, in a few words; nothing when it is finished: its record says so, nothing that its results
/// depend on has changed, and they are there with the size they had.
std::optional<std::string> reason_to_run(const Job& job, const std::optional<JobRecord>& record,
                                         const JobIdentity& identity, const std::filesystem::path& results);

/// The record names this file, and it has the size that the record tells.
bool is_own(const std::optional<JobRecord>& record, const std::string& name, const std::filesystem::path& results);

/// The results of a job that have the same name whatever its protocol says: cleaned recording, log, and report.
std::vector<std::string> fixed_results(const Job& job);

/// Files that have the name of a result of the job and are not the batch's own.
std::vector<std::string> foreign_files(const Job& job, const std::optional<JobRecord>& record,
                                       const std::filesystem::path& results);

std::string report_name(const Job& job); ///< relative to the results folder, as the next
std::string log_name(const Job& job);

} // namespace workbench
