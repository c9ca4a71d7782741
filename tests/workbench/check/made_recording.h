#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace test {

using Channels = std::vector<std::vector<float>>;

/// A float recording, channel by channel, of equally long channels. @return its path.
inline std::string made_recording(const support::TemporaryFolder& folder, const Channels& channels,
                                  float rate = 1000.0f) {
    support::CtcHeader header;
    header.nrOfChannels = static_cast<std::uint32_t>(channels.size());
    header.nrOfSamples = static_cast<std::uint32_t>(channels.front().size());
    header.samplingFrequency = rate;
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for (const std::vector<float>& channel : channels) {
        for (const float value : channel) {
            bytes.f32(value);
        }
    }
    return folder.write("made.ctc", bytes.str());
}

/// Numbers from -1 to 1 that repeat on every machine.
class Noise {
public:
    explicit Noise(std::uint32_t seed) : state_(seed) {}
    float next() {
        state_ = state_ * 1664525U + 1013904223U;
        return static_cast<float>(state_ >> 8) / 8388608.0f - 1.0f;
    }

private:
    std::uint32_t state_;
};

} // namespace test
