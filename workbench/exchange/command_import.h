#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Adds the command "import".
void add_import_command(CLI::App& app);

} // namespace workbench
