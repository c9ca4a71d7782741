#pragma once

#include <functional>
#include <string>

#include "workbench/interrupt.h"

namespace workbench {

/// Runs `work` in a child process and waits. The child takes a crash, or an end through exit, on itself, so that the
/// parent can always clear up. An interrupt ends the child and is noted in `hold`.
/// @param work  returns why it failed, or an empty text.
/// @return what `work` returned, or how the child came to its end.
std::string run_in_child(InterruptHold& hold, const std::function<std::string()>& work);

} // namespace workbench
