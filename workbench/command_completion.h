#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// Adds the commands that tell shells and the manual about a program's commands: "completion", and out of sight
/// "complete", which the shells' scripts call, and "manual", which the build calls.
void add_completion_commands(CLI::App& app);

} // namespace workbench
