#pragma once

#include "export.h"

/// @file
/// Conversions between test statistics and probabilities. Each is a closed formula over betai, gammq, _erfc or their
/// inverses. What a conversion cannot use, it answers with a fixed number at once, and the guards differ: look at each.
/// A NaN probability passes them. Degrees of freedom given as unsigned long enter as float. State: none.
///
/// Precision: the probabilities of t, F and r are float, and their argument of the incomplete beta function is rounded
/// to float. So, with N the largest of the degrees of freedom, up to a million: where the probability is 0.5 or less
/// its relative error is below 2e-7 + 1e-7 N (as long as it is above 1e-30), elsewhere its absolute error is below 2e-4
/// sqrt(N). Beyond a million degrees of freedom the result tends to 1 whatever the statistic.

/// Two-sided probability of Student's t.
/// Precision: float. For the error see the head of this file.
/// @param t   statistic; its sign does not matter.
/// @param df  degrees of freedom; 0 and 1 give 1 for every t.
/// @return 0..1, or NaN for a NaN statistic that df does not decide.
ORIDAN_API float t_to_p(float t, unsigned long df);

/// Upper-tail probability of Fisher's F.
/// Precision: float. For the error see the head of this file.
/// @param F         statistic; 0 or less gives 1.
/// @param df1, df2  degrees of freedom of numerator and denominator; df2 = 0 gives 1.
/// @return 0..1, or NaN for a NaN statistic that df2 does not decide.
/// *Fatal*: "Bad a or b in routine betai" for df1 = 0 (where F and df2 do not decide).
ORIDAN_API float F_to_p(float F, unsigned long df1, unsigned long df2);

/// Two-sided probability of a correlation coefficient.
/// Precision: double, the arguments of betai float. For the error (|r| up to 1 - 1e-10) see the head of this file.
/// @param r   coefficient. 0 gives 1, and exactly 1 gives 0; -1 goes through the formula and gives nearly 0. Beyond -1
///            and 1 the result is NaN.
/// @param df  degrees of freedom (pairs - 2); 0 gives 1.
/// @return 0..1 or NaN.
ORIDAN_API float r_to_p(double r, unsigned long df);

/// Upper-tail probability of chi-square.
/// Precision: float. Absolute error below 1e-6 + 5e-8 df, relative below 1e-6 + 2e-7 df (where the probability is above
/// 1e-30).
/// @param chi2  statistic, 0 or more.
/// @param df    degrees of freedom; 0 gives 1.
/// @return 0..1.
/// *Fatal*: "Invalid arguments in routine gammq" for chi2 < 0; "a too large, ITMAX too small in routine gser" (or gcf)
/// for df above 770 with chi2 near df.
ORIDAN_API float X2_to_p(float chi2, unsigned long df);

/// Two-sided probability of a standard normal deviate.
/// Precision: double; relative error below 1e-12 up to |z| = 37, where the result leaves the normal numbers.
/// @param z  deviate; its sign does not matter.
/// @return 0..1.
ORIDAN_API double z_to_p(double z);

/// The z >= 0 whose two-sided probability is p.
/// Precision: double; relative error below 2e-12 for p up to 0.9999, absolute error below 1e-15 above that.
/// @param p  probability; at or beyond 0 and 1 the result is 0.
/// @return z.
ORIDAN_API double p_to_z(double p);

/// The t >= 0 whose two-sided probability is p.
/// Precision: double, refined against the float betai. For df from 1 to a million and p from 1e-12 on: relative error
/// below 2e-7 + 5e-8 df where p <= 0.5, absolute error below 3e-4 sqrt(df) above that.
/// @param p   probability; at or beyond 0 and 1 the result is 0.
/// @param df  degrees of freedom, above 0.
/// @return t.
/// *Fatal*: "Bad a or b in routine betai" for df of 0 or less.
ORIDAN_API double p_to_t(double p, double df);

/// The F whose upper-tail probability is p.
/// Precision: double, refined against the float betai at 1 - p, so that small p lose accuracy. For degrees of freedom
/// from 1 to 1000 the relative error is below 0.01 for p >= 0.05 and 0.2 for p >= 0.01; with df2 >= 2 it is below 0.01
/// for p >= 0.001 and 0.2 for p >= 0.0001. Below that the result may be off by any factor, infinity included.
/// @param p         probability; at or beyond 0 and 1 the result is 1.
/// @param df1, df2  degrees of freedom of numerator and denominator, above 0.
/// @return F.
/// *Fatal*: "Bad a or b in routine betai" for degrees of freedom of 0 or less.
ORIDAN_API double p_to_F(double p, double df1, double df2);

/// The r > 0 whose r_to_p is p, by a search in exactly 25 steps that halves its stride wherever it turns back.
/// Precision: float; absolute error below 2e-4 where the true r is 0.9999 or less. Closer to 1 (and for p = 0 or less)
/// the search may leave through 1 and return more than 1; it is not held back.
/// @param p   probability. Above 1 no r is weak enough, and the search falls past 0: the result is negative.
/// @param df  degrees of freedom (pairs - 2).
/// @return r.
ORIDAN_API float p_to_r(float p, unsigned long df);
