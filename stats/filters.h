#pragma once

#include "export.h"

/// @file
/// Simple filters of time series: averaging with decimation, a causal moving average, removal of serial correlation.
/// Index bases and precision differ and stand at each routine. State: none.

/// Replaces every d samples by one average: out[k] is the mean of in[kd - d + 1 .. kd]. Index base: 0.
/// Samples before the start are mirrored about sample 0, which is not repeated: in[-i] is in[i]. (Where that passes the
/// last sample, the last is taken.) Precision: float, sums in ascending order.
/// @param in   [0..n-1].
/// @param out  [0..ceil(n/d)-1] out; may not overlap in, except that d = 1 copies.
/// @param n    number of samples; 0 or less writes nothing.
/// @param d    samples per average; less than 1 writes nothing.
ORIDAN_API void filter_n_decimate(float* in, float* out, int n, int d);

/// Causal moving average of w samples, in place. Index base: 0. Precision: double; from sample w on each term is
/// divided by w before it is added, newest first.
/// The first w samples are a warm-up: sample 0 stays, and sample i becomes (x[i] + ... + x[1]) / (i + 1). The sum
/// leaves out x[0] while the divisor counts it, so that the warm-up starts low: kept.
/// @param x  [0..n-1] in-out.
/// @param n  number of samples; 0 or less changes nothing.
/// @param w  width; counts as 1 below 1 and as n above n.
///
/// *Fatal*: "allocation failure in dvector()".
ORIDAN_API void lpfilt(double* x, int n, int w);

/// Takes out of every sample what a linear prediction finds, in place. For each t, the p samples up to t + 1 (newest
/// first) are predicted through the pseudo-inverse of the p x p matrix of the samples t, t - 1, ..., from zeros before
/// sample 1. Windows overlap: a sample keeps its residual from the last window that covered it.
/// Index base: 1. Precision: float, as in the matrix routines used (numerics/dense.h, numerics/inverse.h).
/// A window whose whole matrix is zero has no inverse: its residuals are NaN, and stay so in samples that no later
/// window covers. With p = 1 this is always so for sample 1.
/// @param data     [1..n] in-out.
/// @param ignored  not used.
/// @param n        number of samples; 0 or less changes nothing.
/// @param p        order, number of samples in a window; less than 1 changes nothing. The time is that of n
///                 pseudo-inverses of order p.
///
/// *Fatal*: "allocation failure 1 in matrix()", "allocation failure 2 in matrix()", "allocation failure in vector()".
/// One thread at a time, for getInverseMatrixUsingSVD. *Method*: linear prediction, Yule (1927).
ORIDAN_API void remacf(float* data, int ignored, int n, int p);
