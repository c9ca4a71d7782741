#pragma once

#include "export.h"
#include "fileio/ctc.h"

/// @file
/// Runs of consecutive samples of one channel in one trial of one condition of an epoched recording (SampleOrdering 3
/// to 6), in memory or file-backed, as physical values. A file-backed write changes the file at once.
///
/// Index base: 0 for condition, trial and channel; samples are counted from the trigger, those before it are negative.
/// Precision: float, converted as in ctc_channel.h: value = stored * scale + offset and back by
/// (value - offset) / scale, cut toward zero without rounding or clipping. Counts that a header states are multiplied
/// in 32 bits, which wrap; positions and their sums have 64 bits.
/// Messages (standard error): "Unsupported SampleOrdering for this function." (1 and 2, too: see ctc_channel.h) and
/// "Unsupported Datatype.", both with result 0; the other refusals (no valid file, channel or condition out of range,
/// run past the end of the epoch, condition arrays, offsets or scales missing, a view whose elements are larger than
/// those of the DataType) are silent.
/// Unchecked: the trial and the start of the epoch. A trial that the condition does not have and a first sample before
/// the epoch are looked for where they would lie, in other epochs, channels and conditions. Elements outside the data
/// section are neither read nor written; file-backed, a run of consecutive elements is one transfer, which is refused
/// as a whole where a part of it lies outside, and samples that lie apart move a block at a time, what lies between
/// them going back as it was just read. Neither are the transfers checked: the result is `count` even where nothing was
/// moved.
/// Kept on purpose: in SampleOrdering 3 the pre-trigger count is added twice, so that a run lies that many samples
/// later than asked for, and may run into the next channel. In SampleOrdering 5 and 6 a condition of 0 trials gives
/// every value of a run from, or to, the same element. File-backed DataType 5 moves single bytes: `count` of them, or
/// one per sample.

/// Reads a run.
/// @param dest         [0..count-1] out. What was not read keeps the value that dest held, except in a file-backed run
///                     of consecutive elements: of DataType 5 all of dest is converted in place, as if it had been
///                     read; of DataType 1 the part that a file cut short still has may be there.
/// @param ctc          recording.
/// @param condition    0..NrOfConditions-1.
/// @param trial        0..trials-1 of the condition.
/// @param channel      0..NrOfChannels-1.
/// @param firstSample  relative to the trigger, from -pre; firstSample + count is at most post.
/// @param count        samples.
/// @return count, or 0 (also for a count of 0).
ORIDAN_API unsigned int GetConditionChannelSamples(float* dest, CTCStruct* ctc, unsigned int condition, long trial,
                                                   unsigned int channel, long firstSample, unsigned int count);

/// Stores a run in the place from which GetConditionChannelSamples reads it, file-backed 16- and 8-bit samples too:
/// the shift of SetChannelSamples does not exist here.
/// @param src          [0..count-1].
/// @param ctc          recording.
/// @param condition    0..NrOfConditions-1.
/// @param trial        0..trials-1 of the condition.
/// @param channel      0..NrOfChannels-1.
/// @param firstSample  relative to the trigger, from -pre; firstSample + count is at most post.
/// @param count        samples.
/// @return count, or 0 (also for a count of 0).
ORIDAN_API unsigned int SetConditionChannelSamples(const float* src, CTCStruct* ctc, unsigned int condition, long trial,
                                                   unsigned int channel, long firstSample, unsigned int count);
