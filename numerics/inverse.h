#pragma once

#include "export.h"

/// @file
/// Inverses, regularised inverses, square root and whitening, on the SVD and the eigen-decomposition.
///
/// Index base: 0. Matrices are n x n, [0..n-1][0..n-1], unless a routine says otherwise.
/// Precision: float, with the steps that inverse.cpp names in double.
/// Singular input never fails; where singular values are left out stands at each routine. None reports an error; the
/// boolean results are always true except that of invertMatrix.
/// Fatal: allocation failures end the process through nrerror, except those of invertMatrix.
/// State: uses svdcmp's internal flag, so one thread at a time.

/// Pseudo-inverse: singular values below 1e-6 of the largest count as zero (one exactly at that limit is
/// inverted; of the zero matrix all are, which gives non-finite values).
/// If svdcmp did not converge, the magnitudes of the singular values are used.
/// @param a     in, unchanged.
/// @param ainv  out.
/// @param n     order.
/// @param flag  not used.
/// @return true, always.
/// Method: Moore (1920), Penrose (1955), through the SVD.
ORIDAN_API bool getInverseMatrixUsingSVD(float** a, float** ainv, int n, bool flag);

/// Truncated-SVD inverse: singular values at or below 10^exponent of the largest count as zero.
/// Takes the singular values as svdcmp returns them, converged or not.
/// @param a         in, unchanged
/// @param ainv      out
/// @param n         order
/// @param exponent  usually negative, e.g. -3
/// @return true, always.
ORIDAN_API bool getRegInverseMatrixUsingTSVD(float** a, float** ainv, int n, int exponent);

/// b = V diag(f(w)) U^T with singular values at or below 10^exponent of the largest left out;
/// f inverts (invert non-zero), then takes the square root (takeRoot non-zero).
/// For a symmetric positive matrix 1, 1 gives the inverse square root; 0, 1 the square root; 0, 0 the
/// truncated matrix itself.
/// @param a         in, unchanged
/// @param b         out
/// @param n         order
/// @param invert    non-zero: invert the singular values that are kept
/// @param takeRoot  non-zero: then take their square root
/// @param exponent  usually negative, e.g. -3
/// @return true, always.
ORIDAN_API bool getRegTransformedMatrixUsingTSVD(float** a, float** b, int n, int invert, int takeRoot, int exponent);

/// Inverse without a threshold: only singular values of exactly 0 are left out.
/// @param a     in-out, destroyed (replaced by U).
/// @param ainv  out; untouched when the result is false.
/// @param n     order.
/// @return true when svdcmp_tarn converged.
/// Errors: an exhausted heap surfaces as new[] reports it (std::bad_alloc); nothing is held then.
ORIDAN_API bool invertMatrix(float** a, float** ainv, int n);

/// Replaces a by its principal square root. At most 10000 passes, silent if that ends it.
/// @param a  in-out.
/// @param n  order.
/// Method: Denman and Beavers (1976), product form (Cheng, Higham, Kenney and Laub 2001).
ORIDAN_API void getSQRTMatrix(float** a, int n);

/// a = (a + lambda I)^-1, in place.
/// @param a       in-out, dense row-major, element (i, j) at i*n + j; computed in float.
/// @param n       order.
/// @param lambda  added to the diagonal first.
/// @param unused  not used.
ORIDAN_API void SVDregInverse(double* a, int n, float lambda, float unused);

/// Inverse of the complex matrix re + i im, in place, through the real 2n x 2n matrix [[re, -im], [im, re]].
/// @param re, im            in-out, dense row-major n x n; computed in float.
/// @param n                 order.
/// @param unused1, unused2  not used: nothing is regularised.
ORIDAN_API void CSVDregInverse(double* re, double* im, int n, float unused1, float unused2);

/// PCA whitening with reduction of dimension. Writes the covariance matrix (divisor nobs) to the text file
/// "Covariance.txt" in the current directory.
/// @param x         [0..nobs-1][0..nvar-1] observations by variables, unchanged.
/// @param nobs      observations.
/// @param nvar      variables.
/// @param fraction  eigenvalues above fraction times the largest are kept, and one more.
/// @param w         out, whitening matrix, rows 0..ncomp-1, columns 0..nvar-1; allow nvar rows.
/// @param dw        out, dewhitening matrix, rows 0..nvar-1, columns 0..ncomp-1; allow nvar columns.
/// @param ncomp     out, components kept, at most nvar.
/// Method: principal component analysis, Hotelling (1933).
ORIDAN_API void whitening(float** x, int nobs, int nvar, float fraction, float** w, float** dw, int* ncomp);
