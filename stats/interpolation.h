#pragma once

#include "export.h"

/// @file
/// Cubic splines and resampling with them. Index base: 0, all arrays.
/// There are two variants of each routine, which do not share their arithmetic: spline and splint compute in float
/// throughout; spline_rg and splint_rg have steps in double, named there: all operations of such a step are double
/// and its result is stored as float.
/// State: none.
/// *Method*: cubic spline by its second derivatives, Holladay (1957); tridiagonal elimination.

/// Second derivatives of a cubic spline, first variant. Not the interpolating spline of the textbooks: the ratio of the
/// elimination divides x[i] - x[i-1] by x[i+1] - x[i], not by x[i+1] - x[i-1]. On a uniform grid the second derivatives
/// are therefore other ones (a parabola's come out wrong), while the curve still passes through all points. Kept:
/// stored results depend on it. spline_rg has the textbook's ratio.
/// @param x         [0..n-1] strictly ascending abscissae (not checked).
/// @param y         [0..n-1] values.
/// @param n         number of points, at least 3. With 1 the second derivative is 0; below nothing is written.
/// @param yp1, ypn  first derivatives at x[0] and x[n-1]; above 9.9e29: natural end (second derivative 0).
/// @param y2        [0..n-1] out, second derivatives.
///
/// *Fatal*: "allocation failure in vector()".
ORIDAN_API void spline(float* x, float* y, int n, float yp1, float ypn, float* y2);

/// Second derivatives of the interpolating cubic spline, second variant: the textbook's formula.
/// In double: the pivot p, the new y2, the quotient 3/(x[i+1] - x[i]) at a clamped end and its product, the second step
/// of the right-hand side u, and the quotient that gives y2[n-1].
/// @param x         [0..n-1] strictly ascending abscissae (not checked).
/// @param y         [0..n-1] values.
/// @param n         number of points, at least 3. With 1 the second derivative is 0; below nothing is written.
/// @param yp1, ypn  first derivatives at x[0] and x[n-1]; above 9.9e29: natural end (second derivative 0).
/// @param y2        [0..n-1] out, second derivatives.
///
/// *Fatal*: "allocation failure in vector()".
ORIDAN_API void spline_rg(float* x, float* y, int n, float yp1, float ypn, float* y2);

/// Value of a spline. The interval is found by a linear scan from the end; outside the data the first or the last
/// interval is extended.
/// @param xa   [0..n-1] ascending abscissae.
/// @param ya   [0..n-1] values.
/// @param y2a  [0..n-1] second derivatives from spline.
/// @param n    number of points. With 1 the value is ya[0], below it is 0.
/// @param x    abscissa. NaN gives NaN.
/// @param y    out, the one value at x.
ORIDAN_API void splint(float* xa, float* ya, float* y2a, int n, float x, float* y);

/// Value of a spline on the grid whose abscissae are their own indices. The cubic term is formed in double, and added
/// in double.
/// @param xa   [0..n-1] abscissae, xa[k] = k: the interval comes from x itself, the formula reads xa.
/// @param ya   [0..n-1] values.
/// @param y2a  [0..n-1] second derivatives from spline_rg.
/// @param n    number of points.
/// @param x    abscissa, truncated toward zero to find its interval (so -0.5 extends the first). Where there is none
///             (x <= -1, x >= n - 1 or NaN) the value is 0.
/// @param y    out, the one value at x.
ORIDAN_API void splint_rg(float* xa, float* ya, float* y2a, int n, float x, float* y);

/// Resamples n points onto m by spline (natural ends) and splint. The last m/n outputs (an integer quotient) are not
/// interpolated: they hold the last value y[n-1], whatever their abscissae are.
/// @param x     [0..n-1] strictly ascending abscissae (not checked).
/// @param y     [0..n-1] values.
/// @param n     number of points; below 1 nothing is written.
/// @param xnew  [0..m-1] new abscissae; the last m/n are not read.
/// @param m     number of new points; 0 or less writes nothing.
/// @param ynew  [0..m-1] out.
///
/// *Fatal*: "allocation failure in vector()".
ORIDAN_API void interp(float* x, float* y, int n, float* xnew, int m, float* ynew);
