#pragma once

#include "export.h"

/// @file
/// Homogeneous transforms of 3-D space: fixed 4 x 4 arrays of rows that act on column vectors (x, y, z, w) from the
/// left, r = m v. Column 3 holds the translation; row 3 of an affine transform is (0, 0, 0, 1).
///
/// Index base: 0.   Precision: float; sums of products run from left to right.
/// The caller owns every array. Unchecked: all arguments; no routine reports anything.

/// Makes the identity.
/// @param m  out.
ORIDAN_API void makeIdentityMatrix(float m[4][4]);

/// Makes a scaling: the diagonal is (sx, sy, sz, 1), every other element 0.
/// @param m           out.
/// @param sx, sy, sz  factors along the axes.
ORIDAN_API void makeScaleMatrix(float m[4][4], float sx, float sy, float sz);

/// dst = src.
/// @param src  in.
/// @param dst  out.
ORIDAN_API void copyMatrix(float src[4][4], float dst[4][4]);

/// at = a^T.
/// @param a   in.
/// @param at  out; must not be a.
ORIDAN_API void transposeMatrix(float a[4][4], float at[4][4]);

/// c = a b, written element by element, row after row.
/// @param a, b  in.
/// @param c     out; must be neither a nor b, whose elements would be overwritten before they are used.
ORIDAN_API void multiplyMatrixMatrix(float a[4][4], float b[4][4], float c[4][4]);

/// r = m v.
/// @param m  in.
/// @param v  in.
/// @param r  out; must not be v.
ORIDAN_API void multiplyMatrixVector(float m[4][4], float v[4], float r[4]);

/// Inverse of any transform, through the singular value decomposition (the invertMatrix of inverse.h): of a singular
/// one the pseudo-inverse, where its zero singular values come out as exactly 0.
/// @param a     in, unchanged.
/// @param ainv  out; may be a. All zeros where the decomposition did not converge.
/// Errors: an exhausted heap surfaces as new[] reports it (std::bad_alloc).
ORIDAN_API void invertMatrix(float a[4][4], float ainv[4][4]);

/// Inverse of an affine transform. Of a singular 3 x 3 part the pseudo-inverse is taken: singular values below a
/// millionth of the largest count as 0.
/// @param m     in; its row 3 is not looked at.
/// @param minv  out; may be m. Row 3 is (0, 0, 0, 1).
/// Fatal: "allocation failure 1 in matrix()", "allocation failure 2 in matrix()" and "allocation failure in vector()".
/// State: uses svdcmp's internal flag, so one thread at a time.
ORIDAN_API void invertH4x4Matrix(float m[4][4], float minv[4][4]);

/// Inverse of a rotation followed by a translation. The transpose is taken for the inverse of the 3 x 3 part, so that
/// this must be orthonormal.
/// @param m     in; row 3 must be (0, 0, 0, 1): it ends up, transposed, in the result.
/// @param minv  out; may be m.
ORIDAN_API void invertRotationTranslationMatrix(float m[4][4], float minv[4][4]);
