#pragma once

#include <string>
#include <vector>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

/// Recordings that the tests put together.
namespace test {

using Channels = std::vector<std::vector<float>>;

inline std::string recording_bytes(const Channels& channels, float rate) {
    support::CtcHeader header;
    header.nrOfChannels = static_cast<std::uint32_t>(channels.size());
    header.nrOfSamples = static_cast<std::uint32_t>(channels[0].size());
    header.samplingFrequency = rate;
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for (const std::vector<float>& channel : channels) {
        for (const float value : channel) {
            bytes.f32(value);
        }
    }
    return bytes.str();
}

/// Channels one behind the other, as blocks of samples are handed over.
inline std::vector<float> block_of(const Channels& channels) {
    std::vector<float> block;
    for (const std::vector<float>& channel : channels) {
        block.insert(block.end(), channel.begin(), channel.end());
    }
    return block;
}

} // namespace test
