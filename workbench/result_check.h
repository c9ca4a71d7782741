#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "workbench/recording.h"

namespace workbench {

/// What a look at a finished run's output found.
struct ResultCheck {
    std::string failure;            ///< why the output cannot be kept; empty when it can
    std::vector<std::string> notes; ///< what the user should know of it
};

/// The module checks nothing while it writes. This does afterwards: the recording must be the one that was opened, the
/// cleaned one must have its header and a whole data section, the trial file a line for every trigger. Channels with
/// values that are not numbers are named.
ResultCheck check_result(RecordingReader& recording, const std::filesystem::path& cleaned,
                         const std::filesystem::path& trials, std::size_t nTrials);

} // namespace workbench
