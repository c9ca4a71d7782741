#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

namespace workbench {

/// What a look at a finished run's output found.
struct ResultCheck {
    std::string failure;            ///< why the output cannot be kept; empty when it can
    std::vector<std::string> notes; ///< what the user should know of it
};

/// The module checks nothing while it writes. This does afterwards: the recording must be the one that was opened, the
/// cleaned one must have its header and a whole data section, hold the recording's samples outside the windows and be
/// on the disk, the trial file have a line for every trigger. Channels with values that are not numbers are named.
/// Throws InputError when a file cannot be read.
ResultCheck check_result(RecordingReader& recording, const std::filesystem::path& cleaned,
                         const std::filesystem::path& trials, const std::vector<std::int64_t>& triggers,
                         const Window& window);

} // namespace workbench
