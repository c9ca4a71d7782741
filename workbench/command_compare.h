#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// `workbench compare BEFORE.ctc AFTER.ctc ...`: how much of the artifact is left, per channel.
/// The callback throws InputError when it cannot do what was asked.
void add_compare_command(CLI::App& app);

} // namespace workbench
