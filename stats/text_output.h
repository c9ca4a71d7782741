#pragma once

#include "export.h"

/// Writes a matrix as text: one line per row, every value followed by one blank, five significant digits.
/// An existing file is truncated; a file that cannot be opened is silently not written.
/// @param m     [base..base+nrows-1][base..base+ncols-1]
/// @param base  index base of rows and columns, usually 0 or 1
ORIDAN_API void WriteFloatMatrix2Txt(char* filename, float** m, int nrows, int ncols, int base);
