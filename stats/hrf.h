#pragma once

#include "export.h"

/// @file
/// Response functions for regressors of slow physiological responses, and three variables kept for programs that link
/// to them.
///
/// Index base: 0.   Precision: double. None keeps state.

/// A haemodynamic response: the difference of two gamma densities, sampled every TR and scaled so that its largest
/// magnitude is 1 (to float accuracy; a response below 0.0001 everywhere is left unscaled).
/// @param TR    sampling interval, in seconds.
/// @param p     [0..6] delay of the response, delay of the undershoot, dispersion of the response, dispersion of the
///              undershoot (all in seconds), ratio of response to undershoot, onset, length of the kernel (in seconds).
/// @param nsub  bins to a TR. The densities are those per bin, which shows where the response is left unscaled.
/// @param hrf   [0..N-1] out, N = (int)(p[6] / TR) + 1, a float quotient cut toward zero. Nothing is written where N
///              is below 1, or where the quotient does not fit an int (a TR of 0).
/// @return 1, always.
/// Unchecked: dispersions and onset; dispersions of 0 give values that are not finite. Samples without a bin are 0:
/// those past bin (int)(p[6] / (TR / nsub)), in double; with an nsub of 0 or less all but the first; all of them where
/// that number of bins does not fit an int.
/// Kept on purpose: with a ratio below 0.001 the kernel is the undershoot alone, negated.
/// Method: the difference of two gamma densities, Friston et al. (1998).
ORIDAN_API int twogammaHRF(float TR, float* p, int nsub, double* hrf);

/// Gamma density; 0 for every x <= 0.
/// Precision: relative error below 5e-10 where the density is above 1e-100, for shapes up to 200.
/// @param n    values; 0 or less writes nothing.
/// @param x    [0..n-1].
/// @param h    shape, > 0.
/// @param l    rate, > 0.
/// @param out  [0..n-1] out; may be x.
/// @return 1, always.
/// Unchecked: h and l.
ORIDAN_API int gammapdf(int n, double* x, double h, double l, double* out);

/// A fixed two-gamma response, 1 at 4000 ms.
/// Precision: absolute error below 1e-12.
/// @param t  time in milliseconds. Beyond about 1e25 the result is not a number.
/// @return the weight; 0 for t < 0.
ORIDAN_API double hemoweight(double t);

/// A boxcar around 0.
/// @param t      position.
/// @param width  half the width of the box.
/// @return 1 where |t| < width, else 0.
ORIDAN_API double deltaweight(double t, double width);

/// Not used by any routine of this library.
///@{
extern ORIDAN_API float** DesignMatrix; ///< null
extern ORIDAN_API int NPRAED_STAT;      ///< 0
extern ORIDAN_API int NPT_STAT;         ///< 0
///@}
