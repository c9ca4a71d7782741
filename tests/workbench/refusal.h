#pragma once

#include <string>

#include "workbench/input_error.h"

namespace test {

/// The text with which something is refused; "(not refused)" when it is not.
template <class Work>
std::string refusal(const Work& work) {
    try {
        work();
    } catch (const workbench::InputError& error) {
        return error.what();
    }
    return "(not refused)";
}

} // namespace test
