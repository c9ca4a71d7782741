#pragma once

#include "export.h"

/// @file
/// Eigen-decomposition of real symmetric matrices. Index base: 1. Precision: float. State: none.

/// Eigenvalues and eigenvectors of a real symmetric matrix by cyclic Jacobi rotations.
/// Index base: 1, all arrays.
/// Precision: float, with the quotients and roots of a rotation's angle in double (named in eigen.cpp).
/// @param a     [1..n][1..n] in-out. Only the upper triangle is read, and destroyed; the diagonal and the
///              elements below it are never written.
/// @param n     order.
/// @param d     [1..n] out. Eigenvalues, unsorted (eigsrt sorts).
/// @param v     [1..n][1..n] out. Column k, v[1..n][k], is the unit eigenvector of d[k].
/// @param nrot  out. Rotations performed.
/// @return 1 when the sum of the off-diagonal magnitudes reached exactly 0; 0 after 50 sweeps, silently,
///         with d and v as the last sweep left them.
/// Fatal: "allocation failure in vector()", from two work vectors; more memory is used only where there is some.
/// Unchecked: symmetry.
/// Method: Jacobi (1846), cyclic by rows, with the threshold strategy of Rutishauser (1966).
ORIDAN_API int jacobi(float** a, int n, float* d, float** v, int* nrot);

/// Sorts eigenvalues into descending order and moves the eigenvector columns with them.
/// Not stable: among equal values the last is moved forward, and its column with it (d = (5, 5) swaps
/// the two columns).
/// Index base: 1.
/// @param d  [1..n] in-out
/// @param v  [1..n][1..n] in-out
/// @param n  order
/// Method: selection sort.
ORIDAN_API void eigsrt(float* d, float** v, int n);
