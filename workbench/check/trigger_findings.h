#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "workbench/window.h"

/// What the triggers of a condition look like to a removal.
namespace workbench {

struct TriggerFindings {
    std::size_t triggers = 0;
    std::size_t inside = 0;      ///< whose whole window lies in the recording: only they are cleaned
    std::size_t cutAtStart = 0;  ///< whose window begins before the recording
    std::size_t cutAtEnd = 0;    ///< whose window does not, but ends behind it
    std::size_t beyondEnd = 0;   ///< of these: the trigger itself lies behind the recording
    std::size_t overlapping = 0; ///< windows inside that share samples with the next one in time
    std::int64_t mostShared = 0; ///< samples that two neighbouring windows share at most
    std::size_t repeated = 0;    ///< triggers at the sample of another one
    bool ascending = true;       ///< each at the sample of the one before it, or later
    // Distances between neighbours in time, in samples, repeated triggers left out; 0 where there are none.
    std::size_t distances = 0;
    double shortestDistance = 0.0;
    double medianDistance = 0.0;
    double longestDistance = 0.0;
    std::size_t unevenDistances = 0;    ///< farther than a tenth from the median
    std::size_t irregularDistances = 0; ///< farther than a fiftieth and two samples from it
};

TriggerFindings examine_triggers(const std::vector<std::int64_t>& triggers, const Window& window,
                                 std::uint64_t nSamples);

/// Four fifths of the distances are as near the median as those of a machine's pulses; heartbeats and blinks differ
/// more.
bool evenly_spaced(const TriggerFindings& findings);

/// One plain sentence for everything a user should know; empty when all is well.
/// @param rate  Hz
std::vector<std::string> trigger_warnings(const TriggerFindings& findings, const Window& window, float rate);

} // namespace workbench
