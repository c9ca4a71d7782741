#pragma once

#include "export.h"
#include "fileio/transio.h"

/// @file
/// TFD files: a header and pairs of three-dimensional float tensors of equal shape, which stay in the file and are
/// loaded pair by pair.
///
/// File layout, little-endian, without padding; fields of 4 bytes, texts as IOSWriteCString writes them (at most 511
/// characters and one NUL): FileVersion (1), first text, second text, NrOfTensorPairs, one value per pair, ExtentA,
/// ExtentB, ExtentB float values, ExtentC, three float parameters, NrOfExtraValues, [extra values: only if their count
/// is not 0], then the tensors: first and second of pair 0, first and second of pair 1, and so on, each of
/// ExtentA x ExtentB x ExtentC floats, the last extent running fastest. What texts, values and parameters mean is the
/// caller's affair.
///
/// Index base: 0. Nothing is printed: every failure is a null pointer or 0. State: all views of a structure share one
/// stream, so one thread at a time per structure. Unchecked: null pointers as arguments, and that a structure's counts
/// are those with which it was made.

/// One pair of tensors.
struct TFDTensorStruct {
    transio_struct* FirstView;  ///< the first tensor in the file, open for reading and writing
    transio_struct* SecondView; ///< the second tensor in the file
    float* FirstData;           ///< [0..n-1] malloc'ed, n the element count of the view; null until loaded
    float* SecondData;          ///< [0..n-1] malloc'ed; null until loaded
};

/// Header and tensor table. Every pointer is malloc'ed and owned by the structure.
struct TFDStruct {
    unsigned int FileVersion;     ///< 1
    char FirstText[512];          ///< free text
    char SecondText[512];         ///< free text
    unsigned int NrOfTensorPairs; ///< not 0
    unsigned int* PairValues;     ///< [0..NrOfTensorPairs-1]
    unsigned int ExtentA;         ///< third extent of every tensor (slowest), not 0
    unsigned int ExtentB;         ///< second extent of every tensor, not 0
    float* ExtentBValues;         ///< [0..ExtentB-1]
    unsigned int ExtentC;         ///< first extent of every tensor (fastest), not 0
    float FirstParameter;         ///< customary value 0
    float SecondParameter;        ///< customary value 1
    float ThirdParameter;         ///< customary value 1
    unsigned int NrOfExtraValues; ///< may be 0
    unsigned int* ExtraValues;    ///< [0..NrOfExtraValues-1], or null when none
    TFDTensorStruct* Tensors;     ///< [0..NrOfTensorPairs-1]
};
// The views stand in one malloc'ed block in the order of the tensors. The first owns the stream, the others are copies
// of it with base offsets of their own.

/// Creates (or truncates) a file whose tensors are zeros, and opens it.
/// The three arrays of the returned structure have their sizes but not the caller's values: the file alone holds these,
/// kept on purpose. Reading the file again with ReadTFD brings them in; WriteTFD before that would write zeros.
/// @param fileName  fewer than 512 characters; a pipe is refused.
/// @param firstText, secondText  at most 511 characters of each are kept.
/// @param nrOfTensorPairs  not 0.
/// @param pairValues  [0..nrOfTensorPairs-1]
/// @param extentA, extentB, extentC  none 0. All tensors together have fewer than 2^32 elements.
/// @param extentBValues  [0..extentB-1]
/// @param firstParameter, secondParameter, thirdParameter  stored as they are.
/// @param nrOfExtraValues  may be 0.
/// @param extraValues  [0..nrOfExtraValues-1]; not looked at when there are none.
/// @return a structure that FreeTFD releases, or null. Counts, extents and names that cannot give a file, and memory
///         that cannot be had, leave an existing file as it was; a write that fails leaves no file.
ORIDAN_API TFDStruct* CreateTFD(const char* fileName, const char* firstText, const char* secondText,
                                unsigned int nrOfTensorPairs, const unsigned int* pairValues, unsigned int extentA,
                                unsigned int extentB, const float* extentBValues, unsigned int extentC,
                                float firstParameter, float secondParameter, float thirdParameter,
                                unsigned int nrOfExtraValues, const unsigned int* extraValues);

/// Opens a file: the header is read, the tensors stay in the file behind read-write views.
/// @param fileName  a regular file that may be written; fewer than 512 characters. It is not changed.
/// @return a structure that FreeTFD releases, or null: not a file, FileVersion not 1, a count or extent of 0 among
///         those of the tensors, a file too short for its header and tensors (bytes behind them do not matter).
ORIDAN_API TFDStruct* ReadTFD(const char* fileName);

/// Saves under another name, and binds the structure to the new file: header as it stands in the structure, tensors as
/// they stand in the old file. Loaded data is released first: changes that TFDWriteTensor has not written are lost, and
/// pointers to the old tensor table are no longer valid.
/// @param tfd       in-out. FileVersion 1, the arrays present, the extents those of its views; otherwise refused.
/// @param fileName  created or truncated; fewer than 512 characters; a pipe is refused, and by whatever name the file
///                  that holds the structure's tensors.
/// @return 1, or 0: the structure is then bound to its old file. A tensor that cannot be read and a write that fails
///         leave no file; a new file that cannot be opened again stays, complete; the other refusals leave an existing
///         file as it was.
ORIDAN_API int WriteTFD(TFDStruct* tfd, const char* fileName);

/// Closes the file and frees everything but loaded tensor data (TFDFreeTensor first). The caller's pointer is not
/// reset.
/// @param tfd            the structure; null is harmless.
/// @param keepStructure  1: the structure itself stays, its pointers null; any other value: it is freed too.
ORIDAN_API void FreeTFD(TFDStruct** tfd, unsigned int keepStructure);

/// Loads both tensors of a pair from the file. What was loaded before is released first.
/// @param pair  in-out, one of TFDStruct::Tensors.
/// @return 1, or 0: nothing is loaded then. A tensor of 2^32 or more elements cannot be loaded.
ORIDAN_API int TFDReadTensor(TFDTensorStruct* pair);

/// Writes the loaded data of both tensors of a pair to the file; it stays loaded. The bytes have reached the file after
/// FreeTFD at the latest.
/// @param pair  one of TFDStruct::Tensors.
/// @return 1, or 0: not loaded, or not written.
ORIDAN_API int TFDWriteTensor(TFDTensorStruct* pair);

/// Releases the loaded data of both tensors of a pair; harmless when there is none.
/// @param pair  in-out, one of TFDStruct::Tensors; both data pointers are null afterwards.
ORIDAN_API void TFDFreeTensor(TFDTensorStruct* pair);
