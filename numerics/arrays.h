#pragma once

#include "export.h"

/// @file
/// Index-ranged arrays: vectors, matrices and 3-tensors whose valid indices run over a range that the
/// caller chooses (mostly from 1, sometimes from 0), and the library's fatal-error routine.
///
/// A handle is the base address of its storage moved back by the lower bound, so v[nl] is the first
/// element and v[nh] the last, with no spare element on either side; only indexed access within the
/// range is valid. The elements of a matrix or tensor are one contiguous row-major block that starts at
/// &m[nrl][ncl], so they can be handed to code that walks a dense array.
///
/// Ownership: whoever allocates frees, with the matching free_ routine and the same lower bounds. The
/// upper bounds given to a free_ routine are ignored. Elements are uninitialised.
/// An empty range (nh = nl - 1) gives a valid handle of no elements; an inverted range counts as empty.
/// Fatal: an allocation that fails, or whose size overflows, ends the process through nrerror; no
/// allocator of this header returns null. State: none.
/// Method: the index-ranged arrays of Press, Teukolsky, Vetterling and Flannery (1992).

/// Ends the process with exit status 1 after writing three lines to standard error:
/// "Numerical Recipes run-time error...", the message, "...now exiting to system...".
/// @param message  NUL-terminated text.
[[noreturn]] ORIDAN_API void nrerror(const char* message);

/// Vectors [nl..nh].
/// @param nl, nh  lowest and highest index.
/// @return the handle of uninitialised elements; release it with the matching free_ routine.
/// Fatal: "allocation failure in vector()" (fvector names itself so), "... in ivector()",
/// "... in dvector()", "... in lvector()", "... in cvector()".
///@{
ORIDAN_API float* fvector(long nl, long nh);
ORIDAN_API int* ivector(long nl, long nh);
ORIDAN_API double* dvector(long nl, long nh);
ORIDAN_API unsigned long* lvector(long nl, long nh);
ORIDAN_API unsigned char* cvector(long nl, long nh);
///@}

/// Release what the matching routine above allocated.
/// @param v       handle.
/// @param nl, nh  the lower bound it was allocated with; nh is ignored.
///@{
ORIDAN_API void free_fvector(float* v, long nl, long nh);
ORIDAN_API void free_ivector(int* v, long nl, long nh);
ORIDAN_API void free_dvector(double* v, long nl, long nh);
ORIDAN_API void free_lvector(unsigned long* v, long nl, long nh);
ORIDAN_API void free_cvector(unsigned char* v, long nl, long nh);
///@}

/// Matrices [nrl..nrh][ncl..nch]: an array of row pointers and one dense block of elements.
/// @param nrl, nrh  lowest and highest row.
/// @param ncl, nch  lowest and highest column.
/// @return the handle of uninitialised elements; release it with the matching free_ routine.
/// Fatal: "allocation failure 1 in matrix()" (row pointers) and "allocation failure 2 in matrix()"
/// (elements) for all three: a message never tells them apart.
///@{
ORIDAN_API float** matrix(long nrl, long nrh, long ncl, long nch);
ORIDAN_API double** dmatrix(long nrl, long nrh, long ncl, long nch);
ORIDAN_API int** imatrix(long nrl, long nrh, long ncl, long nch);
///@}

/// Release elements, then row pointers.
/// @param m                   handle.
/// @param nrl, nrh, ncl, nch  the lower bounds it was allocated with; nrh and nch are ignored.
///@{
ORIDAN_API void free_matrix(float** m, long nrl, long nrh, long ncl, long nch);
ORIDAN_API void free_dmatrix(double** m, long nrl, long nrh, long ncl, long nch);
ORIDAN_API void free_imatrix(int** m, long nrl, long nrh, long ncl, long nch);
///@}

/// 3-tensors [nrl..nrh][ncl..nch][ndl..ndh]: two levels of pointers and one dense block of elements.
/// @param nrl, nrh  range of the first index.
/// @param ncl, nch  range of the second.
/// @param ndl, ndh  range of the third.
/// @return the handle of uninitialised elements; release it with the matching free_ routine.
/// Fatal: "allocation failure 1 in f3tensor()" (first level), 2 (second level), 3 (elements); the same
/// three with c3tensor().
///@{
ORIDAN_API float*** f3tensor(long nrl, long nrh, long ncl, long nch, long ndl, long ndh);
ORIDAN_API unsigned char*** c3tensor(long nrl, long nrh, long ncl, long nch, long ndl, long ndh);
///@}

/// Release elements, then both levels of pointers.
/// @param t                             handle.
/// @param nrl, nrh, ncl, nch, ndl, ndh  the lower bounds it was allocated with; the upper ones are ignored.
///@{
ORIDAN_API void free_f3tensor(float*** t, long nrl, long nrh, long ncl, long nch, long ndl, long ndh);
ORIDAN_API void free_c3tensor(unsigned char*** t, long nrl, long nrh, long ncl, long nch, long ndl, long ndh);
///@}

/// A view [nrl..nrh][ncl..nch] of the caller's dense row-major block: row pointers only, the elements
/// stay the caller's.
/// @param a         (nrh-nrl+1)*(nch-ncl+1) floats; must outlive the view.
/// @param nrl, nrh  lowest and highest row.
/// @param ncl, nch  lowest and highest column.
/// @return the view; release it with free_convert_matrix.
/// Fatal: "allocation failure in convert_matrix()".
ORIDAN_API float** convert_matrix(float* a, long nrl, long nrh, long ncl, long nch);

/// A view of part of a matrix under new lower bounds: [newrl][newcl] is a[oldrl][oldcl].
/// @param a             the matrix; must outlive the view.
/// @param oldrl, oldrh  first and last row seen.
/// @param oldcl         first column seen.
/// @param oldch         not used: the view's width is whatever the caller makes of it.
/// @param newrl, newcl  lower bounds of the view.
/// @return the view; release it with free_submatrix.
/// Fatal: "allocation failure in submatrix()".
ORIDAN_API float** submatrix(float** a, long oldrl, long oldrh, long oldcl, long oldch, long newrl, long newcl);

/// Release a view's row pointers, never the elements. The two are one routine under two names.
/// @param b                   view.
/// @param nrl, nrh, ncl, nch  the lowest row it was made with; the rest are ignored.
///@{
ORIDAN_API void free_convert_matrix(float** b, long nrl, long nrh, long ncl, long nch);
ORIDAN_API void free_submatrix(float** b, long nrl, long nrh, long ncl, long nch);
///@}

/// Plain row array [0..rows-1][0..cols-1] made with new[]: every row is an array of its own, so rows are
/// not contiguous. A count of 0 or less makes no rows (or empty rows).
/// @param rows, cols  counts.
/// @return the row pointers; release them with delete2dArray.
/// Errors: an exhausted heap surfaces as new[] reports it (std::bad_alloc); nothing is held then.
ORIDAN_API float** create2dArray(int rows, int cols);

/// Releases what create2dArray made; rows that are null are skipped.
/// @param a     null is accepted only together with rows <= 0: the rows are walked before a is looked at.
/// @param rows  the count it was made with.
/// @param cols  not used.
ORIDAN_API void delete2dArray(float** a, int rows, int cols);
