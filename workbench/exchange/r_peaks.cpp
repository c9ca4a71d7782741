#include "workbench/exchange/r_peaks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace workbench::exchange {

namespace {

constexpr double lowestReducedRate = 200.0;
constexpr double bandLow = 8.0; // Hz
constexpr double bandHigh = 16.0;
constexpr double kernelReach = 0.25;   // s to either side
constexpr double averaged = 0.08;      // s
constexpr double refractory = 0.2;     // s between beats
constexpr double tWaveReach = 0.36;    // s after a beat
constexpr double slopeReach = 0.06;    // s around a maximum
constexpr double missedAfter = 1.5;    // intervals without a beat
constexpr double forgottenAfter = 4.0; // s without a beat
constexpr double learnedFrom = 8.0;    // s
constexpr double thresholdShare = 0.3; // of the way from the other maxima to the beats
constexpr double peakReach = 0.06;     // s around a beat within which its R peak is
constexpr std::size_t remembered = 8;  // beats and other maxima

using Signal = std::vector<float>;

float at_clamped(const Signal& signal, std::ptrdiff_t i) {
    return signal[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(i, 0, std::ssize(signal) - 1))];
}

// A windowed difference of two sinc functions, without response to a constant.
std::vector<double> band_pass_kernel(double rate) {
    const auto reach = static_cast<std::ptrdiff_t>(std::lround(kernelReach * rate));
    std::vector<double> kernel;
    double sum = 0.0;
    double windowSum = 0.0;
    std::vector<double> window;
    for (std::ptrdiff_t i = -reach; i <= reach; ++i) {
        const double t = static_cast<double>(i) / rate;
        const auto low_pass = [&](double cut) {
            return i == 0 ? 2.0 * cut / rate
                          : std::sin(2.0 * std::numbers::pi * cut * t) / (std::numbers::pi * static_cast<double>(i));
        };
        const double share = static_cast<double>(i) / static_cast<double>(reach + 1);
        window.push_back(0.5 + 0.5 * std::cos(std::numbers::pi * share));
        kernel.push_back((low_pass(bandHigh) - low_pass(bandLow)) * window.back());
        sum += kernel.back();
        windowSum += window.back();
    }
    for (std::size_t i = 0; i < kernel.size(); ++i) {
        kernel[i] -= sum * window[i] / windowSum;
    }
    return kernel;
}

Signal convolved(const Signal& signal, const std::vector<double>& kernel) {
    Signal result(signal.size());
    const std::ptrdiff_t reach = std::ssize(kernel) / 2;
    for (std::ptrdiff_t i = 0; i < std::ssize(signal); ++i) {
        double sum = 0.0;
        const bool inside = i >= reach && i + reach < std::ssize(signal);
        for (std::ptrdiff_t k = -reach; k <= reach; ++k) {
            const float value = inside ? signal[static_cast<std::size_t>(i + k)] : at_clamped(signal, i + k);
            sum += kernel[static_cast<std::size_t>(k + reach)] * static_cast<double>(value);
        }
        result[static_cast<std::size_t>(i)] = static_cast<float>(sum);
    }
    return result;
}

Signal slopes(const Signal& signal) {
    Signal result(signal.size());
    for (std::ptrdiff_t i = 0; i < std::ssize(signal); ++i) {
        result[static_cast<std::size_t>(i)] = std::abs(at_clamped(signal, i + 1) - at_clamped(signal, i - 1));
    }
    return result;
}

Signal averages(const Signal& signal, double rate) {
    const auto reach = static_cast<std::ptrdiff_t>(std::lround(0.5 * averaged * rate));
    return convolved(
        signal, std::vector<double>(static_cast<std::size_t>(2 * reach + 1), 1.0 / static_cast<double>(2 * reach + 1)));
}

struct Maximum {
    std::size_t place = 0;
    float height = 0.0f;
    float slope = 0.0f; // the steepest around it
};

