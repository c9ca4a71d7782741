#pragma once

#include "export.h"

/// @file
/// The error function family: erf, erfc and their inverses. None keeps state. Errors are largest ones measured against
/// tables of higher precision.

/// erfc(x) by a rational fit.
/// Precision: float in and out; the exponential in double, but with the square of x in float, whose rounding shows in
/// the tail. Relative error at most 1.1e-7 for x < 0, 1.9e-7 up to 1, 5.9e-7 up to 3, 3.9e-6 up to 9.19; beyond, where
/// the result is below 1.2e-38, absolute 3.1e-44.
/// @param x  any; negative x gives 2 - erfcc(-x).
/// @return erfc(x), 0 to 2; NaN for NaN.
ORIDAN_API float erfcc(float x);

/// erfc(z) for z >= 0 by a Chebyshev series of 28 terms.
/// Precision: double; relative error at most 3.4e-16 up to z = 1, 8.2e-15 up to 6, 1.5e-13 up to 26.5; beyond, where
/// the result is below 2.2e-308, absolute 3.1e-322.
/// @param z  >= 0.
/// @return erfc(z); NaN for NaN.
/// *Fatal*: "function erfccheb requires nonnegative argument" for z < 0.
/// *Method*: Clenshaw (1955).
ORIDAN_API double erfccheb(double z);

/// erfc(x) for any x.
/// Precision: double; that of erfccheb from 0 on, relative error at most 4.5e-16 for x < 0.
/// @param x  any.
/// @return erfc(x), 0 to 2; NaN for NaN.
ORIDAN_API double _erfc(double x);

/// erf(x), as 1 minus erfccheb or its negative.
/// Precision: double; absolute error at most 3.4e-16. Small x have no relative precision.
/// @param x  any.
/// @return erf(x), -1 to 1; NaN for NaN.
ORIDAN_API double _erf(double x);

/// The x with erfc(x) = p: a rational guess and two Halley steps.
/// Precision: double, but the square inside the steps is a float product. Error at most 6.6e-15 of max(1, |x|) for p
/// from 1e-10, relative 1.8e-12 down to p = 2.3e-308.
/// @param p  0 to 2.
/// @return x; 100 for p <= 0 and -100 for p >= 2, in place of the infinities; NaN for NaN and for the smallest
///         subnormal number.
ORIDAN_API double inverfc(double p);

/// The x with erf(x) = p, as inverfc(1 - p).
/// Precision: double; error at most 3.9e-16 of max(1, |x|) for |p| up to 0.99, relative 5.0e-15 above. Below -0.99 it
/// is what an error of 1.2e-16 in p makes of x, because 1 - p rounds.
/// @param p  -1 to 1.
/// @return x; 100 for p >= 1; -100 for p <= -1 and for the number next to -1.
ORIDAN_API double inverf(double p);
