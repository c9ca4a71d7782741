#pragma once

#include <string>

#include "workbench/batch/jobs_file.h"

namespace workbench {

/// What a quick look at a job's files says against it (the headers, the protocol, the count of triggers), on one line;
/// empty when nothing does. The run itself looks again, and closer.
std::string problem_of(const Job& job);

} // namespace workbench
