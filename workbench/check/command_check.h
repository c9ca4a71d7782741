#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Adds the command "check".
void add_check_command(CLI::App& app);

} // namespace workbench
