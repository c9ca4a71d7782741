#pragma once

#include <algorithm>
#include <cstdint>

#include "fileio/ctc.h"

namespace workbench {

/// Walks through a recording in blocks of about 2^18 values of all channels: use(first sample, count).
template <class Use>
void for_each_block(const CTCStruct& header, const Use& use) {
    const std::uint64_t samples = header.NrOfSamples;
    const std::uint64_t length = std::max<std::uint64_t>(1, (std::uint64_t{1} << 18) / header.NrOfChannels);
    for (std::uint64_t first = 0; first < samples; first += length) {
        use(static_cast<std::int64_t>(first), static_cast<std::uint32_t>(std::min(length, samples - first)));
    }
}

} // namespace workbench
