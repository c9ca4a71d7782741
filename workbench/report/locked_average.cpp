#include "workbench/report/locked_average.h"

#include <cmath>

namespace workbench {

LockedAverage locked_average(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                             const Window& window, const std::function<void()>& betweenWindows) {
    const std::size_t channels = recording.header().NrOfChannels;
    LockedAverage result;
    result.length = static_cast<std::size_t>(window.length());
    result.mean.assign(channels * result.length, 0.0);
    std::vector<double> squares(channels * result.length, 0.0); // sums of squared deviations so far (Welford 1962)
    std::vector<float> samples(channels * result.length);
    for (const std::int64_t trigger : triggers) {
        if (!window.fits(trigger, recording.header().NrOfSamples)) {
            continue;
        }
        betweenWindows();
        recording.read(trigger - window.preS, static_cast<std::uint32_t>(result.length), samples.data());
        ++result.windows;
        const auto count = static_cast<double>(result.windows);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const std::size_t first = channel * result.length;
            double windowMean = 0.0;
            for (std::size_t i = first; i < first + result.length; ++i) {
                windowMean += static_cast<double>(samples[i]);
            }
            windowMean /= static_cast<double>(result.length);
            for (std::size_t i = first; i < first + result.length; ++i) {
                const double value = static_cast<double>(samples[i]) - windowMean;
                const double toOldMean = value - result.mean[i];
                result.mean[i] += toOldMean / count;
                squares[i] += toOldMean * (value - result.mean[i]);
            }
        }
    }
    result.deviation.assign(squares.size(), 0.0);
    if (result.windows > 1) {
        for (std::size_t i = 0; i < squares.size(); ++i) {
            result.deviation[i] = std::sqrt(squares[i] / static_cast<double>(result.windows - 1));
        }
    }
    return result;
}

} // namespace workbench
