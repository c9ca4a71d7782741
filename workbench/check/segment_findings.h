#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

/// What a channel looks like where the windows of a segment are: what the rest of the channel is like does not matter
/// to the segment's fit.
namespace workbench {

struct SegmentFindings {
    std::uint32_t channel = 0;       ///< counted from 0
    std::size_t flatSegments = 0;    ///< all windows hold one and the same value: nothing to fit
    std::size_t spoiledSegments = 0; ///< a window holds a sample that is no finite number, which spreads to all
};

/// Reads the windows once. Windows that do not fit into the recording are left out. Memory: a window of all channels.
/// @param triggers  in the protocol's order: segments are taken from it
std::vector<SegmentFindings> examine_segments(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                              const Window& window, std::size_t perSegment);

/// One plain sentence per kind of trouble, naming the channels (from 1); empty when all is well.
std::vector<std::string> segment_warnings(const std::vector<SegmentFindings>& findings);

} // namespace workbench
