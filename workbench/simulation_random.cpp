#include "workbench/simulation_random.h"

#include <cmath>

namespace workbench {

double RandomNumbers::uniform() {
    return static_cast<double>(engine_() >> 11) * 0x1p-53;
}

double RandomNumbers::normal() {
    std::uint64_t sum = 0; // twelve numbers of 16 bits
    for (int draw = 0; draw < 3; ++draw) {
        const std::uint64_t bits = engine_();
        sum += (bits & 0xFFFF) + (bits >> 16 & 0xFFFF) + (bits >> 32 & 0xFFFF) + (bits >> 48);
    }
    return (static_cast<double>(sum) - 6.0 * 65535.0) * 0x1p-16;
}

double sine_of_turns(double turns) {
    double x = turns - std::floor(turns + 0.5); // -0.5 .. 0.5
    if (x > 0.25) {
        x = 0.5 - x;
    } else if (x < -0.25) {
        x = -0.5 - x;
    }
    const double angle = 2.0 * pi * x;
    const double square = angle * angle;
    double sum = 1.0; // the power series, from its far end
    for (int k = 16; k >= 2; k -= 2) {
        sum = 1.0 - square * sum / static_cast<double>(k * (k + 1));
    }
    return angle * sum;
}

double cosine_of_turns(double turns) {
    return sine_of_turns(turns + 0.25);
}

std::vector<double> smooth_over_channels(RandomNumbers& random, std::uint32_t channels) {
    constexpr int waves = 3;
    double sines[waves];
    double cosines[waves];
    for (int k = 0; k < waves; ++k) {
        sines[k] = random.normal() / static_cast<double>(k + 1);
        cosines[k] = random.normal() / static_cast<double>(k + 1);
    }
    const double constant = random.normal();
    std::vector<double> curve(channels);
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        const double place = (static_cast<double>(channel) + 0.5) / static_cast<double>(channels);
        double value = constant;
        for (int k = 0; k < waves; ++k) {
            const double turns = 0.5 * static_cast<double>(k + 1) * place;
            value += sines[k] * sine_of_turns(turns) + cosines[k] * cosine_of_turns(turns);
        }
        curve[channel] = value * 0.65;
    }
    return curve;
}

} // namespace workbench
