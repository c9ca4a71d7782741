#pragma once

#include <stdexcept>

namespace workbench {

/// A run that was begun as asked and did not reach its end; nothing of it is left. The program prints the text after
/// its own name and ends with the given exit status.
struct RunError : std::runtime_error {
    RunError(const std::string& text, int exitStatus) : std::runtime_error(text), status(exitStatus) {}
    int status;
};

constexpr int exitNotCompleted = 1;
constexpr int exitInterrupted = 130;

} // namespace workbench
