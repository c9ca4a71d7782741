#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// `workbench run MODULE ...`: cleans a copy of a recording with the module.
/// The callback throws InputError for what cannot be used, RunError when the run did not reach its end.
void add_run_command(CLI::App& app);

} // namespace workbench
