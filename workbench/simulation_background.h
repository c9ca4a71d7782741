#pragma once

#include <cstdint>
#include <vector>

#include "workbench/simulation_random.h"

namespace workbench {

/// Noise with a 1/f spectrum from 0.1 to 100 Hz, variance 1: a sum of first-order low-pass noises whose corner
/// frequencies lie a factor 4 apart.
class PinkNoise {
public:
    PinkNoise(RandomNumbers& random, double rate);
    double next(RandomNumbers& random);

private:
    static constexpr int parts = 6;
    double state_[parts];
    double keep_[parts];
    double drive_[parts];
};

/// A rhythm of one frequency whose amplitude and phase wander, variance 1.
class Rhythm {
public:
    Rhythm(RandomNumbers& random, double frequency, double bandwidth, double rate);
    double next(RandomNumbers& random);

private:
    double real_;
    double imaginary_;
    double turnReal_;
    double turnImaginary_;
    double drive_;
};

/// The background of all channels: sources mixed smoothly, and a little noise of each sensor's own.
class Background {
public:
    Background(std::uint64_t seed, std::uint32_t channels, double rate);

    /// The root mean square that each channel is made for, in microvolts.
    const std::vector<double>& channel_rms() const { return rms_; }
    /// One sample of every channel, in microvolts.
    void next(double* values);

private:
    RandomNumbers random_;
    std::vector<double> rms_;
    std::vector<PinkNoise> noises_;
    std::vector<Rhythm> rhythms_;
    std::vector<double> mixing_; // [channel][noises, then rhythms]
    std::vector<double> sources_;
};

} // namespace workbench