// Local maxima, none closer than the refractory time to a larger one.
std::vector<Maximum> maxima_of(const Signal& energy, const Signal& slope, double rate) {
    const auto apart = static_cast<std::size_t>(std::lround(refractory * rate));
    const auto reach = static_cast<std::size_t>(std::lround(slopeReach * rate));
    std::vector<Maximum> maxima;
    for (std::size_t i = 1; i + 1 < energy.size(); ++i) {
        if (!(energy[i] > energy[i - 1] && energy[i] >= energy[i + 1])) {
            continue;
        }
        if (!maxima.empty() && i - maxima.back().place < apart) {
            if (energy[i] <= maxima.back().height) {
                continue;
            }
            maxima.pop_back();
        }
        const std::size_t from = i - std::min(i, reach);
        const std::size_t to = std::min(slope.size(), i + reach + 1);
        maxima.push_back({i, energy[i],
                          *std::max_element(slope.begin() + static_cast<std::ptrdiff_t>(from),
                                            slope.begin() + static_cast<std::ptrdiff_t>(to))});
    }
    return maxima;
}

// The median of the last few values.
class Level {
public:
    void fill(double value) { values_.fill(value); }
    void add(double value) { values_[next_++ % remembered] = value; }
    double median() const {
        std::array<double, remembered> sorted = values_;
        std::sort(sorted.begin(), sorted.end());
        return 0.5 * (sorted[remembered / 2 - 1] + sorted[remembered / 2]);
    }

private:
    std::array<double, remembered> values_{};
    std::size_t next_ = 0;
};

// Walks through the maxima and tells beats from the others.
class BeatRules {
public:
    BeatRules(const std::vector<Maximum>& maxima, double rate) : maxima_(maxima), rate_(rate) {
        intervals_.fill(1.0);
        learn(0);
    }

    std::vector<std::size_t> beats() {
        for (std::size_t i = 0; i < maxima_.size(); ++i) {
            look_back(i);
            if (seconds_since_beat(i) > forgottenAfter && seconds_between(learnedAt_, i) > forgottenAfter) {
                i = first_after_beat();
                learn(i);
            }
            judge(i);
        }
        return beats_;
    }

private:
    double seconds_between(std::size_t a, std::size_t b) const {
        return (static_cast<double>(maxima_[b].place) - static_cast<double>(maxima_[a].place)) / rate_;
    }
    double seconds_since_beat(std::size_t i) const {
        return hasBeat_ ? seconds_between(lastBeat_, i) : seconds_between(0, i);
    }
    // Where it is worth to begin anew: behind the last beat, or 4 s ahead of what was learned before.
    std::size_t first_after_beat() const { return std::max(hasBeat_ ? lastBeat_ + 1 : 0, learnedAt_ + 1); }

    // The level of beats is the median of the largest maxima of 8 stretches of a second.
    void learn(std::size_t from) {
        learnedAt_ = from;
        std::array<double, remembered> largest{};
        for (std::size_t i = from; i < maxima_.size() && seconds_between(from, i) < learnedFrom; ++i) {
            double& stretch = largest[static_cast<std::size_t>(seconds_between(from, i))];
            stretch = std::max(stretch, static_cast<double>(maxima_[i].height));
        }
        std::sort(largest.begin(), largest.end());
        beatLevel_.fill(0.5 * (largest[3] + largest[4]));
        otherLevel_.fill(0.0);
    }

    double threshold() const {
        const double other = otherLevel_.median();
        return other + thresholdShare * (beatLevel_.median() - other);
    }

    void judge(std::size_t i) {
        const bool early = hasBeat_ && seconds_between(lastBeat_, i) < tWaveReach;
        const bool tWave = early && maxima_[i].slope < 0.5f * maxima_[lastBeat_].slope;
        if (static_cast<double>(maxima_[i].height) > threshold() && !tWave) {
            take(i);
        } else {
            otherLevel_.add(static_cast<double>(maxima_[i].height));
        }
    }

