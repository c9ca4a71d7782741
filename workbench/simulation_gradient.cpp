// The artifact of a scanner that takes one slice after another: three gradient axes, each with its own waveform of
// slice harmonics, reach every channel in another mixture.

#include <algorithm>
#include <cmath>

#include "workbench/simulation_artifact.h"
#include "workbench/simulation_random.h"

namespace workbench {

const double slicePeriod = 0.06437;

namespace {

constexpr int axes = 3;
constexpr double clockError = 12e-6;                  // of the scanner's clock against the amplifier's
constexpr double jitter = 0.05;                       // standard deviation of a slice's start, in samples
constexpr double timesBackground = 50.0;              // root mean square, for the channels on the average
constexpr double highestHarmonic = 240.0;             // Hz, what the amplifier lets through
constexpr double highestRateShare = 0.3;              // of the sampling frequency
constexpr double amplitudeDrift = 0.08;               // share of the amplitude that comes and goes
constexpr double shapeDrift = 0.06;                   // share by which the axes change against one another
constexpr double driftPeriods[] = {47.0, 83.0, 61.0}; // seconds

struct Harmonics {
    std::vector<double> sines;
    std::vector<double> cosines;
};

class Gradient : public ArtifactSource {
public:
    Gradient(const SimulationSettings& settings, const std::vector<double>& channelRms);
    const std::vector<double>& trigger_times() const override { return triggerTimes_; }
    void add(double seconds, double* values) override;

private:
    void choose_starts(const SimulationSettings& settings);
    void choose_waveforms(double rate);
    void choose_mixing(const std::vector<double>& channelRms);

    RandomNumbers random_;
    double period_ = slicePeriod * (1.0 + clockError);
    std::vector<double> starts_; // of all slices; one more at either end has no trigger
    std::vector<double> triggerTimes_;
    std::size_t slice_ = 0;
    Harmonics waveforms_[axes];
    double driftPhases_[axes];
    std::vector<double> mixing_; // [channel][axis]
};

Gradient::Gradient(const SimulationSettings& settings, const std::vector<double>& channelRms)
    : random_(settings.seed + 0x9E3779B97F4A7C15ULL) {
    choose_starts(settings);
    choose_waveforms(static_cast<double>(settings.rate));
    choose_mixing(channelRms);
}

void Gradient::choose_starts(const SimulationSettings& settings) {
    const double rate = static_cast<double>(settings.rate);
    const double duration = static_cast<double>(settings.samples) / rate;
    const double first = quiet_time(duration) + random_.uniform(0.0, 0.01);
    const double end = duration - quiet_time(duration);
    for (std::size_t n = 0; first + static_cast<double>(n + 1) * period_ <= end; ++n) {
        const double late = std::clamp(jitter * random_.normal(), -0.3, 0.3) / rate;
        starts_.push_back(first + static_cast<double>(n) * period_ + late);
    }
    if (starts_.size() > 2) {
        triggerTimes_.assign(starts_.begin() + 1, starts_.end() - 1);
    }
}

void Gradient::choose_waveforms(double rate) {
    const double highest = std::min(highestHarmonic, highestRateShare * rate);
    for (Harmonics& waveform : waveforms_) {
        double power = 0.0;
        for (int h = 1; h == 1 || static_cast<double>(h) / period_ <= highest; ++h) {
            // Strongest at the pace of the echoes, falling off above as the amplifier's low-pass does.
            const double frequency = static_cast<double>(h) / period_;
            const double size = random_.uniform(0.4, 1.0) / (1.0 + frequency * frequency / (90.0 * 90.0));
            const double phase = random_.uniform();
            waveform.sines.push_back(size * cosine_of_turns(phase));
            waveform.cosines.push_back(size * sine_of_turns(phase));
            power += 0.5 * size * size;
        }
        const double gain = 1.0 / std::sqrt(power);
        for (std::size_t h = 0; h < waveform.sines.size(); ++h) {
            waveform.sines[h] *= gain;
            waveform.cosines[h] *= gain;
        }
    }
    for (double& phase : driftPhases_) {
        phase = random_.uniform();
    }
}

void Gradient::choose_mixing(const std::vector<double>& channelRms) {
    const auto channels = static_cast<std::uint32_t>(channelRms.size());
    std::vector<double> curves[axes];
    for (std::vector<double>& curve : curves) {
        curve = smooth_over_channels(random_, channels);
    }
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        double power = 1e-6;
        for (const std::vector<double>& curve : curves) {
            power += curve[channel] * curve[channel];
        }
        const double rms = channelRms[channel] * timesBackground * random_.uniform(0.7, 1.3);
        for (const std::vector<double>& curve : curves) {
            mixing_.push_back(rms * curve[channel] / std::sqrt(power));
        }
    }
}

double value_at(const Harmonics& waveform, double turns) {
    // The harmonics' angles by repeated rotation.
    const double sine = sine_of_turns(turns);
    const double cosine = cosine_of_turns(turns);
    double s = sine;
    double c = cosine;
    double sum = 0.0;
    for (std::size_t h = 0; h < waveform.sines.size(); ++h) {
        sum += waveform.sines[h] * s + waveform.cosines[h] * c;
        const double nextSine = s * cosine + c * sine;
        c = c * cosine - s * sine;
        s = nextSine;
    }
    return sum;
}

void Gradient::add(double seconds, double* values) {
    while (slice_ + 1 < starts_.size() && seconds >= starts_[slice_ + 1]) {
        ++slice_;
    }
    if (starts_.empty() || seconds < starts_.front() || seconds >= starts_.back() + period_) {
        return;
    }
    const double turns = (seconds - starts_[slice_]) / period_;
    const double amplitude = 1.0 + amplitudeDrift * sine_of_turns(seconds / driftPeriods[0] + driftPhases_[0]);
    double axisValues[axes];
    for (int axis = 0; axis < axes; ++axis) {
        const double drift = shapeDrift * sine_of_turns(seconds / driftPeriods[axis] + driftPhases_[axis]);
        axisValues[axis] = (amplitude + drift) * value_at(waveforms_[axis], turns);
    }
    for (std::size_t channel = 0; channel * axes < mixing_.size(); ++channel) {
        for (std::size_t axis = 0; axis < axes; ++axis) {
            values[channel] += mixing_[channel * axes + axis] * axisValues[axis];
        }
    }
}

} // namespace

double quiet_time(double duration) {
    return std::min(2.0, 0.1 * duration);
}

std::unique_ptr<ArtifactSource> make_gradient(const SimulationSettings& settings,
                                              const std::vector<double>& channelRms) {
    return std::make_unique<Gradient>(settings, channelRms);
}

} // namespace workbench
