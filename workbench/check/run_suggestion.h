#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "workbench/check/trigger_findings.h"
#include "workbench/recording.h"

/// Settings that suit a recording and its triggers, from their distances and the average around them.
namespace workbench {

/// The average over all windows around the triggers, as power above what chance leaves.
struct LockedPower {
    std::int64_t firstLag = 0;  ///< samples from the trigger to the first value
    std::vector<double> excess; ///< per lag, mean over the channels; around 0 where nothing is locked to the trigger
};

/// @param reach     samples on either side of the trigger, at least 1
/// @param channels  that count
/// Reads at most 200 windows, evenly spread. Memory: 2 windows of all channels.
LockedPower examine_locked_power(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                 std::int64_t reach, const std::vector<std::uint32_t>& channels);

enum class WindowReason {
    tiles,   ///< evenly spaced triggers: from each to the next
    average, ///< the stretch around the trigger in which the average stands out
    distance ///< nothing stands out: half the distance on either side
};

struct WindowSuggestion {
    int pre = 0;  ///< ms
    int post = 0; ///< ms
    WindowReason reason = WindowReason::tiles;
};

/// For evenly spaced triggers. The window reaches to the next trigger: where the distance is no whole number of
/// samples, windows share one, as one left between them would keep its artifact.
/// @param pre  ms that are taken already
WindowSuggestion tiling_window(const std::vector<std::int64_t>& triggers, const TriggerFindings& findings, int pre,
                               float rate, std::uint64_t nSamples);

/// For other triggers: as long as nine tenths of the distances allow without overlap at most, the trigger included.
/// @param power  from half a distance or more before the trigger to as much after it
WindowSuggestion window_around_triggers(const std::vector<std::int64_t>& triggers, const LockedPower& power, float rate,
                                        std::uint64_t nSamples);

/// Artifacts per segment: about 50, so that all segments are about as large; never fewer than the smallest allowed.
int suggested_segment(std::size_t nTriggers, int components);

} // namespace workbench
