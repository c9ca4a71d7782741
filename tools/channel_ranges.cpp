#include "tools/channel_ranges.h"

#include <cmath>
#include <limits>

#include "fileio/ctc_header.h"
#include "workbench/stored_element.h"

namespace tools {

std::vector<ChannelRange> channel_ranges(const DataSection& section, const std::string& title,
                                         workbench::InterruptHold* interrupt) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const CTCStruct& header = section.recording().header();
    const std::size_t size = section.element_size();
    const bool scaled = header.DataType != 1;
    std::vector<ChannelRange> ranges(header.NrOfChannels, ChannelRange{infinity, -infinity, 0});
    Job job(title, fileio::total_samples(header), interrupt);
    for_each_piece(section, blocks_of(header), all_channels(header), job,
                   [&](std::size_t channel, const char* elements, std::uint64_t count) {
                       ChannelRange& range = ranges[channel];
                       const float scale = scaled ? header.ChannelScales[channel] : 1.0f;
                       const float offset = scaled ? header.ChannelOffsets[channel] : 0.0f;
                       for (std::uint64_t i = 0; i < count; ++i) {
                           const float value =
                               workbench::element_value(header.DataType, elements + i * size, scale, offset);
                           if (!std::isfinite(value)) {
                               ++range.notFinite;
                               continue;
                           }
                           range.lowest = std::min(range.lowest, value);
                           range.highest = std::max(range.highest, value);
                       }
                   });
    return ranges;
}

} // namespace tools
