#pragma once

#include <stdexcept>

namespace workbench {

/// Something the user gave cannot be used. The text says what was wrong and what to do. The program prints it
/// on standard error after its own name and ends with exit status 2.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace workbench
