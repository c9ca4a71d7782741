#pragma once

#include "export.h"

/// @file
/// Two-sample tests: Student's and Welch's t, the Kolmogorov-Smirnov distance and its significance.
/// Index base: 1, all arrays. Counts are not checked and enter the arithmetic as float. The routines with a `prob` slot
/// do not compute it and leave it exactly as it was; t_to_p and probks turn a statistic into a probability.
/// State: none.

/// Student's t of the difference of two means, pooled variance.
/// Precision: float, the denominator and the quotient in double; error below 2e-6 times the larger of 1
/// and |t| for samples of up to 100 values whose means are not much larger than their spread. The degrees of freedom
/// are n1 + n2 - 2.
/// @param data1, data2  [1..n1], [1..n2] the samples.
/// @param n1, n2        counts. One value in a sample gives it NaN as variance, and so a t of NaN.
/// @param t             out; exactly 0 where the pooled variance is exactly 0, whatever the means.
/// @param prob          not written.
/// *Method*: Student (1908).
ORIDAN_API void ttest(float* data1, unsigned long n1, float* data2, unsigned long n2, float* t, float* prob);

/// Welch's t of the difference of two means, variances not assumed equal. Degrees of freedom are not computed.
/// Precision: float, the root and the quotient in double; error as for ttest.
/// @param data1, data2  [1..n1], [1..n2] the samples.
/// @param n1, n2        counts. One value in a sample gives it NaN as variance, and so a t of NaN.
/// @param t             out; exactly 0 where both variances are exactly 0, whatever the means.
/// @param prob          not written.
/// *Method*: Welch (1947).
ORIDAN_API void tutest(float* data1, unsigned long n1, float* data2, unsigned long n2, float* t, float* prob);

/// Two-sample Kolmogorov-Smirnov distance: the largest difference of the two empirical distribution functions.
/// Equal values are passed in pairs, one of each sample, so where the samples share a value that one of them holds more
/// often, d can come out above the true distance.
/// For its significance pass sqrt(n1 * n2 / (n1 + n2)) * d to probks.
/// Precision: float; absolute error below 1.2e-7.
/// @param data1, data2  [1..n1], [1..n2] in-out: both are sorted ascending. NaN among them is passed in both samples at
///                      once without being counted, so that d is what was found beside it.
/// @param n1, n2        counts, below 2^31; an empty sample gives d = 0.
/// @param d             out, 0..1.
/// @param prob          not written.
/// *Fatal*: "allocation failure in ivector()".
/// *Method*: Smirnov (1939).
ORIDAN_API void kstwo(float* data1, unsigned long n1, float* data2, unsigned long n2, float* d, float* prob);

/// Kolmogorov-Smirnov significance Q(alam) = 2 sum over j of (-1)^(j-1) exp(-2 j^2 alam^2).
/// Precision: float sums, exponentials in double. Up to alam = 1 the absolute error is below 1e-6 (and the result may
/// be above 1 by as much), beyond it the relative error is below 5e-6, as long as the result is above 1e-37.
/// @param alam  statistic; its sign does not matter. Where 100 terms do not settle the series (near 0, and NaN) the
///              result is 1.
/// @return the probability of a larger statistic.
/// *Method*: Kolmogorov (1933).
ORIDAN_API float probks(float alam);
