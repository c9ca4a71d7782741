#pragma once

#include "export.h"

/// @file
/// The regularised incomplete beta function I_x(a, b), its continued fraction and its inverse. None keeps state.
/// Errors are largest ones measured against tables of higher precision.

/// I_x(a, b), by the fraction below the switch point x = (a + 1) / (a + b + 2), as 1 - I_{1-x}(b, a) from there.
/// Precision: float in and out, double inside; but a + b is rounded to float, and so are the factor before the fraction
/// and the steps after it. Errors, relative below the switch point, absolute from there:
///
/// | orders a and b                 | relative | absolute |
/// |--------------------------------|----------|----------|
/// | to 10000, a + b exact in float | 3.7e-7   | 9.2e-8   |
/// | to 10, a + b rounded           | 6.7e-7   | 4.1e-7   |
/// | to 125, a + b rounded          | 2.4e-5   | 1.6e-5   |
/// | to 100000, a + b exact         | 2.3e-4   | 1.2e-4   |
/// | to 1000000, a + b exact        | 0.12     | 0.060    |
///
/// The last two because the fraction does not converge, see betacf. Relative errors hold for results from 1.2e-38 on;
/// below they lose precision gradually and end as 0.
/// @param a, b  orders, > 0.
/// @param x     argument. Outside [0, 1] the result is 0 on both sides, without an error, on purpose: callers rely on
///              getting a number back.
/// @return I_x(a, b); NaN for a NaN.
/// *Fatal*: "Bad a or b in routine betai" for a <= 0 or b <= 0, whatever x is.
ORIDAN_API float betai(float a, float b, float x);

/// The continued fraction of I_x(a, b): I = x^a (1 - x)^b / (a B(a, b)) times its value. At most 100 steps, until one
/// changes the value by less than 3e-7.
/// Precision: double, rounded to float at the end; relative error at most 4.7e-7 for a and b up to 30000. Beyond (first
/// seen at a = b = 30600, near the switch point) 100 steps may not do, and the value then reached comes back silently:
/// off by 2.3e-4 at a = b = 100000, by 0.12 at 1000000.
/// @param a, b  orders, > 0, not checked.
/// @param x     below (a + 1) / (a + b + 2), where the fraction converges fast; not checked.
/// @return the fraction's value.
/// *Method*: Lentz (1976), modified by Thompson and Barnett (1986).
ORIDAN_API float betacf(double a, double b, double x);

/// The x with I_x(a, b) = p: a guess, then at most ten Halley steps, until one after the first is below 1e-8 x.
/// Precision: double, but refined on the float betai. Errors for p from 1e-6 and orders up to 1000:
///
/// | orders from | p to    | absolute | relative |
/// |-------------|---------|----------|----------|
/// | 1           | 0.5     |          | 1.4e-7   |
/// | 1           | 0.999   |          | 3.5e-6   |
/// | 0.5         | 0.975   | 3.0e-7   |          |
/// | 0.5         | 0.999   | 1.3e-6   |          |
/// | 0.1         | 0.999   | 4.2e-6   |          |
/// | 0.1         | 0.99999 | 1.1e-4   |          |
///
/// Three places where it fails silently: with both orders from 1 on and p of 1e-10 or less, ten steps may end far from
/// x (0.02 for 0.63 at p = 1e-20, a = 100, b = 1) or in NaN; an x below 1e-38 is wrong by orders of magnitude, because
/// betai gives 0 there; and towards p = 1 the steps of betai, 6e-8, are all that is seen of p.
/// @param p     probability; 0 or less gives 0, 1 or more gives 1.
/// @param a, b  orders, > 0.
/// @return x in [0, 1], or NaN.
/// *Fatal*: orders of 0 or less as betai reports them, "Bad a or b in routine betai".
ORIDAN_API double invbetai(double p, double a, double b);
