#pragma once

#include <cstdint>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

/// How much of a recurring artifact a removal took out, in the windows around the triggers. All values in microvolts
/// (powers in microvolts squared) and in double precision.
namespace workbench {

struct ChannelComparison {
    // Root mean square about each window's own mean.
    double rmsBefore = 0.0;
    double rmsAfter = 0.0;
    // Power of the average over all windows (its mean removed): what is locked to the trigger.
    double lockedPowerBefore = 0.0;
    double lockedPowerAfter = 0.0;
    double lockedDbRemoved = 0.0;
    // Against the clean truth: what was added to it, and the correlation with it about each window's mean.
    double artifactRmsBefore = 0.0;
    double artifactRmsAfter = 0.0;
    double artifactDbRemoved = 0.0;
    double correlationBefore = 0.0;
    double correlationAfter = 0.0;
    // Samples in the windows that are not finite numbers. Results they enter are not finite either.
    std::uint64_t notFiniteBefore = 0;
    std::uint64_t notFiniteAfter = 0;
    std::uint64_t notFiniteTruth = 0;
};

struct Comparison {
    bool hasTruth = false;
    Window window{};
    std::uint64_t windows = 0;        ///< that lie wholly inside the recording: only they count
    std::uint64_t windowsOutside = 0; ///< the others
    std::vector<ChannelComparison> channels;
    ChannelComparison all; ///< every root mean square and power over all channels together
};

/// @param truth  the recording without artifact, or null.
/// Throws InputError when the recordings do not match in channels, samples or rate, are not continuous, or when no
/// window lies inside. Memory: channels times window.
Comparison compare_recordings(RecordingReader& before, RecordingReader& after, RecordingReader* truth,
                              const std::vector<std::int64_t>& triggers, const Window& window);

} // namespace workbench
