#pragma once

#include "export.h"

/// @file
/// The weighted straight line, and basis functions for the general linear fit svdfit (numerics/svd.h): powers, Legendre
/// polynomials and their products over an image or a volume; a sum of Gaussians with its derivatives.
/// Index base: 1, all arrays. Precision: float, with the steps in double that stand at a routine.
/// State: none but the three grid settings, which the caller may set.

/// The grid of fleg3D: g_dim columns and rows, g_dim_z slices; less than 2 counts as 2. 128 each at load.
///@{
ORIDAN_API extern int g_dim;
ORIDAN_API extern int g_dim_z;
///@}

/// Highest degree of the Legendre polynomials of fleg2D and fleg3D along each axis, 2 at load. They evaluate
/// g_nbsfns_dim + 1 polynomials per axis; a negative degree gives no basis functions.
ORIDAN_API extern int g_nbsfns_dim;

/// Least-squares line y = a + b x. The root and the last sums and quotients of siga and sigb are double.
/// @param x, y        [1..ndata] points.
/// @param ndata       number of points, at least 3: with 2, without weights, siga and sigb are NaN.
/// @param sig         [1..ndata] standard deviations; read only with weights. A zero gives an infinite weight, NaN as
///                    parameters and, for its NaN chi2, the fatal error of gammq.
/// @param mwt         not 0: use sig. 0: all points alike; siga and sigb are then scaled by the scatter about the line.
/// @param a, b        out, intercept and slope.
/// @param siga, sigb  out, their standard deviations.
/// @param chi2        out, sum of the squared residuals, with weights each divided by its standard deviation.
/// @param q           out, probability of a chi2 this large by chance; 1 without weights.
///
/// *Fatal*, with weights only, from gammq: "Invalid arguments in routine gammq" with fewer than 3 points,
/// "a too large, ITMAX too small in gcf" where chi2 is NaN.
/// *Method*: weighted least squares, Gauss (1809); goodness of fit, Pearson (1900).
ORIDAN_API void fit(float* x, float* y, int ndata, float* sig, int mwt, float* a, float* b, float* siga, float* sigb,
                    float* chi2, float* q);

/// A sum of Gaussians, sum of A exp(-((x - C) / W)^2), and its derivatives by all parameters.
/// The factor 2 A exp() (x - C) / W of the derivatives is formed in double and stored as float.
/// @param x     abscissa.
/// @param a     [1..na] parameters in triples: amplitude A, centre C, width W (a zero W gives non-finite values).
/// @param y     out, the one value at x; 0 without a triple.
/// @param dyda  [1..na] out, derivatives in the same order.
/// @param na    number of parameters, a multiple of 3. What is left over after the last whole triple is neither read
///              nor written.
ORIDAN_API void fgauss(float x, float* a, float* y, float* dyda, int na);

/// Powers 1, x, x^2, ...
/// @param x   abscissa.
/// @param p   [1..np] out.
/// @param np  number of powers; 0 or less writes nothing.
ORIDAN_API void fpoly(float x, float* p, int np);

/// Legendre polynomials P_0(x), P_1(x), ...
/// @param x   abscissa, in -1..1 for a stable recurrence.
/// @param pl  [1..max(nl, 2)] out. The first two are ALWAYS written, also where nl is less than 2.
/// @param nl  number of polynomials.
///
/// Error for x in -1..1: at most 7e-7 up to degree 5, 2e-5 up to degree 20.
/// *Method*: Bonnet's recurrence.
ORIDAN_API void fleg(float x, float* pl, int nl);

/// Products of Legendre polynomials over an image of 256 x 256 voxels, whatever g_dim is. With m = g_nbsfns_dim + 1:
/// P_i(column) P_j(row) for all i + j <= m - 1, m(m + 1)/2 functions (6 at load), ordered by i and then j.
/// Column and row are mapped from 0..255 to [-1, 1) by (c - 128) / 128.
/// @param x      voxel number from 1, truncated; rows are contiguous. Unlike fleg3D numbers below 1 continue the image
///               upwards.
/// @param afunc  [1..m(m+1)/2] out.
/// @param ma     not used: the number of functions follows from g_nbsfns_dim alone.
///
/// *Fatal*: "allocation failure in vector()".
ORIDAN_API void fleg2D(float x, float* afunc, int ma);

/// Products of Legendre polynomials over a volume of g_dim x g_dim x g_dim_z voxels. With m = g_nbsfns_dim + 1:
/// P_i(column) P_j(row) P_l(slice) for all i + j + l <= m - 2 (one degree less than fleg2D: kept),
/// m(m + 1)(m - 1)/6 functions (4 at load: 1, slice, row, column), ordered by i, j, l.
/// A coordinate c in 0..d-1 is mapped to (c - d/2) / (d/2), with d/2 as integer quotient.
/// @param x      voxel number from 1, truncated; columns vary fastest, slices slowest. Voxels beyond 2^24 have no exact
///               float number: a volume of 128 x 128 x 128 is well inside.
/// @param afunc  [1..m(m+1)(m-1)/6] out.
/// @param ma     not used: the number of functions follows from g_nbsfns_dim alone.
///
/// *Fatal*: "allocation failure in vector()".
ORIDAN_API void fleg3D(float x, float* afunc, int ma);
