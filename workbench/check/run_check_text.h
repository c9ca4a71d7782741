#pragma once

#include <string>

#include "workbench/check/run_check.h"

namespace workbench {

/// For people: problems first, then what the run would do and need, the components, and the commands.
std::string run_check_text(const RunCheck& check);

/// The same for programs.
std::string run_check_json(const RunCheck& check);

} // namespace workbench
