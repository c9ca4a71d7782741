#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "fileio/ctc_convert.h"

namespace workbench {

/// The value of one stored element of data type 1, 3, 4 or 5, in the arithmetic of the library's channel access. Data
/// type 1 is not scaled.
inline float element_value(unsigned int dataType, const char* element, float scale, float offset) {
    const auto convert = [&](auto stored) {
        std::memcpy(&stored, element, sizeof stored);
        return fileio::value_of(stored, scale, offset);
    };
    switch (dataType) {
    case 3:
        return convert(std::int16_t{});
    case 4:
        return convert(std::int8_t{});
    case 5:
        return convert(float{});
    default:
        float value = 0.0f;
        std::memcpy(&value, element, sizeof value);
        return value;
    }
}

/// How a value went into an element.
enum class Fit { fits, clipped, notANumber };

/// Rounds to the nearest stored value, halves away from zero, and clips; what is not a number becomes 0.
template <class Stored>
Fit round_to_stored(double unscaled, Stored* stored) {
    constexpr double lowest = std::numeric_limits<Stored>::min();
    constexpr double highest = std::numeric_limits<Stored>::max();
    const double whole = std::round(unscaled);
    if (std::isnan(whole)) {
        *stored = 0;
        return Fit::notANumber;
    }
    *stored = static_cast<Stored>(std::clamp(whole, lowest, highest));
    return whole < lowest || whole > highest ? Fit::clipped : Fit::fits;
}

/// Writes one element from (value - offset) / scale: an integer for data types 3 and 4, otherwise a float.
inline Fit put_element(unsigned int dataType, double unscaled, char* element) {
    const auto put = [&](auto stored) {
        const Fit fit = round_to_stored(unscaled, &stored);
        std::memcpy(element, &stored, sizeof stored);
        return fit;
    };
    switch (dataType) {
    case 3:
        return put(std::int16_t{});
    case 4:
        return put(std::int8_t{});
    default:
        const auto stored = static_cast<float>(unscaled);
        std::memcpy(element, &stored, sizeof stored);
        return Fit::fits;
    }
}

} // namespace workbench
