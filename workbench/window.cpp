#include "workbench/window.h"

#include <cmath>
#include <string>

#include "fileio/ctc_header.h"
#include "numerics/truncation.h"
#include "workbench/input_error.h"

namespace workbench {

void require_sampling_frequency(const RecordingReader& recording) {
    const float rate = recording.header().SamplingFrequency;
    if (!std::isfinite(rate) || rate <= 0.0f) {
        throw InputError(recording.path().string() + ": has a sampling frequency of " + std::to_string(rate) +
                         " Hz; no window can be taken from it");
    }
}

void require_window(const RecordingReader& recording, const Window& window) {
    const CTCStruct& header = recording.header();
    if (window.length() < 1 || window.length() > std::int64_t{header.NrOfSamples}) {
        throw InputError("a window of " + std::to_string(window.length()) + " samples does not fit into the " +
                         std::to_string(header.NrOfSamples) + " samples of the recordings; choose a shorter one");
    }
    const std::uint64_t present = fileio::total_samples(header) - recording.missing_elements();
    if (static_cast<std::uint64_t>(window.length()) * header.NrOfChannels > present) {
        throw InputError(recording.path().string() + ": its data section is cut short; it holds less than one window");
    }
}

Window window_in_samples(int preMs, int postMs, float samplingFrequency) {
    const auto samples = [&](int ms) {
        return truncate_to_int32(static_cast<double>(static_cast<float>(ms) * samplingFrequency / 1000.0f));
    };
    return {samples(preMs), samples(postMs)};
}

std::vector<std::int64_t> trigger_samples(const Protocol& protocol, const ProtocolCondition& condition,
                                          float samplingFrequency) {
    std::vector<std::int64_t> triggers;
    triggers.reserve(condition.intervals.size());
    for (const std::int32_t value : condition.intervals) {
        const bool isSample = protocol.resolution == TimeResolution::samples;
        triggers.push_back(
            isSample ? value
                     : truncate_to_int32(static_cast<double>(static_cast<float>(value) * samplingFrequency) / 1e6));
    }
    return triggers;
}

} // namespace workbench
