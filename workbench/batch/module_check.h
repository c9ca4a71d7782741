#pragma once

#include <filesystem>

namespace workbench {

/// Loads the module in a process of its own. Throws InputError with that process's words when it cannot be used.
void require_module(const std::filesystem::path& module);

} // namespace workbench
