#pragma once

#include <functional>
#include <string>

namespace workbench {

/// How work in a process of its own came out.
struct ProcessResult {
    bool succeeded;
    bool interrupted;    ///< the user, or the system, asked this program to end
    std::string failure; ///< what went wrong, when the process did not end by itself with 0 or 1
};

/// Runs `work` in a child process and waits. The child takes a crash, or an end through exit, on itself, so that the
/// parent can always clear up. An interrupt (Ctrl-C, SIGTERM) ends the child.
/// @param work  returns true for success.
ProcessResult run_in_child(const std::function<bool()>& work);

} // namespace workbench
