#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "workbench/batch/job_record.h"

namespace workbench {

/// What the jobs of a batch share.
struct BatchSettings {
    std::filesystem::path results; ///< folder, absolute
    std::filesystem::path module;  ///< absolute
    std::string moduleDigest;
    bool overwrite = false; ///< replace files that are not the batch's own
};

/// The commands that clean the job's recording and make its report, with results in the current folder.
std::vector<std::vector<std::string>> commands_of(const Job& job, const BatchSettings& settings);

/// Does one job from its start to its record, in this process and one more: cleans in the job's working folder,
/// measures, puts the results in place and writes down that they are there. A failure ends in a record too.
/// @param beforeProgram  called in the new process before it turns into `workbench run`.
/// @return the job succeeded.
bool do_job(const Job& job, const BatchSettings& settings, const std::function<void()>& beforeProgram);

} // namespace workbench
