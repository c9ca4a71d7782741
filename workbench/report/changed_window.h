#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

/// The window of a removal, found from the samples that it changed.
namespace workbench {

/// A stretch of changed samples, both ends included.
struct ChangedStretch {
    std::int64_t first;
    std::int64_t last;
};

/// Stretches in which the recordings differ in any channel, in time order. Gaps of up to three samples do not divide a
/// stretch: a changed sample can have its old value by chance. Two values that are no numbers are the same.
/// @param betweenBlocks  called now and then; may throw to end the work.
std::vector<ChangedStretch> changed_stretches(RecordingReader& before, RecordingReader& after,
                                              const std::function<void()>& betweenBlocks);

/// The window that explains the stretches: before the first trigger of a stretch nothing but its own window can have
/// changed samples, and behind the last trigger likewise. A stretch without any trigger belongs to the nearest one.
/// @return nothing where there is no stretch or no trigger.
std::optional<Window> window_of_changes(const std::vector<ChangedStretch>& stretches,
                                        std::vector<std::int64_t> triggers);

} // namespace workbench
