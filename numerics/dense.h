#pragma once

#include "export.h"

/// @file
/// Dense single-precision products, transposes and copies.
///
/// Index base: 0 in every routine (copy_matrix alone lets the caller choose). m x n means m rows, n columns.
/// Precision: float throughout, sums included; every sum starts at 0 and runs with its inner index
/// ascending, so results are the same bits everywhere, but which NaN stands for a NaN is left open.
/// Matrices are row-pointer arrays that the caller allocated in the right shape. Outputs must not overlap
/// inputs unless a routine says that it works in place.
/// Unchecked: all arguments. A count of 0 or less writes nothing. State: none.

/// c = a b.
/// @param a        [0..m-1][0..n-1]
/// @param b        [0..n-1][0..p-1]
/// @param c        [0..m-1][0..p-1] out
/// @param m, n, p  counts
ORIDAN_API void matrix_matrix_mult(float** a, float** b, float** c, int m, int n, int p);

/// Only the diagonal blocks of a b, one below the other: with off = q*bs for block q,
/// c[off+i][j] = sum over k of a[off+i][k] b[k][off+j].
/// @param a        [0..nblocks*bs-1][0..n-1]
/// @param b        [0..n-1][0..nblocks*bs-1]
/// @param c        [0..nblocks*bs-1][0..bs-1] out
/// @param nblocks  blocks
/// @param n        inner count
/// @param bs       rows and columns of a block
ORIDAN_API void matrix_matrix_mult_block(float** a, float** b, float** c, int nblocks, int n, int bs);

/// c = a a^T, exactly symmetric: the lower triangle is computed, the upper one copied from it.
/// @param a     [0..n-1][0..m-1]
/// @param c     [0..n-1][0..n-1] out
/// @param n, m  rows and columns of a
ORIDAN_API void transposematrix_matrix_mult(float** a, float** c, int n, int m);

/// c = a a^T with the argument list of a general product with transpose flags, for which it can stand in.
/// @param a     [0..m-1][0..p-1]
/// @param c     [0..m-1][0..m-1] out
/// @param m, p  rows and columns of a
/// @param b, n, transposeA, transposeB  not used
ORIDAN_API void fast_matrix_matrix_mult(float** a, float** b, float** c, int m, int n, int p, bool transposeA,
                                        bool transposeB);

/// y = a x. fast_matrix_vector_mult is the same computation under a second name.
/// @param a     [0..m-1][0..n-1]
/// @param x     [0..n-1]
/// @param y     [0..m-1] out
/// @param m, n  counts
///@{
ORIDAN_API void matrix_vector_mult(float** a, float* x, float* y, int m, int n);
ORIDAN_API void fast_matrix_vector_mult(float** a, float* x, float* y, int m, int n);
///@}

/// Inner product.
/// @param x, y  [0..n-1]
/// @param n     count
/// @return the sum of x[k] * y[k]; 0 for n <= 0.
ORIDAN_API float vector_vector_mult(float* x, float* y, int n);

/// at = a^T.
/// @param a     [0..m-1][0..n-1]
/// @param at    [0..n-1][0..m-1] out
/// @param m, n  rows and columns of a
ORIDAN_API void matrix_transpose(float** a, float** at, int m, int n);

/// a = diag(d) a, in place: row i is multiplied by d[i].
/// @param d     [0..m-1]
/// @param a     [0..m-1][0..n-1] in-out
/// @param m, n  rows and columns of a
ORIDAN_API void diagmatrix_matrix_mult(float* d, float** a, int m, int n);

/// Copies a rows x cols matrix between index bases.
/// @param src         the matrix, unchanged
/// @param dst         out, its copy
/// @param rows, cols  counts
/// @param mode        source base, destination base: 0 is 0, 0; 1 is 1, 1; 2 is 0, 1; 3 is 1, 0.
///                    Any other mode copies nothing, without an error.
ORIDAN_API void copy_matrix(float** src, float** dst, int rows, int cols, int mode);
