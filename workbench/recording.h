#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "fileio/ctc.h"
#include "workbench/pending_file.h"

/// Recordings (CTC files) as the workbench itself reads and writes them: in physical values, with the true element
/// size of every data type, a block of samples at a time.
namespace workbench {

/// Reads a recording. The file is never written or lengthened.
class RecordingReader {
public:
    /// Throws InputError with the reason in plain words when the file cannot be a recording. Recordings cut into
    /// conditions are opened too (see continuous); only their samples cannot be read here.
    explicit RecordingReader(const std::filesystem::path& file);
    ~RecordingReader();
    RecordingReader(const RecordingReader&) = delete;
    RecordingReader& operator=(const RecordingReader&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// FileVersion is the one the file states; the sample holders and the file view are null.
    const CTCStruct& header() const { return header_; }
    /// Byte at which the data section starts.
    std::uint64_t data_position() const { return dataPosition_; }
    /// Elements the header promises that the file does not hold; they are read as stored zeros, which a scaled data
    /// type turns into the channel's offset.
    std::uint64_t missing_elements() const;
    /// The file's size or time of change is no longer what it was when it was opened, or it is gone, or another file
    /// has its name.
    bool changed() const;
    /// Bytes that a file with this header and a whole data section has, at least those that this one has. The module
    /// views scaled floats as single bytes, and makes a recording of them that was cut short only that long.
    std::uint64_t size_when_whole() const;
    /// One stretch of samples (SampleOrdering 1 or 2), not a table of conditions.
    bool continuous() const { return header_.SampleOrdering == 1 || header_.SampleOrdering == 2; }

    /// dest[channel * count + i] becomes sample firstSample + i of a channel. Samples before the start (a negative
    /// firstSample) and beyond the end of the recording are 0. Continuous recordings only.
    /// Throws InputError when the file cannot be read.
    void read(std::int64_t firstSample, std::uint32_t count, float* dest);

private:
    void open_header();
    void read_stored(std::uint64_t element, std::uint64_t count); // into block_
    void read_run(std::uint32_t channel, std::uint64_t firstSample, std::uint64_t count, float* dest);
    void read_interleaved(std::uint64_t firstSample, std::uint64_t count, float* dest, std::size_t destStride);

    std::filesystem::path path_;
    std::ifstream input_;
    CTCStruct header_{};
    std::uint64_t dataPosition_ = 0;
    std::uint64_t dataBytes_ = 0; // that the file really holds
    std::uint64_t sizeWhenOpened_ = 0;
    std::pair<std::uint64_t, std::uint64_t> identityWhenOpened_{};
    std::filesystem::file_time_type timeWhenOpened_{};
    std::vector<char> block_;
};

/// What a recording to be written looks like.
struct RecordingFormat {
    std::uint32_t channels = 0;
    std::uint32_t samples = 0; ///< per channel
    float rate = 0.0f;         ///< Hz
    std::uint32_t dataType = 1;
    std::uint32_t ordering = 1;
    std::vector<float> offsets; ///< one per channel for data types 3, 4 and 5; else ignored
    std::vector<float> scales;
};

/// Writes a continuous recording from its first sample to its last. It appears under its name with commit.
class RecordingWriter {
public:
    /// Throws InputError for a format that cannot be written and for a name that cannot be used.
    RecordingWriter(const std::filesystem::path& file, RecordingFormat format, bool overwrite);

    /// Appends samples of all channels: src[channel * count + i]. Data types 3 and 4 round to the nearest stored
    /// value (halves away from zero); a value outside their range is clipped, one that is not a number becomes 0.
    void write(std::uint32_t count, const float* src);
    /// Values that were clipped, or not a number, so far.
    std::uint64_t clipped() const { return clipped_; }
    /// All samples must have been written. Throws InputError when the disk is full and the like.
    void commit();

private:
    void convert(std::uint32_t channel, std::uint32_t count, const float* src, char* stored, std::size_t stride);

    RecordingFormat format_;
    PendingFile pending_;
    std::uint64_t dataPosition_ = 0;
    std::uint32_t written_ = 0; // samples so far
    std::uint64_t clipped_ = 0;
    std::vector<char> block_;
};

} // namespace workbench
