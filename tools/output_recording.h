#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "fileio/ctc.h"
#include "fileio/transio.h"
#include "workbench/pending_file.h"
#include "workbench/recording.h"

namespace tools {

/// The header of a recording to be written. It is never compressed.
struct OutputFormat {
    std::uint32_t fileVersion = 1;
    std::uint32_t dataType = 1;
    std::uint32_t ordering = 1;
    std::uint32_t channels = 0;
    std::uint32_t samples = 0;
    float rate = 0.0f;
    std::vector<float> offsets; ///< one per channel, for data types 3, 4 and 5
    std::vector<float> scales;
    std::vector<std::uint32_t> trials; ///< one per condition
    std::vector<std::uint32_t> pre;
    std::vector<std::uint32_t> post;
};

/// The header of a recording as it is, with these of its channels.
OutputFormat format_of(const CTCStruct& header, const std::vector<std::uint32_t>& channels);

/// A recording written as stored elements, in any order, through a view with their true size. It appears under its
/// name with commit, and not at all without it.
class OutputRecording {
public:
    /// Throws InputError for a name that cannot be used (taken, the input itself, in no folder) or a folder without
    /// room for `elements` of them.
    OutputRecording(const std::filesystem::path& file, const std::filesystem::path& input, const OutputFormat& format,
                    std::uint64_t elements, bool overwrite);
    ~OutputRecording();
    OutputRecording(const OutputRecording&) = delete;
    OutputRecording& operator=(const OutputRecording&) = delete;

    /// Throw RunError when the disk is full and the like.
    void write(std::uint64_t first, std::uint64_t count, const char* elements);
    void append(std::uint64_t count, const char* elements); ///< after what was appended before
    void commit();

private:
    void flush_appended();
    [[noreturn]] void fail();

    workbench::PendingFile pending_;
    transio_struct view_{};
    std::size_t elementSize_;
    std::uint64_t appendedTo_ = 0; // elements that are in the file
    std::vector<char> appended_;   // and not yet there
};

/// Throws InputError where a result would take the place of the recording that it is made from, or its name cannot be
/// used.
void require_output_name(const std::filesystem::path& file, const std::filesystem::path& input, bool overwrite);

/// Throws RunError when a recording is no longer as it was when it was opened.
void require_unchanged(const workbench::RecordingReader& recording);

} // namespace tools
