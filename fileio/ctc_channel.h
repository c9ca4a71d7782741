#pragma once

#include "export.h"
#include "fileio/ctc.h"

/// @file
/// Runs of consecutive samples of one channel of a continuous recording (SampleOrdering 1 or 2), in memory or
/// file-backed, as physical values. A file-backed write changes the file at once.
///
/// Index base: 0.   Precision: float; value = stored * scale + offset and back by (value - offset) / scale.
/// Integers are truncated toward zero to 32 bits, and the low 16 or 8 bits stored: no rounding to nearest, no
/// clipping, a value out of range wraps.
/// Messages (standard error): "Unsupported SampleOrdering for this function." and "Unsupported Datatype.", both
/// with result 0; the other refusals (no valid file, channel out of range, run past NrOfSamples, offsets or scales
/// missing, a view whose elements are larger than those of the DataType) are silent.
/// Unchecked: transfers; the result is `count` even where nothing was moved. Elements outside the data section are
/// neither read nor written; file-backed, a run of consecutive elements is one transfer, which is refused as a whole
/// where a part of it lies outside, and samples that lie apart move a block at a time, what lies between them going
/// back as it was just read. File-backed DataType 5 moves single bytes: `count` of them, or one per sample.

/// Reads a run.
/// @param dest         [0..count-1] out. What was not read keeps the value that dest held, except in a file-backed run
///                     of consecutive elements: of DataType 5 all of dest is converted in place, as if it had been
///                     read; of DataType 1 the part that a file cut short still has may be there.
/// @param ctc          recording.
/// @param channel      0..NrOfChannels-1.
/// @param firstSample  firstSample + count is at most NrOfSamples; the sum is formed in 32 bits.
/// @param count        samples.
/// @return count, or 0 (also for a count of 0).
ORIDAN_API unsigned int GetChannelSamples(float* dest, CTCStruct* ctc, unsigned int channel, unsigned int firstSample,
                                          unsigned int count);

/// Stores a run.
/// @param src          [0..count-1].
/// @param ctc          recording.
/// @param channel      0..NrOfChannels-1.
/// @param firstSample  firstSample + count is at most NrOfSamples; the sum is formed in 32 bits.
/// @param count        samples.
/// @return count, or 0 (also for a count of 0).
/// File-backed, SampleOrdering 1, DataType 3 or 4: the run is stored `count` samples later than firstSample, and
/// nowhere if it would then pass the end of the data section. Kept on purpose.
ORIDAN_API unsigned int SetChannelSamples(const float* src, CTCStruct* ctc, unsigned int channel,
                                          unsigned int firstSample, unsigned int count);
