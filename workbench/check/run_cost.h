#pragma once

#include <cstddef>
#include <cstdint>

#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/window.h"

/// What a removal run needs of memory, disk and time.
namespace workbench {

/// A run as far as its cost depends on it.
struct RunSize {
    Window window{};
    std::size_t triggers = 0;
    std::size_t perSegment = 0;
    std::size_t components = 0;
    double triggerDistance = 0.0; ///< median, in samples
    std::size_t segments() const { return (triggers + perSegment - 1) / perSegment; }
};

/// Bytes of the run's larger process: the program, or its child with the arrays of the fit, or with the blocks in which
/// recording and result are looked at. Nothing there grows with the length of the recording. Measured runs took between
/// 0.8 and 1.05 times as much.
std::uint64_t memory_needed(const RecordingReader& recording, const RunSize& size);

/// Bytes of the cleaned recording and the trial file.
std::uint64_t disk_needed(const RecordingReader& recording, const ProtocolCondition& condition);

/// Seconds a run takes on this machine, estimated: the number of fits times the time of one, and what reading, copying
/// and writing take in memory. Tries the transfers out, in memory, for a fraction of a second; no file is written.
/// @param fitSeconds  of a segment of a channel
double estimated_seconds(RecordingReader& recording, const RunSize& size, double fitSeconds);

} // namespace workbench
