#pragma once

#include "export.h"

/// @file
/// Moments of a sample. Index base: 1. Precision: float. State: none.

/// Mean and unbiased variance. Index base: 1.   Precision: float, sums in index order.
/// @param data [1..n]; element 0 is never touched.
/// @param n    count, not checked: n = 1 gives NaN as variance, n = 0 NaN for both.
/// @param ave  out, mean.
/// @param var  out, variance (divisor n - 1).
/// Method: corrected two-pass algorithm, Chan, Golub and LeVeque (1983).
ORIDAN_API void avevar(float* data, unsigned long n, float* ave, float* var);
