#pragma once

#include <cstdint>
#include <limits>

/// The one rule by which this library turns a floating-point value into an integer.
/// Truncates toward zero. A value whose truncation does not fit 32 bits, and NaN, give the smallest
/// 32-bit integer (what the target processor's own conversion gives), so that the result is defined.
inline std::int32_t truncate_to_int32(double value) {
    if (value > -2147483649.0 && value < 2147483648.0) {
        return static_cast<std::int32_t>(value);
    }
    return std::numeric_limits<std::int32_t>::min();
}