    // A beat that was too low, once the next one is overdue.
    void look_back(std::size_t i) {
        if (!hasBeat_ || seconds_between(lastBeat_, i) < missedAfter * intervals_.median()) {
            return;
        }
        std::size_t best = i;
        for (std::size_t k = lastBeat_ + 1; k < i; ++k) {
            if (seconds_between(lastBeat_, k) >= tWaveReach &&
                static_cast<double>(maxima_[k].height) > 0.5 * threshold() &&
                (best == i || maxima_[k].height > maxima_[best].height)) {
                best = k;
            }
        }
        if (best != i) {
            take(best);
        }
    }

    void take(std::size_t i) {
        if (hasBeat_) {
            intervals_.add(std::min(seconds_between(lastBeat_, i), 2.0));
        }
        beatLevel_.add(static_cast<double>(maxima_[i].height));
        beats_.push_back(maxima_[i].place);
        lastBeat_ = i;
        hasBeat_ = true;
    }

    const std::vector<Maximum>& maxima_;
    double rate_;
    Level beatLevel_;
    Level otherLevel_;
    Level intervals_; // s
    std::size_t lastBeat_ = 0;
    std::size_t learnedAt_ = 0;
    bool hasBeat_ = false;
    std::vector<std::size_t> beats_;
};

// The highest and lowest sample near a beat.
std::pair<std::size_t, std::size_t> extremes_near(const Signal& signal, std::size_t beat, double rate) {
    const auto reach = static_cast<std::size_t>(std::lround(peakReach * rate));
    const auto from = signal.begin() + static_cast<std::ptrdiff_t>(beat - std::min(beat, reach));
    const auto to = signal.begin() + static_cast<std::ptrdiff_t>(std::min(signal.size(), beat + reach + 1));
    const auto [low, high] = std::minmax_element(from, to);
    return {static_cast<std::size_t>(high - signal.begin()), static_cast<std::size_t>(low - signal.begin())};
}

} // namespace

EcgReducer::EcgReducer(double rate)
    : rate_(rate), group_(std::max<std::size_t>(1, static_cast<std::size_t>(rate / lowestReducedRate))) {}

void EcgReducer::add(const double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        sum_ += std::isfinite(values[i]) ? values[i] : 0.0;
        if (++inGroup_ == group_) {
            signal_.push_back(static_cast<float>(sum_ / static_cast<double>(group_)));
            inGroup_ = 0;
            sum_ = 0.0;
        }
    }
}

Heartbeats find_heartbeats(const std::vector<float>& signal, double rate) {
    Heartbeats result;
    if (signal.size() < 3) {
        return result;
    }
    const Signal band = convolved(signal, band_pass_kernel(rate));
    const Signal slope = slopes(band);
    const std::vector<Maximum> maxima = maxima_of(averages(slope, rate), slope, rate);
    if (maxima.empty()) {
        return result;
    }
    const std::vector<std::size_t> beats = BeatRules(maxima, rate).beats();
    std::size_t up = 0;
    for (const std::size_t beat : beats) {
        const auto [high, low] = extremes_near(band, beat, rate);
        up += std::abs(band[high]) >= std::abs(band[low]) ? 1U : 0U;
    }
    result.upward = 2 * up >= beats.size();
    for (const std::size_t beat : beats) {
        const auto [high, low] = extremes_near(band, beat, rate);
        const std::size_t peak = result.upward ? high : low;
        if (result.peaks.empty() || peak > result.peaks.back()) {
            result.peaks.push_back(peak);
        }
    }
    return result;
}

std::size_t peak_place(const std::vector<double>& stretch, double rate, bool upward) {
    const auto step = static_cast<std::ptrdiff_t>(0.002 * rate);
    std::size_t best = 0;
    double bestSum = 0.0;
    for (std::ptrdiff_t i = 0; i < std::ssize(stretch); ++i) {
        double sum = 0.0;
        for (std::ptrdiff_t k = -2; k <= 2; ++k) {
            const std::ptrdiff_t place = std::clamp<std::ptrdiff_t>(i + k * step, 0, std::ssize(stretch) - 1);
            sum += (upward ? 1.0 : -1.0) * stretch[static_cast<std::size_t>(place)];
        }
        if (i == 0 || sum > bestSum) {
            best = static_cast<std::size_t>(i);
            bestSum = sum;
        }
    }
    return best;
}

} // namespace workbench::exchange
