#pragma once

#include <cstdint>

#include "numerics/truncation.h"

/// Stored elements to physical values and back, one element at a time. All arithmetic is single precision.
namespace fileio {

inline float value_of(std::int16_t stored, float scale, float offset) {
    return static_cast<float>(stored) * scale + offset;
}
inline float value_of(std::int8_t stored, float scale, float offset) {
    return static_cast<float>(stored) * scale + offset;
}
inline float value_of(float stored, float scale, float offset) {
    return scale * stored + offset;
}

inline float unscaled(float value, float scale, float offset) {
    return (value - offset) / scale;
}

/// Truncated toward zero to 32 bits, of which the low bits are stored: no rounding, no clipping.
template <class Stored>
Stored stored_from(float value, float scale, float offset) {
    return static_cast<Stored>(truncate_to_int32(static_cast<double>(unscaled(value, scale, offset))));
}
template <>
inline float stored_from<float>(float value, float scale, float offset) {
    return unscaled(value, scale, offset);
}

} // namespace fileio
