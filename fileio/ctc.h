#pragma once

#include "export.h"
#include "fileio/transio.h"

/// @file
/// CTC files: channel time courses of an EEG/MEG recording.
///
/// File layout, all fields 4 bytes, little-endian, without padding: FileVersion, CompressionType,
/// [NrOfCompressionParams, parameters: only if CompressionType is not 0], DataType, SampleOrdering,
/// NrOfChannels, NrOfSamples, SamplingFrequency, [channel offsets, channel scales: only if DataType > 2],
/// NrOfConditions, [trials, pre-trigger samples, post-trigger samples per condition: only if there are
/// conditions], then the data section.
///
/// DataType: 1 float; 3 signed 16-bit, 4 signed 8-bit and 5 float, these three scaled:
/// value = stored * scale[channel] + offset[channel].
/// SampleOrdering (slowest index first): 1 channel, sample; 2 sample, channel; per condition block
/// 3 trial, channel, sample; 4 trial, sample, channel; 5 channel, sample, trial; 6 sample, channel, trial.

/// A recording: header, and samples in memory or behind a view of the file. Every pointer is malloc'ed and owned by the
/// structure; at most one of the last four is not null.
struct CTCStruct {
    char fileName[512];           ///< path it was read from, at most 511 characters kept; a save does not change it
    unsigned int FileVersion;     ///< 0 means no valid file to every accessor
    unsigned int CompressionType; ///< 0: not compressed; other recordings are read but cannot be written
    unsigned int NrOfCompressionParams; ///< 0 when not compressed
    unsigned int* CompressionParams;    ///< raw 4-byte values, never interpreted; null when none
    unsigned int DataType;              ///< 1, 3, 4 or 5
    unsigned int SampleOrdering;        ///< 1 to 6
    unsigned int NrOfChannels;          ///< channels
    unsigned int NrOfSamples;           ///< per channel, orderings 1 and 2
    float SamplingFrequency;            ///< Hz
    float* ChannelOffsets;              ///< [0..NrOfChannels-1] for DataType > 2, else null
    float* ChannelScales;               ///< [0..NrOfChannels-1] for DataType > 2, else null
    unsigned int NrOfConditions;        ///< 0 in continuous recordings
    unsigned int* NrOfTrials;           ///< [0..NrOfConditions-1]; 0 takes the space of 1
    unsigned int* PreTriggerSamples;    ///< [0..NrOfConditions-1]
    unsigned int* PostTriggerSamples;   ///< [0..NrOfConditions-1]; epoch length is pre + post
    unsigned int* ConditionStarts;      ///< [0..NrOfConditions-1] first element of each block; computed, not stored
    unsigned int Spare;                 ///< 0 after a read
    float* FloatSamples;                ///< data section in memory, DataType 1 and 5, else null
    short* Int16Samples;                ///< data section in memory, DataType 3, else null
    signed char* Int8Samples;           ///< data section in memory, DataType 4, else null
    transio_struct* FileView;           ///< samples left in the file, else null
};

/// Opens a CTC file: the header into *ctc, the samples loaded or left in the file.
/// @param ctc         out. Former content is overwritten, not freed. Release with FreeCTCMemory.
/// @param fileName    a regular file.
/// @param fileBacked  1: samples stay in the file behind a read-write view (a data section that is cut short is
///                    lengthened with zeros in the file); any other value: the whole data section is loaded
///                    (missing samples are zeros).
/// @return 1, or 0: not a file, header cut short, counts that cannot be held, 2^32 or more elements. After 0
///         every pointer is null and FileVersion is 1.
/// Messages (standard error): "Datatype not yet supported." (2, or 6 and up), "SampleOrdering not yet
/// supported." (0, or 7 and up), "Unsupported datatype." (0, in memory); other failures are silent.
/// DataType 5 file-backed gets a view of single bytes, not floats, kept on purpose: every access then moves `count`
/// bytes, and the open makes sure of one byte per sample only.
ORIDAN_API int ReadEntireCTC(CTCStruct* ctc, const char* fileName, unsigned int fileBacked);

/// Writes a CTC file; a file-backed structure is bound to the new file afterwards.
/// @param ctc          FileVersion not 0, not compressed, DataType 1 to 5, SampleOrdering 1 to 6, the arrays that
///                     these call for present, a view whose elements are no larger than those of the DataType;
///                     otherwise refused. DataType 2 writes the header only.
/// @param fileName     created or truncated; the file that holds the structure's samples is refused by whatever name.
/// @param ignoredFlag  not used.
/// @return 1, or 0 (silent): a refusal leaves an existing file as it was. In memory, stream errors while the samples
/// are
///         written are not noticed. File-backed, the structure then keeps its old file; samples that cannot be read and
///         a write that fails leave no file, while a new file that cannot be opened again stays, complete.
ORIDAN_API int WriteEntireCTC(CTCStruct* ctc, const char* fileName, unsigned int ignoredFlag);

/// Frees and nulls everything that the structure points to and closes its file. Header fields stay.
/// @param ctc  in-out; harmless on one that was freed already.
ORIDAN_API void FreeCTCMemory(CTCStruct* ctc);

/// Writes FileVersion, CompressionType, NrOfCompressionParams and DataType to standard output, one labelled line
/// each.
/// @param ctc  the recording.
ORIDAN_API void PrintCTCHeader(const CTCStruct* ctc);
