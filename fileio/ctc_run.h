#pragma once

#include "fileio/ctc.h"

/// Runs of samples among the elements of a data section, moved between memory or file and a caller's floats: what
/// channel and condition access share. Not exported.
namespace fileio {

/// Where a run of samples lies, and how its values are scaled. Parts of it may lie outside the data section.
struct SampleRun {
    long long start;     ///< element of the first sample
    unsigned int stride; ///< elements between successive samples; with 1, a file-backed access is one transfer
    unsigned int count;
    bool wraps; ///< element addresses are 32-bit and wrap
    float offset;
    float scale;

    /// Element of sample i; one that no data section has where the address is negative or passes 64 bits.
    unsigned long long element(unsigned int i) const;
};

/// Prints that a recording's SampleOrdering is not one that the called function serves.
void report_ordering();

/// Fills in the offset and scale of a channel: 0 and 1 for unscaled floats, whose arrays are never looked at.
/// @return false where the samples cannot be moved: a DataType other than 1, 3, 4, 5 (with a message), offsets or
/// scales
///         missing or elements of the view larger than those of the DataType (silent).
bool find_scaling(const CTCStruct& ctc, unsigned int channel, SampleRun* run);

/// Move a run whose scaling was found. Elements outside the data section are neither read nor written; file-backed, a
/// transfer that would leave the section is refused as a whole.
/// @return run.count, whatever was moved.
unsigned int get_run(float* dest, const CTCStruct& ctc, const SampleRun& run);

/// @param integerShift  elements by which whole runs of 16- and 8-bit samples move on in the file.
unsigned int set_run(const float* src, CTCStruct& ctc, const SampleRun& run, unsigned int integerShift);

} // namespace fileio
