#pragma once

#include "export.h"

/// @file
/// Pearson and Spearman correlation, and running correlation and straight-line fit. Index base: 1, all arrays.
/// Counts are not checked and enter the arithmetic as float. Slots for results that a routine does not compute are left
/// exactly as they were. State: none.

/// Pearson correlation.
/// Precision: float; absolute error below 2e-6 for up to 300 pairs whose means are not much larger than their spread.
/// @param x, y  [1..n] the pairs.
/// @param n     count.
/// @param r     out; 0 where the product of the two sums of squares is 0 (or rounds to it) or is NaN.
/// @param prob  not written.
/// @param z     not written.
/// *Method*: Pearson (1896).
ORIDAN_API void pearsn(float* x, float* y, unsigned long n, float* r, float* prob, float* z);

/// Pearson correlation with its two-sided probability, from Student's t with n - 2 degrees of freedom.
/// Precision: float sums; the quotient of r and the t in double. The error of r is that of pearsn; the probability's
/// stays below 1e-4 for up to 300 pairs, and grows as that of t_to_p. It is NaN where rounding has carried r beyond 1.
/// @param x, y  [1..n] the pairs.
/// @param n     count; with 2 or fewer r is 0, z is 0 and prob is 1.
/// @param r     out, as in pearsn.
/// @param prob  out.
/// @param z     written (with 0) only where n is 2 or less.
/// *Method*: Pearson (1896).
ORIDAN_API void pearsn_prob(float* x, float* y, unsigned long n, float* r, float* prob, float* z);

/// Takes one more pair into a running correlation. The sums of squares grow by the squared deviations from the means
/// that already include the pair: an approximation of what pearsn gives for all pairs, close but not equal to it.
/// Stored results depend on it.
/// Precision: float.
/// @param x, y           the pair.
/// @param n              in-out, pairs so far; 0 before the first, like the sums.
/// @param sx, sy         in-out, sums of x and y.
/// @param sxx, syy, sxy  in-out, sums of squared deviations and of their product.
/// @param r              out, the correlation up to this pair; 0 where sxx * syy is 0.
ORIDAN_API void pearsn_inc(float x, float y, float& n, float& sx, float& sy, float& sxx, float& syy, float& sxy,
                           float* r);

/// Takes one more pair into a running regression of y on x, with the sums of pearsn_inc and their approximation.
/// Precision: float.
/// @param x, y           the pair.
/// @param n              in-out, pairs so far; 0 before the first, like the sums.
/// @param sx, sy         in-out, sums of x and y.
/// @param sxx, syy, sxy  in-out, sums of squared deviations and of their product.
/// @param intercept      out, the line's value at x = 0.
/// @param slope          out; 0 where sxx is 0.
/// @param meanY          out, mean of y.
ORIDAN_API void regr_inc(float x, float y, float& n, float& sx, float& sy, float& sxx, float& syy, float& sxy,
                         float* intercept, float* slope, float* meanY);

/// Spearman rank correlation.
/// Precision: float; the sums of ranks are added in double one by one, and the statistics are formed in double, each
/// rounded to float. For up to 300 pairs the errors stay below 1e-5 (rs), 5e-6 (d, relative), 2e-4 (zd) and 1e-6
/// (probd).
/// @param data1, data2  [1..n] the pairs; not changed.
/// @param n             count, below 2^31.
/// @param d             out, sum of squared differences of the ranks.
/// @param zd            out, deviation of d from its expectation under independence, in standard deviations; negative
///                      where the ranks agree.
/// @param probd         out, two-sided probability of zd.
/// @param rs            out, the rank correlation.
/// @param probrs        written (with 0) only in the degenerate case below.
/// Where all of one sample are equal the statistics do not exist: rs and probrs are 0, d holds its sum, and zd and
/// probd keep what they had.
/// *Fatal*: "allocation failure in vector()", "allocation failure in ivector()".
/// *Method*: Spearman (1904).
ORIDAN_API void spear(float* data1, float* data2, unsigned long n, float* d, float* zd, float* probd, float* rs,
                      float* probrs);

/// Replaces sorted values by their ranks from 1; equal values get the middle of their ranks.
/// Precision: float, so ranks above 2^24 are rounded; the middle of ranks is formed in double.
/// @param n  count.
/// @param w  [1..n] in-out, ascending; on return the ranks.
/// @param s  out, the sum of t^3 - t over the groups of t equal values.
ORIDAN_API void crank(unsigned long n, float* w, float* s);
