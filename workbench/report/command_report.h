#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Adds the command "report".
void add_report_command(CLI::App& app);

} // namespace workbench
