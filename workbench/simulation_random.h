#pragma once

#include <cstdint>
#include <random>
#include <vector>

/// Random numbers and waves that come out the same, bit for bit, on every machine: integer draws and plain arithmetic
/// only. Neither the distributions nor the mathematical functions of the standard library promise that.
namespace workbench {

class RandomNumbers {
public:
    explicit RandomNumbers(std::uint64_t seed) : engine_(seed) {}

    /// From 0 up to, not including, 1.
    double uniform();
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    /// Mean 0, standard deviation 1: a sum of twelve uniform numbers, so never beyond 6.
    double normal();

private:
    std::mt19937_64 engine_;
};

constexpr double pi = 3.14159265358979323846;

/// Sine and cosine of an angle in turns: 0.25 is a quarter turn. Error below 1e-11.
double sine_of_turns(double turns);
double cosine_of_turns(double turns);

/// A curve over the channels that changes slowly from one channel to the next, with values around 0 and a mean square
/// of about 1.
std::vector<double> smooth_over_channels(RandomNumbers& random, std::uint32_t channels);

} // namespace workbench
