#pragma once

#include <cstdint>
#include <vector>

#include "workbench/protocol_file.h"
#include "workbench/recording.h"

namespace workbench {

/// A temporal window around a trigger, in samples, both ends included.
struct Window {
    std::int64_t preS;
    std::int64_t postS;

    std::int64_t length() const { return preS + postS + 1; }

    /// The window lies wholly inside a recording of nSamples.
    bool fits(std::int64_t trigger, std::uint64_t nSamples) const {
        return trigger - preS >= 0 && trigger + postS < static_cast<std::int64_t>(nSamples);
    }
};

/// Throw InputError for a recording from which no window can be taken: no usable sampling frequency, fewer samples than
/// the window, or (working memory is as large as a window of all channels) fewer in the file.
void require_sampling_frequency(const RecordingReader& recording);
void require_window(const RecordingReader& recording, const Window& window);

/// Milliseconds to samples with the rounding of a removal run: single precision, truncated.
Window window_in_samples(int preMs, int postMs, float samplingFrequency);

/// Trigger positions of a condition as a removal run takes them from its interval values.
std::vector<std::int64_t> trigger_samples(const Protocol& protocol, const ProtocolCondition& condition,
                                          float samplingFrequency);

} // namespace workbench
