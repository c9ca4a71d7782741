#pragma once

#include "export.h"

/// @file
/// Log-gamma and the regularised incomplete gamma functions, P(a, x) (lower) and Q(a, x) = 1 - P(a, x). None keeps
/// state. Errors are largest ones measured against tables of higher precision.

/// ln Gamma(xx).
/// Precision: double; error at most 4.1e-13 of max(1, |ln Gamma|) for xx from 1e-306 to 1e300. Infinite below 5.8e-307.
/// @param xx  > 0, not checked: 0 or less gives a meaningless or non-finite result.
/// @return ln Gamma(xx).
/// *Method*: Lanczos (1964), six terms.
ORIDAN_API double gammln(double xx);

/// P(a, x) and Q(a, x): by gser where x < a + 1 (compared in double), by gcf from there. Each serves one of the two
/// functions directly; the other is 1 minus it, so that its small values are lost, and may leave [0, 1] by the error.
/// Precision: float steps around double exponentials. The rounding of ln Gamma(a) to float dominates. Errors up to an
/// order a of
///
/// | a     | direct, relative | complement, absolute |
/// |-------|------------------|----------------------|
/// | 0.001 | 3.7e-6           | 3.7e-6               |
/// | 10    | 1.3e-6           | 2.3e-7               |
/// | 100   | 1.3e-5           | 7.0e-6               |
/// | 380   | 4.2e-5           | 2.2e-5               |
/// | 6000  | 1.5e-3           | 7.1e-4               |
///
/// from a = 1e-38 on (below, 1/a overflows: infinities or a fatal error). Up to a = 380 both methods converge
/// for every x, and the fraction up to 6000; the last row holds where x >= a + 1. Larger orders end the process near
/// x = a + 1. Direct results below 1.2e-38 lose precision gradually and end as 0.
/// @param a  order, > 0.   @param x  >= 0.
/// @return P(a, x) by gammp, Q(a, x) by gammq.
/// *Fatal*: "Invalid arguments in routine gammq" for x < 0 or a <= 0, from gammp under that name, too; and those of
/// gser and gcf. A NaN passes the check and ends in gcf's.
///@{
ORIDAN_API float gammp(float a, float x);
ORIDAN_API float gammq(float a, float x);
///@}

/// P(a, x) by its power series, at most 100 terms, until a term is below 3e-7 of the sum. Meant for x < a + 1, not
/// checked; errors: see gammp.
/// Precision: sums in float; the exponential in double, with ln Gamma(a) as the float that *gln gets.
/// @param gamser  out, P(a, x).   @param a  order, > 0, not checked.   @param x  >= 0.
/// @param gln     out, ln Gamma(a); written before anything is checked.
/// *Fatal*: "x less than 0 in routine gser"; "a too large, ITMAX too small in routine gser" without convergence (first
/// seen at a = 388 just below x = a + 1).
ORIDAN_API void gser(float* gamser, float a, float x, float* gln);

/// Q(a, x) by its continued fraction, at most 100 steps, until one changes the value by less than 3e-7. Meant for
/// x >= a + 1, not checked; errors: see gammp.
/// Precision: fraction in float; the exponential in double, with ln Gamma(a) as the float that *gln gets.
/// @param gammcf  out, Q(a, x).   @param a  order, > 0, not checked.   @param x  > 0, not checked.
/// @param gln     out, ln Gamma(a).
/// *Fatal*: "a too large, ITMAX too small in gcf" without convergence (first seen at a = 6491 just above x = a + 1).
/// *Method*: Lentz (1976), modified by Thompson and Barnett (1986).
ORIDAN_API void gcf(float* gammcf, float a, float x, float* gln);
