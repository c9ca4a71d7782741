#pragma once

#include "export.h"

/// @file
/// Singular value decomposition a = U diag(w) V^T and the solvers that use it.
///
/// Precision: float, sums ascending in float; square roots, and the shift's denominator and quotient, in double rounded
/// to float. Singular values are unsorted, and non-negative where they converged.
/// State: svdcmp keeps a no-convergence flag inside the library, so one thread at a time.
/// Fatal: "allocation failure in vector()" from work vectors.
/// Method: Golub and Kahan (1965), Golub and Reinsch (1970): Householder reduction to bidiagonal form,
/// then implicit-shift QR.

/// Decomposes a matrix. Index base: 1.
/// @param a     [1..m][1..n] in-out, replaced by U.
/// @param m, n  rows and columns.
/// @param w     [1..n] out, singular values.
/// @param v     [1..n][1..n] out, V itself (not its transpose): column j belongs to w[j].
/// A superdiagonal element or singular value below 1e-6 in magnitude counts as zero while splitting,
/// whatever the size of the matrix: very small matrices (scaled by 1e-7, say) stop early.
/// A singular value that has not converged at the 100th test gets one more QR step and is left as it then stands,
/// silently; getInverseMatrixUsingSVD looks at the library's internal flag for that.
ORIDAN_API void svdcmp(float** a, int m, int n, float* w, float** v);

/// The same decomposition for index base 0, with a splitting test relative to the norm of the matrix, a limit of 29 QR
/// steps and a result; the arguments come in another order, and the no-convergence flag is not touched.
/// @param m, n  rows and columns
/// @param a     [0..m-1][0..n-1] in-out, replaced by U
/// @param w     [0..n-1] out
/// @param v     [0..n-1][0..n-1] out
/// @return 1, or 0 when a singular value has not converged after 29 QR steps (a, w and v are then half
///         transformed).
/// Errors: an exhausted heap surfaces as new[] reports it (std::bad_alloc).
ORIDAN_API int svdcmp_tarn(int m, int n, float** a, float* w, float** v);

/// sqrt(a*a + b*b) without overflow or underflow on the way.
/// @param a, b  any
/// @return the root, float
ORIDAN_API float pythag(float a, float b);

/// Solves a x = b from a decomposition; components whose w[j] is exactly 0 are left out. Index base: 1.
/// @param u     [1..m][1..n]
/// @param w     [1..n]
/// @param v     [1..n][1..n]
/// @param m, n  equations and unknowns
/// @param b     [1..m], unchanged
/// @param x     [1..n] out
ORIDAN_API void svbksb(float** u, float* w, float** v, int m, int n, float* b, float* x);

/// Covariance matrix of parameters fitted by svdfit. Index base: 1.
/// @param v    [1..ma][1..ma], and
/// @param ma   parameters
/// @param w    [1..ma], both from the decomposition
/// @param cvm  [1..ma][1..ma] out
ORIDAN_API void svdvar(float** v, int ma, float* w, float** cvm);

/// Weighted linear least squares: fits y by the sum of a[j] * afunc[j](x). Index base: 1.
/// Singular values below 1e-5 of the largest are set to 0.
/// @param x, y, sig  [1..ndata] abscissae, values, standard deviations (a sig of 0 gives infinities)
/// @param ndata      points
/// @param a          [1..ma] out, coefficients
/// @param ma         coefficients, and basis functions
/// @param u, v, w    [1..ndata][1..ma], [1..ma][1..ma], [1..ma]: out, the decomposition
/// @param chisq      out, sum of squared weighted residuals
/// @param funcs      funcs(x, afunc, ma) fills afunc[1..ma] with the basis functions at x
ORIDAN_API void svdfit(float* x, float* y, float* sig, int ndata, float* a, int ma, float** u, float** v, float* w,
                       float* chisq, void (*funcs)(float, float*, int));
