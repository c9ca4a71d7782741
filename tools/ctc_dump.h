#pragma once

#include "workbench/cli11.h"

namespace tools {

/// Registers `ctc dump FILE`: the samples as CSV.
void add_dump_command(CLI::App& app);

} // namespace tools
