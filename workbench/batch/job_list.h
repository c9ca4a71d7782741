#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "workbench/batch/jobs_file.h"

namespace workbench {

/// The jobs and their files as JSON, for programs that start the jobs themselves. Throws InputError for names
/// that JSON cannot hold.
std::string job_list(const std::vector<Job>& jobs, const std::filesystem::path& results);

} // namespace workbench
