#pragma once

/// @file
/// Sums along and across rows, many at a time. Not exported.
namespace numerics {

/// c[i][j] becomes the inner product of row i of a and row j of b: a float sum from 0, its index ascending, as
/// everywhere in this library. Sums do not depend on each other, so several are formed side by side.
/// @param a, b    [0..rowsA-1][0..length-1] and [0..rowsB-1][0..length-1]; may be the same
/// @param length  0 or less writes nothing
/// @param c       [0..rowsA-1][0..rowsB-1] out, other memory than a and b
void row_products(const float* const* a, int rowsA, const float* const* b, int rowsB, int length, float* const* c);

/// sums[i] becomes the sum of row i: a float sum from 0, its index ascending.
void row_sums(const float* const* a, int rows, int length, float* sums);

/// result[j] becomes the sum over k of weights[k] * rows[k][j]: a float sum from 0, k ascending.
/// @param count   rows; 0 or less gives zeros
/// @param result  [0..length-1] out, other memory than the rows
void combine_rows(const float* weights, const float* const* rows, int count, int length, float* result);

/// result[j] becomes given[j] minus weights[k] * rows[k][j] for k = 0, 1, ..., each product and each difference
/// rounded.
/// @param result  [0..length-1] out, other memory than given and the rows
void subtract_combination(const float* given, const float* weights, const float* const* rows, int count, int length,
                          float* result);

} // namespace numerics
