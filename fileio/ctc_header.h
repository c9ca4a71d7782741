#pragma once

#include <istream>

#include "fileio/ctc.h"

/// The header of a CTC file, for the whole-file operations of ctc.h and for programs of ours that stream samples.
/// Not exported.
namespace fileio {

enum class HeaderStatus {
    ok,
    cutShort,            ///< the file ends inside the header, or cannot hold the arrays it announces
    unsupportedDataType, ///< 2, or 6 and up
    unsupportedOrdering, ///< 0, or 7 and up
    tooLarge,            ///< 2^32 or more elements: they could not be addressed
    noMemory
};

/// Every field as ReadEntireCTC leaves it before it reads: FileVersion 1, SamplingFrequency 1, no arrays.
void reset_ctc(CTCStruct* ctc);

/// Reads the header from the start of a stream and leaves the stream at the data section.
/// @param ctc          reset first; arrays are allocated zeroed. After a failure FreeCTCMemory releases them.
///                     FileVersion stays 1: it is the caller's to set once the recording is complete.
/// @param fileVersion  out, the version the file states.
HeaderStatus read_ctc_header(std::istream& stream, CTCStruct* ctc, unsigned int* fileVersion);

/// Elements of the data section; 2^32 stands for any count that cannot be addressed. 0 for an unknown ordering.
unsigned long long total_samples(const CTCStruct& ctc);

/// Bytes of one stored element: 4, 2 or 1; 0 for a DataType without samples of its own.
unsigned int stored_size(unsigned int dataType);

/// Whether the elements of the recording's view, if it has one, are no larger than those of its DataType, for which
/// room is made. Larger ones are those of a DataType that was changed after the file was opened.
bool view_fits(const CTCStruct& ctc);

} // namespace fileio
