// The artifact of the heartbeat: three waves after every beat, each with its own distribution over the channels, and
// another amplitude and delay at every beat.

#include <algorithm>
#include <cmath>

#include "workbench/simulation_artifact.h"
#include "workbench/simulation_random.h"

namespace workbench {

namespace {

constexpr int waves = 3;
constexpr double meanInterval = 0.85; // seconds
constexpr double shortestInterval = 0.68;
constexpr double longestInterval = 1.1;
constexpr double breathingPeriod = 4.1; // seconds

// Each wave swings `cycles` times up and down under a bell, so that it has no constant part.
constexpr double waveDelay[waves] = {0.01, 0.08, 0.22}; // seconds after the beat
constexpr double waveLength[waves] = {0.57, 0.42, 0.34};
constexpr double waveCycles[waves] = {1.0, 2.0, 3.0};
constexpr double waveSize[waves] = {1.0, 0.6, 0.35};

struct Beat {
    double time = 0.0;
    double sizes[waves] = {};
    double delays[waves] = {};
};

double wave_at(int wave, double sinceStart) {
    const double place = sinceStart / waveLength[wave];
    if (place <= 0.0 || place >= 1.0) {
        return 0.0;
    }
    return sine_of_turns(waveCycles[wave] * place) * 0.5 * (1.0 - cosine_of_turns(place));
}

class Heartbeat : public ArtifactSource {
public:
    Heartbeat(const SimulationSettings& settings, const std::vector<double>& channelRms);
    const std::vector<double>& trigger_times() const override { return triggerTimes_; }
    void add(double seconds, double* values) override;

private:
    void choose_beats(const SimulationSettings& settings);
    void choose_mixing(const std::vector<double>& channelRms);

    RandomNumbers random_;
    std::vector<Beat> beats_;
    std::vector<double> triggerTimes_;
    std::size_t beat_ = 0;
    std::vector<double> mixing_; // [channel][wave]
};

Heartbeat::Heartbeat(const SimulationSettings& settings, const std::vector<double>& channelRms)
    : random_(settings.seed + 0xD1B54A32D192ED03ULL) {
    choose_beats(settings);
    choose_mixing(channelRms);
}

void Heartbeat::choose_beats(const SimulationSettings& settings) {
    const double duration = static_cast<double>(settings.samples) / static_cast<double>(settings.rate);
    double time = std::min(0.5, quiet_time(duration)) + random_.uniform(0.0, 0.3);
    const double phase = random_.uniform();
    while (time + 0.75 <= duration) {
        const double breathing = sine_of_turns(time / breathingPeriod + phase);
        Beat beat;
        beat.time = time;
        const double common = 1.0 + 0.08 * breathing + 0.06 * random_.normal();
        for (int wave = 0; wave < waves; ++wave) {
            beat.sizes[wave] = common * (1.0 + 0.05 * random_.normal());
            beat.delays[wave] = waveDelay[wave] + std::clamp(0.003 * random_.normal(), -0.009, 0.009);
        }
        beats_.push_back(beat);
        triggerTimes_.push_back(time);
        const double interval = meanInterval + 0.04 * breathing + 0.03 * random_.normal();
        time += std::clamp(interval, shortestInterval, longestInterval);
    }
}

void Heartbeat::choose_mixing(const std::vector<double>& channelRms) {
    const auto channels = static_cast<std::uint32_t>(channelRms.size());
    std::vector<double> curves[waves];
    for (std::vector<double>& curve : curves) {
        curve = smooth_over_channels(random_, channels);
    }
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        double peak = 1e-6;
        for (int step = 0; step < 600; ++step) {
            double value = 0.0;
            for (int wave = 0; wave < waves; ++wave) {
                value += waveSize[wave] * curves[wave][channel] * wave_at(wave, 0.001 * step - waveDelay[wave]);
            }
            peak = std::max(peak, std::abs(value));
        }
        const double gain = channelRms[channel] * random_.uniform(6.0, 9.0) / peak;
        for (int wave = 0; wave < waves; ++wave) {
            mixing_.push_back(gain * waveSize[wave] * curves[wave][channel]);
        }
    }
}

void Heartbeat::add(double seconds, double* values) {
    while (beat_ + 1 < beats_.size() && seconds >= beats_[beat_ + 1].time) {
        ++beat_; // the wave of a beat is over before the next beat
    }
    if (beats_.empty() || seconds < beats_[beat_].time) {
        return;
    }
    const Beat& beat = beats_[beat_];
    double waveValues[waves];
    for (int wave = 0; wave < waves; ++wave) {
        waveValues[wave] = beat.sizes[wave] * wave_at(wave, seconds - beat.time - beat.delays[wave]);
    }
    for (std::size_t channel = 0; channel * waves < mixing_.size(); ++channel) {
        for (std::size_t wave = 0; wave < waves; ++wave) {
            values[channel] += mixing_[channel * waves + wave] * waveValues[wave];
        }
    }
}

} // namespace

std::unique_ptr<ArtifactSource> make_heartbeat(const SimulationSettings& settings,
                                               const std::vector<double>& channelRms) {
    return std::make_unique<Heartbeat>(settings, channelRms);
}

} // namespace workbench
