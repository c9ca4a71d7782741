#pragma once

#include "workbench/cli11.h"

namespace tools {

/// Registers `ctc cut IN OUT --from S --to S --channels LIST`: a part of a recording, its stored elements as they are.
void add_cut_command(CLI::App& app);

} // namespace tools
