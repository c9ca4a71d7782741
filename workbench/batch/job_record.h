#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "workbench/batch/jobs_file.h"

/// What a batch remembers of each job, in the hidden folder .workbench-batch of the results folder. A record tells that
/// the files it names are the batch's own, and what they were made of.
namespace workbench {

/// Everything that a job's results depend on, as names and values: settings as the jobs file writes them, size and time
/// of change of the recordings, digests of the protocol and the module.
using JobIdentity = std::vector<std::pair<std::string, std::string>>;

enum class JobStatus {
    moving, ///< results are being put in place: they may be there or not
    done,
    failed
};

struct ResultFile {
    std::string name; ///< relative to the results folder
    std::uint64_t size = 0;
};

struct JobRecord {
    JobStatus status = JobStatus::failed;
    JobIdentity identity;
    /// Of this job that are in the results folder; while they are being put in place, what was there and what comes.
    std::vector<ResultFile> files;
    double seconds = 0.0;
    std::uint64_t windows = 0;               ///< inside the recording: those that were compared
    std::optional<double> lockedDbRemoved;   ///< nothing where it could not be measured
    std::optional<double> artifactDbRemoved; ///< against the truth, where that is known
    std::string reason;                      ///< of a failure, on one line
};

/// @param moduleDigest  digest_of_file of the module.
JobIdentity identity_of(const Job& job, const std::string& moduleDigest);

/// 16 hexadecimal digits that stand for a file's bytes; "missing" for a file that cannot be read.
std::string digest_of_file(const std::filesystem::path& file);
/// The same for a text.
std::string digest_of_text(const std::string& text);

std::string record_text(const JobRecord& record);
/// Nothing for a text that is no record.
std::optional<JobRecord> record_from_text(const std::string& text);

/// Places in a results folder.
std::filesystem::path state_folder(const std::filesystem::path& results);
std::filesystem::path record_file(const std::filesystem::path& results, const Job& job);
std::filesystem::path work_folder(const std::filesystem::path& results, const Job& job);

/// Nothing where there is no record.
std::optional<JobRecord> read_record(const std::filesystem::path& results, const Job& job);
/// Appears whole or not at all, and is on the disk when this returns. Throws InputError.
void write_record(const std::filesystem::path& results, const Job& job, const JobRecord& record);

} // namespace workbench
