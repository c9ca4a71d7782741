#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workbench/recording.h"

/// What the channels of a recording look like: flat, clipped, not a number.
namespace workbench {

struct ChannelFindings {
    std::uint32_t channel = 0; ///< counted from 0
    float lowest = 0.0f;       ///< of the finite samples
    float highest = 0.0f;
    bool flat = false;           ///< one value throughout (samples that are not finite aside)
    std::uint64_t notFinite = 0; ///< samples
    /// Samples that lie where the channel stays at its lowest or its highest value as at a limit (see the .cpp).
    std::uint64_t clipped = 0;
};

/// Reads the whole recording once, a block at a time. Memory: some megabytes, or 64 samples of every channel.
/// @param progress  called after each block with the number of samples (per channel) read so far; may throw.
std::vector<ChannelFindings> examine_channels(RecordingReader& recording,
                                              const std::function<void(std::uint64_t)>& progress = {});

/// There are too many clipped samples for chance: at least 10, and one in 100,000.
bool is_clipped(const ChannelFindings& findings, std::uint64_t nSamples);

/// One plain sentence per kind of trouble, naming the channels (from 1); empty when all is well.
std::vector<std::string> channel_warnings(const std::vector<ChannelFindings>& findings, std::uint64_t nSamples);

} // namespace workbench
