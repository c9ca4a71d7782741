#pragma once

#include "export.h"

/// @file
/// Vectors and matrices as text files, for other programs to read.
///
/// An existing file is truncated; a file that cannot be opened is silently not written, and nothing is reported of
/// what goes wrong later. A count of 0 or less writes no values. Lines end with a single line feed. Numbers have five
/// significant digits in the shorter of fixed and scientific notation, without trailing zeros, unless a routine says
/// otherwise. The locale of the program does not matter: the decimal point is a point, and digits are not grouped.

/// Writes a matrix: one line per row, every value followed by one blank.
/// @param filename      path.
/// @param m             [base..base+nrows-1][base..base+ncols-1].
/// @param nrows, ncols  size.
/// @param base          index base of rows and columns, usually 0 or 1.
ORIDAN_API void WriteFloatMatrix2Txt(char* filename, float** m, int nrows, int ncols, int base);

/// Writes a vector: one value per line.
/// @param filename  path.
/// @param v         [base..base+n-1].
/// @param n         number of values.
/// @param base      index base, usually 0 or 1.
///@{
ORIDAN_API void WriteFloatVector2Txt(char* filename, float* v, int n, int base);
ORIDAN_API void WriteFloatVector2Txt(char* filename, double* v, int n, int base);
ORIDAN_API void WriteDoubleVector2Txt(char* filename, double* v, int n, int base);
///@}

/// Writes a design matrix of one predictor, named "Oridan", and a constant: eight lines of header in labelled fields
/// and blank lines, a line of names, then one line per data point with the value and 1, both with six decimals.
/// Index base: 0.
/// @param filename  path.
/// @param values    [0..n-1] the predictor.
/// @param n         data points; stated in the header as it is given.
ORIDAN_API void WriteFloatVector2SDM(char* filename, float* values, int n);
