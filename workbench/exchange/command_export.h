#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Adds the command "export".
void add_export_command(CLI::App& app);

} // namespace workbench
