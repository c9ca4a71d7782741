#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Registers `workbench info MODULE`.
void add_info_command(CLI::App& app);

} // namespace workbench
