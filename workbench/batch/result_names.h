#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "workbench/batch/jobs_file.h"

namespace workbench {

/// Result names of the jobs that cannot be used, each as a line: names of files that are only read, and (unless told to
/// overwrite) of files that are not the batch's own.
std::vector<std::string> problems_of_names(const std::string& jobsFile, const std::vector<Job>& jobs,
                                           const std::filesystem::path& results, bool overwrite);

} // namespace workbench
