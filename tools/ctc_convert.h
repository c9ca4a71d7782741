#pragma once

#include "workbench/cli11.h"

namespace tools {

/// Registers `ctc convert IN OUT --datatype T --ordering O`: the same recording in another form.
void add_convert_command(CLI::App& app);

} // namespace tools
