#pragma once

#include "export.h"

/// @file
/// CVX files: a header and one square matrix of doubles, or a pair of them. The whole file is held in memory.
///
/// File layout, little-endian, without padding; fields of 4 bytes unless said, texts as IOSWriteCString writes them (at
/// most 511 characters and one NUL): FileVersion (1), first text, second text, MatrixOrder N, N order values, fourth
/// count, NrOfPairValues, [pair values: only if their count is not 0], four settings, NrOfExtraValues, [extra values:
/// only if their count is not 0], then N x N doubles: the single matrix if NrOfPairValues is 0, else the first and the
/// second matrix of the pair. What texts, values and settings mean is the caller's affair.
///
/// Index base: 0; matrices are stored row after row. Nothing is printed: every failure is a null pointer or 0.
/// Unchecked: null pointers as arguments.

/// Header and matrices. Every pointer is malloc'ed and owned by the structure.
struct CVXStruct {
    unsigned int FileVersion;     ///< 1
    char FirstText[512];          ///< free text
    char SecondText[512];         ///< free text
    unsigned int MatrixOrder;     ///< N, rows and columns of each matrix; 0 gives empty arrays, not null ones
    unsigned int* OrderValues;    ///< [0..N-1] raw 4-byte values, never interpreted
    unsigned int FourthCount;     ///< kept, never interpreted
    unsigned int NrOfPairValues;  ///< not 0: there is a pair of matrices; 0: there is a single one
    unsigned int* PairValues;     ///< [0..NrOfPairValues-1] raw 4-byte values, or null when none
    unsigned int FirstSetting;    ///< 1 when created
    unsigned int SecondSetting;   ///< raw 4-byte value, 0 when created
    float ThirdSetting;           ///< 1 when created
    float FourthSetting;          ///< 1000 when created
    unsigned int NrOfExtraValues; ///< may be 0
    unsigned int* ExtraValues;    ///< [0..NrOfExtraValues-1] raw 4-byte values, or null when none
    double* SingleMatrix;         ///< [0..N*N-1], or null when there is a pair
    double* FirstMatrix;          ///< [0..N*N-1] first of the pair, or null
    double* SecondMatrix;         ///< [0..N*N-1] second of the pair, or null
};

/// Makes a structure in memory; no file is touched. Arrays and matrices are zeros.
/// @param firstText, secondText  at most 511 characters of each are kept.
/// @param matrixOrder      rows and columns of each matrix; may be 0.
/// @param fourthCount      stored as it is.
/// @param nrOfPairValues   not 0: a pair of matrices; 0: a single one.
/// @param nrOfExtraValues  may be 0.
/// @return a structure that FreeCVX releases, or null when it cannot be allocated.
ORIDAN_API CVXStruct* CreateCVX(const char* firstText, const char* secondText, unsigned int matrixOrder,
                                unsigned int fourthCount, unsigned int nrOfPairValues, unsigned int nrOfExtraValues);

/// Loads a file. Bytes missing at its end count as zeros: short files are not detected.
/// @param fileName  a regular file.
/// @return a structure that FreeCVX releases, or null: not a file, FileVersion not 1, sizes that cannot be allocated.
ORIDAN_API CVXStruct* ReadCVX(const char* fileName);

/// Writes a file. NrOfPairValues alone decides between the pair and the single matrix.
/// @param cvx       FileVersion 1, the arrays and matrices that its counts call for present; otherwise refused.
/// @param fileName  created or truncated; a pipe is refused.
/// @return 1, or 0: a refusal leaves an existing file as it was, a write that fails leaves no file.
ORIDAN_API int WriteCVX(const CVXStruct* cvx, const char* fileName);

/// Frees a structure with everything it points to. The caller's pointer is not reset.
/// @param cvx  the structure; null is harmless.
ORIDAN_API void FreeCVX(CVXStruct** cvx);
