#pragma once

#include <cmath>

/// Scalar helpers that the numerical routines share.
namespace numerics {

inline float square(float a) {
    return a * a;
}

/// |magnitude| with the sign of `direction`; a direction of 0 (of either sign) counts as positive, NaN as negative.
inline float with_sign(float magnitude, float direction) {
    return direction >= 0.0f ? std::fabs(magnitude) : -std::fabs(magnitude);
}

/// sqrt in double precision, stored as float.
inline float root(float a) {
    return static_cast<float>(std::sqrt(static_cast<double>(a)));
}

} // namespace numerics
