#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fileio/ctc.h"
#include "tools/channel_ranges.h"

namespace tools {

/// How a channel's values are stored: value = stored * scale + offset.
struct ChannelScale {
    float offset = 0.0f;
    float scale = 1.0f;
};

/// The scale with which values from range.lowest to range.highest fill the range of data type 3 or 4 from end to end,
/// and none of them is clipped. A flat channel, which needs no steps, gets its value as the offset and scale 1; one
/// without any finite value 0 and 1.
ChannelScale scale_to_fill(const ChannelRange& range, unsigned int dataType);

/// Stored elements of one data type turned into those of another, channel by channel.
class Recoding {
public:
    /// @param scales  of the new elements, one per channel; looked at for data types 3 and 4 only. Floats, scaled ones
    ///                too, get the values as they are.
    Recoding(const CTCStruct& header, unsigned int newType, std::vector<ChannelScale> scales);

    /// Elements of one channel that lie `stride` elements apart, to ones that lie newStride apart. Where the data type
    /// stays the same they are copied as they are.
    void convert(std::size_t channel, std::uint64_t count, const char* elements, std::uint64_t stride,
                 char* newElements, std::uint64_t newStride);

    /// Values so far that a channel could not take: clipped to an end of its range (infinite ones), or not a number and
    /// stored as 0.
    const std::vector<std::uint64_t>& clipped() const { return clipped_; }
    const std::vector<std::uint64_t>& not_numbers() const { return notNumbers_; }

private:
    const CTCStruct& header_;
    unsigned int newType_;
    std::vector<ChannelScale> scales_;
    std::vector<std::uint64_t> clipped_;
    std::vector<std::uint64_t> notNumbers_;
};

} // namespace tools
