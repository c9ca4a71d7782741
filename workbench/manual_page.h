#pragma once

#include <string>

#include "workbench/cli11.h"

namespace workbench {

/// A manual page (section 1, in roff) of one command, or of the program as a whole, made of what --help tells.
/// @param command  one of the program's commands, or the program itself
std::string manual_page(const CLI::App& program, const CLI::App& command);

/// Its name: "workbench-run" or "workbench".
std::string manual_page_name(const CLI::App& program, const CLI::App& command);

} // namespace workbench
