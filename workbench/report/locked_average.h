#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

/// The average over the windows around the triggers, and how far the windows spread about it.
namespace workbench {

struct LockedAverage {
    std::uint64_t windows = 0; ///< that lie wholly inside the recording: only they count
    std::size_t length = 0;    ///< samples per window
    // [channel * length + i], microvolts, about each window's own mean.
    std::vector<double> mean;
    std::vector<double> deviation; ///< standard deviation over the windows (n - 1); 0 for a single window
};

/// @param betweenWindows  called before each window; may throw to end the work.
LockedAverage locked_average(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                             const Window& window, const std::function<void()>& betweenWindows);

} // namespace workbench
