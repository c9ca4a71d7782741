#include "workbench/report/trace_layer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace workbench {

namespace {

constexpr float none = std::numeric_limits<float>::quiet_NaN();

std::size_t bins_of(std::uint64_t samples, std::uint64_t samplesPerBin) {
    return static_cast<std::size_t>((samples + samplesPerBin - 1) / samplesPerBin);
}

} // namespace

TraceLayer::TraceLayer(std::size_t channels, std::uint64_t samples, std::uint64_t samplesPerBin)
    : channels_(channels), samplesPerBin_(samplesPerBin), bins_(bins_of(samples, samplesPerBin)),
      lowest_(channels * bins_, none), highest_(samplesPerBin == 1 ? 0 : channels * bins_, none), last_(channels, none),
      stepSquares_(channels, 0.0), steps_(channels, 0) {}

void TraceLayer::add(std::size_t count, const float* src) {
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        for (std::size_t i = 0; i < count; ++i) {
            const float value = src[channel * count + i];
            if (!std::isfinite(value)) {
                last_[channel] = none;
                continue;
            }
            if (std::isfinite(last_[channel])) {
                const double step = static_cast<double>(value) - static_cast<double>(last_[channel]);
                stepSquares_[channel] += step * step;
                ++steps_[channel];
            }
            last_[channel] = value;
            // fmin and fmax take the other one where one is not a number.
            const std::size_t bin = channel * bins_ + static_cast<std::size_t>((added_ + i) / samplesPerBin_);
            lowest_[bin] = std::fmin(lowest_[bin], value);
            if (samplesPerBin_ > 1) {
                highest_[bin] = std::fmax(highest_[bin], value);
            }
        }
    }
    added_ += count;
}

void TraceLayer::merge(std::size_t factor) {
    if (factor <= 1) {
        return;
    }
    const std::size_t newBins = (bins_ + factor - 1) / factor;
    std::vector<float> newLowest(channels_ * newBins, none);
    std::vector<float> newHighest(channels_ * newBins, none);
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        for (std::size_t bin = 0; bin < bins_; ++bin) {
            float& low = newLowest[channel * newBins + bin / factor];
            float& high = newHighest[channel * newBins + bin / factor];
            low = std::fmin(low, lowest(channel)[bin]);
            high = std::fmax(high, highest(channel)[bin]);
        }
    }
    lowest_ = std::move(newLowest);
    highest_ = std::move(newHighest);
    bins_ = newBins;
    samplesPerBin_ *= factor;
}

double TraceLayer::roughness(std::size_t channel) const {
    return steps_[channel] == 0 ? 0.0 : std::sqrt(stepSquares_[channel] / static_cast<double>(steps_[channel]));
}

std::uint64_t bin_for(std::size_t channels, std::uint64_t samples, std::uint64_t mostBins) {
    std::uint64_t samplesPerBin = 1;
    while (bins_of(samples, samplesPerBin) * channels > mostBins && samplesPerBin < samples) {
        samplesPerBin = std::max<std::uint64_t>(4, 2 * samplesPerBin);
    }
    return samplesPerBin;
}

} // namespace workbench
