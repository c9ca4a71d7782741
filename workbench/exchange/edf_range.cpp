#include "workbench/exchange/edf_range.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "workbench/input_error.h"

namespace workbench::exchange {

namespace {

constexpr std::size_t fieldBytes = 8;
constexpr double smallInMicrovolts = 1.0; // below, nanovolts have more digits to offer
constexpr double largeInMicrovolts = 1e5;

// A number of at most eight characters that is not above (or below) the value, and near it; empty if there is none.
std::string rounded_text(double value, bool down) {
    for (int decimals = 6; decimals >= 0; --decimals) {
        const double factor = std::pow(10.0, decimals);
        const double rounded = (down ? std::floor(value * factor) : std::ceil(value * factor)) / factor;
        char text[400];
        std::snprintf(text, sizeof text, "%.*f", decimals, rounded == 0.0 ? 0.0 : rounded);
        const double read = std::strtod(text, nullptr);
        if (std::string(text).size() <= fieldBytes && (down ? read <= value : read >= value)) {
            return text;
        }
    }
    return "";
}

} // namespace

std::int32_t EdfRange::stored(float value) const {
    const double share = (static_cast<double>(value) / microvolts - low) / (high - low);
    const double digital = std::round(share * (digitalHigh - digitalLow) + digitalLow);
    return static_cast<std::int32_t>(std::clamp(digital, digitalLow, digitalHigh));
}

EdfRange edf_range(float lowest, float highest, bool bdf) {
    EdfRange range;
    if (bdf) {
        range.digitalLow = -8388608.0;
        range.digitalHigh = 8388607.0;
    }
    const double low = static_cast<double>(lowest);
    const double high = static_cast<double>(highest);
    const double largest = std::max(std::abs(low), std::abs(high));
    if (largest > 0.0 && largest < smallInMicrovolts) {
        range.unit = "nV";
        range.microvolts = 1e-3;
    } else if (largest > largeInMicrovolts) {
        range.unit = "mV";
        range.microvolts = 1e3;
    }
    range.lowest = rounded_text(low / range.microvolts, true);
    range.highest = rounded_text(high / range.microvolts, false);
    if (range.lowest == range.highest && !range.lowest.empty()) { // a range needs two ends
        range.lowest = rounded_text(low / range.microvolts - 1.0, true);
        range.highest = rounded_text(high / range.microvolts + 1.0, false);
    }
    if (range.lowest.empty() || range.highest.empty() || range.lowest == range.highest) {
        throw InputError("values up to " + std::to_string(largest) +
                         " uV do not fit the format; export to BrainVision (.vhdr) instead");
    }
    range.low = std::strtod(range.lowest.c_str(), nullptr);
    range.high = std::strtod(range.highest.c_str(), nullptr);
    return range;
}

} // namespace workbench::exchange
