#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// `workbench simulate -o R.ctc`: writes a made-up recording R.ctc, its protocol R.prt and R.clean.ctc without
/// artifact. The callback throws InputError when it cannot do what was asked.
void add_simulate_command(CLI::App& app);

} // namespace workbench
