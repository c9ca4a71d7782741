#pragma once

#include "workbench/cli11.h"

namespace tools {

/// Registers `ctc info FILE`: the header, and the range of every channel.
void add_info_command(CLI::App& app);

} // namespace tools
