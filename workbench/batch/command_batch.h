#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Adds the command "batch".
void add_batch_command(CLI::App& app);

} // namespace workbench
