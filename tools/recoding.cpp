#include "tools/recoding.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "fileio/ctc_header.h"
#include "workbench/stored_element.h"

namespace tools {

namespace {

// The smallest float that is not below a number.
float rounded_up(double number) {
    const auto rounded = static_cast<float>(number);
    return static_cast<double>(rounded) < number ? std::nextafter(rounded, std::numeric_limits<float>::infinity())
                                                 : rounded;
}

} // namespace

ChannelScale scale_to_fill(const ChannelRange& range, unsigned int dataType) {
    if (range.empty()) {
        return {0.0f, 1.0f};
    }
    if (range.flat()) {
        return {range.lowest, 1.0f};
    }
    const double lowestStored = dataType == 3 ? -32768.0 : -128.0;
    const double highestStored = dataType == 3 ? 32767.0 : 127.0;
    const auto low = static_cast<double>(range.lowest);
    const auto high = static_cast<double>(range.highest);
    const double step = (high - low) / (highestStored - lowestStored);

    // The offset is a float, too: the scale makes up for what it was rounded by, so that both ends fit.
    ChannelScale result;
    result.offset = static_cast<float>(low - lowestStored * step);
    const auto offset = static_cast<double>(result.offset);
    result.scale = rounded_up(std::max((high - offset) / highestStored, (low - offset) / lowestStored));

    // Near the largest floats the ends themselves must stay finite when they are read again.
    const auto readable = [&](double stored) {
        return std::isfinite(static_cast<float>(stored) * result.scale + result.offset);
    };
    while (!readable(lowestStored) || !readable(highestStored)) {
        result.scale = std::nextafter(result.scale, 0.0f);
    }
    return result;
}

Recoding::Recoding(const CTCStruct& header, unsigned int newType, std::vector<ChannelScale> scales)
    : header_(header), newType_(newType), scales_(std::move(scales)), clipped_(header.NrOfChannels),
      notNumbers_(header.NrOfChannels) {
    scales_.resize(header.NrOfChannels);
}

void Recoding::convert(std::size_t channel, std::uint64_t count, const char* elements, std::uint64_t stride,
                       char* newElements, std::uint64_t newStride) {
    const std::size_t size = fileio::stored_size(header_.DataType);
    const std::size_t newSize = fileio::stored_size(newType_);
    if (newType_ == header_.DataType) {
        for (std::uint64_t i = 0; i < count; ++i) {
            std::memcpy(newElements + i * newStride * newSize, elements + i * stride * size, size);
        }
        return;
    }
    const bool scaled = header_.DataType != 1;
    const float oldScale = scaled ? header_.ChannelScales[channel] : 1.0f;
    const float oldOffset = scaled ? header_.ChannelOffsets[channel] : 0.0f;
    const bool integers = newType_ == 3 || newType_ == 4;
    const double scale = integers ? static_cast<double>(scales_[channel].scale) : 1.0;
    const double offset = integers ? static_cast<double>(scales_[channel].offset) : 0.0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const float value =
            workbench::element_value(header_.DataType, elements + i * stride * size, oldScale, oldOffset);
        const workbench::Fit fit = workbench::put_element(newType_, (static_cast<double>(value) - offset) / scale,
                                                          newElements + i * newStride * newSize);
        clipped_[channel] += fit == workbench::Fit::clipped ? 1U : 0U;
        notNumbers_[channel] += fit == workbench::Fit::notANumber ? 1U : 0U;
    }
}

} // namespace tools
