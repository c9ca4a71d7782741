#include "workbench/simulation.h"

#include <algorithm>
#include <cmath>

#include "workbench/input_error.h"
#include "workbench/simulation_artifact.h"
#include "workbench/simulation_background.h"
#include "workbench/window.h"

namespace workbench {

namespace {

constexpr int smallestSegment = 10; // what a removal run accepts

void check(const SimulationSettings& settings) {
    if (settings.channels == 0 || settings.channels > mostSimulatedChannels) {
        throw InputError("a simulation has 1 to " + std::to_string(mostSimulatedChannels) + " channels");
    }
    if (!(settings.rate >= lowestSimulatedRate && settings.rate <= highestSimulatedRate)) {
        throw InputError("a simulation has 100 to 100000 samples per second");
    }
    if (settings.samples == 0 || settings.samples > 0x7FFFFFFF) {
        throw InputError("a simulation has 1 to 2147483647 samples per channel");
    }
}

} // namespace

struct Simulation::Parts {
    double rate;
    Background background;
    std::unique_ptr<ArtifactSource> artifact;
    std::uint64_t sample = 0;
    std::vector<double> values;

    explicit Parts(const SimulationSettings& settings)
        : rate(static_cast<double>(settings.rate)), background(settings.seed, settings.channels, rate),
          values(settings.channels) {
        artifact = settings.artifact == Artifact::gradient ? make_gradient(settings, background.channel_rms())
                                                           : make_heartbeat(settings, background.channel_rms());
    }
};

Simulation::Simulation(const SimulationSettings& settings) {
    check(settings);
    parts_ = std::make_unique<Parts>(settings);
    for (const double seconds : parts_->artifact->trigger_times()) {
        triggers_.push_back(static_cast<std::int32_t>(std::floor(seconds * parts_->rate + 0.5)));
    }
}

Simulation::~Simulation() = default;

void Simulation::next(std::uint32_t count, float* clean, float* recorded) {
    std::vector<double>& values = parts_->values;
    for (std::size_t i = 0; i < count; ++i) {
        parts_->background.next(values.data());
        for (std::size_t channel = 0; channel < values.size(); ++channel) {
            clean[channel * count + i] = static_cast<float>(values[channel]);
        }
        parts_->artifact->add(static_cast<double>(parts_->sample) / parts_->rate, values.data());
        for (std::size_t channel = 0; channel < values.size(); ++channel) {
            recorded[channel * count + i] = static_cast<float>(values[channel]);
        }
        ++parts_->sample;
    }
}

std::string simulated_condition(Artifact artifact) {
    return artifact == Artifact::gradient ? "slice" : "heartbeat";
}

SuggestedSettings suggested_settings(Artifact artifact, float rate, std::size_t triggers) {
    const auto segment_of = [&](int wanted) {
        return triggers < smallestSegment
                   ? 0
                   : static_cast<int>(std::min<std::size_t>(triggers, static_cast<std::size_t>(wanted)));
    };
    if (artifact == Artifact::heartbeat) {
        return {50, 610, segment_of(30), 2};
    }
    // The shortest window that leaves no sample between two slices, as `check` suggests it.
    const auto longestDistance = static_cast<std::int64_t>(std::ceil(slicePeriod * static_cast<double>(rate)));
    int post = 0;
    while (window_in_samples(0, post, rate).length() < longestDistance) {
        ++post;
    }
    return {0, post, segment_of(50), 3};
}

} // namespace workbench
