#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// `workbench protocol TRIGGERS.csv -o R.prt`: makes a protocol file from a table of triggers.
/// The callback throws InputError when it cannot do what was asked.
void add_protocol_command(CLI::App& app);

} // namespace workbench
