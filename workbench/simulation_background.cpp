#include "workbench/simulation_background.h"

#include <cmath>

namespace workbench {

namespace {

constexpr int noiseSources = 10;
constexpr double rhythmFrequencies[] = {9.3, 10.1, 10.9}; // Hz
constexpr double rhythmBandwidth = 0.8;                   // Hz, so that it waxes and wanes within about a second
constexpr double sensorRms = 0.5;                         // microvolts

} // namespace

PinkNoise::PinkNoise(RandomNumbers& random, double rate) {
    double corner = 0.1; // Hz
    for (int k = 0; k < parts; ++k) {
        keep_[k] = 1.0 / (1.0 + 2.0 * pi * corner / rate);
        drive_[k] = std::sqrt((1.0 - keep_[k] * keep_[k]) / parts);
        state_[k] = random.normal() / std::sqrt(static_cast<double>(parts));
        corner *= 4.0;
    }
}

double PinkNoise::next(RandomNumbers& random) {
    double sum = 0.0;
    for (int k = 0; k < parts; ++k) {
        state_[k] = keep_[k] * state_[k] + drive_[k] * random.normal();
        sum += state_[k];
    }
    return sum;
}

Rhythm::Rhythm(RandomNumbers& random, double frequency, double bandwidth, double rate)
    : real_(random.normal()), imaginary_(random.normal()) {
    const double keep = 1.0 / (1.0 + pi * bandwidth / rate);
    turnReal_ = keep * cosine_of_turns(frequency / rate);
    turnImaginary_ = keep * sine_of_turns(frequency / rate);
    drive_ = std::sqrt(1.0 - keep * keep);
}

double Rhythm::next(RandomNumbers& random) {
    const double real = turnReal_ * real_ - turnImaginary_ * imaginary_ + drive_ * random.normal();
    imaginary_ = turnImaginary_ * real_ + turnReal_ * imaginary_ + drive_ * random.normal();
    real_ = real;
    return real;
}

Background::Background(std::uint64_t seed, std::uint32_t channels, double rate) : random_(seed) {
    for (int k = 0; k < noiseSources; ++k) {
        noises_.emplace_back(random_, rate);
    }
    for (const double frequency : rhythmFrequencies) {
        rhythms_.emplace_back(random_, frequency, rhythmBandwidth, rate);
    }
    sources_.resize(noises_.size() + rhythms_.size());
    mixing_.resize(std::size_t{channels} * sources_.size());
    for (std::size_t source = 0; source < sources_.size(); ++source) {
        const std::vector<double> curve = smooth_over_channels(random_, channels);
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            // The rhythm grows toward the last channels, as it does toward the back of the head.
            const double place = (static_cast<double>(channel) + 0.5) / static_cast<double>(channels);
            const double strength = source < noises_.size() ? 1.0 : 0.3 + 1.5 * place * place;
            mixing_[channel * sources_.size() + source] = strength * curve[channel];
        }
    }
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        rms_.push_back(random_.uniform(10.5, 14.0));
        double* weights = &mixing_[channel * sources_.size()];
        double power = 0.0;
        for (std::size_t source = 0; source < sources_.size(); ++source) {
            power += weights[source] * weights[source];
        }
        const double gain = std::sqrt((rms_[channel] * rms_[channel] - sensorRms * sensorRms) / power);
        for (std::size_t source = 0; source < sources_.size(); ++source) {
            weights[source] *= gain;
        }
    }
}

void Background::next(double* values) {
    std::size_t source = 0;
    for (PinkNoise& noise : noises_) {
        sources_[source++] = noise.next(random_);
    }
    for (Rhythm& rhythm : rhythms_) {
        sources_[source++] = rhythm.next(random_);
    }
    for (std::size_t channel = 0; channel < rms_.size(); ++channel) {
        double sum = sensorRms * random_.normal();
        for (std::size_t k = 0; k < sources_.size(); ++k) {
            sum += mixing_[channel * sources_.size() + k] * sources_[k];
        }
        values[channel] = sum;
    }
}

} // namespace workbench
