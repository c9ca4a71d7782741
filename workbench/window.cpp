#include "workbench/window.h"

#include "numerics/truncation.h"

namespace workbench {

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
