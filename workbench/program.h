#pragma once

#include "workbench/cli11.h"

namespace workbench {

/// The version of our programs, e.g. "0.1.0", and the day on which it was made.
const char* program_version();
const char* program_date();

/// Runs one of our programs with its command line: a parser with a name and subcommands whose callbacks do the work.
/// --version and the commands for completion and manual pages are added, which all our programs have.
/// What they throw is told in one line on standard error, after the program's name.
/// @return the exit status: 0, or 2 for input that cannot be used (InputError, wrong options), or a RunError's own, or
///         1 for anything else, an output that did not arrive included.
int run_program(CLI::App& app, int argc, char** argv);

} // namespace workbench
