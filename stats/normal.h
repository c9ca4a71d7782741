#pragma once

#include "export.h"

/// @file
/// The normal distribution with mean mu and standard deviation sig. None keeps state. Errors are largest ones measured
/// against tables of higher precision, for results of 2.2e-308 and more; z is (x - mu) / sig.

/// Density at x.
/// Precision: double, but z is rounded to float and squared in float. Relative error at most 2.3e-8 for |z| up to 1,
/// 3.6e-7 up to 5, 3.9e-6 up to 10, 7.2e-5 beyond.
/// @param x    where.   @param mu  mean.   @param sig  standard deviation, > 0.
/// @return the density, per unit of x.
/// *Fatal*: "bad sigma in function: normaldist_p" for sig <= 0.
ORIDAN_API double normaldist_p(double x, double mu, double sig);

/// Probability of a value up to x.
/// Precision: double; relative error at most 4.3e-16 for z from -1, 1.3e-14 from -8, 2.8e-13 below.
/// @param x    where.   @param mu  mean.
/// @param sig  standard deviation, not checked: 0 gives 0, 1 or (at x = mu) NaN, a negative one mirrors.
/// @return the probability, 0 to 1.
ORIDAN_API double normaldist_cdf(double x, double mu, double sig);

/// Quantile: the x whose cumulative probability is p.
/// Precision: double; error at most 1.9e-13 of max(sig, |x - mu|, |x|) for p from 2.3e-308 to 0.5, 9.5e-15
/// above; 3.9e-5 for subnormal p.
/// @param p    probability, between 0 and 1.   @param mu  mean.   @param sig  standard deviation, not checked.
/// @return the quantile; NaN for NaN.
/// *Fatal*: "bad p value in function: normaldist_invcdr" (spelt so) for p <= 0 or p >= 1.
ORIDAN_API double normaldist_invcdf(double p, double mu, double sig);
