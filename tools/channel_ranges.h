#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/data_section.h"
#include "workbench/interrupt.h"

namespace tools {

/// What the values of a channel span. Only finite ones count; where there is none, lowest is above highest.
struct ChannelRange {
    float lowest;
    float highest;
    std::uint64_t notFinite;

    bool empty() const { return lowest > highest; }
    bool flat() const { return lowest == highest; } ///< one and the same value wherever it is finite
};

/// Reads the whole recording. @return one range per channel.
std::vector<ChannelRange> channel_ranges(const DataSection& section, const std::string& title,
                                         workbench::InterruptHold* interrupt);

} // namespace tools
