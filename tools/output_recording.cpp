#include "tools/output_recording.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <system_error>

#include "fileio/ctc_header.h"
#include "tools/data_section.h"
#include "workbench/input_error.h"
#include "workbench/run_error.h"

namespace tools {

namespace fs = std::filesystem;

using workbench::InputError;

namespace {

template <class T>
void put(std::ostream& stream, T value) {
    static_assert(sizeof value == 4);
    stream.write(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
void put_all(std::ostream& stream, const std::vector<T>& values) {
    for (const T value : values) {
        put(stream, value);
    }
}

void put_header(std::ostream& stream, const OutputFormat& format) {
    put(stream, format.fileVersion);
    put(stream, std::uint32_t{0}); // not compressed
    put(stream, format.dataType);
    put(stream, format.ordering);
    put(stream, format.channels);
    put(stream, format.samples);
    put(stream, format.rate);
    if (format.dataType > 2) {
        put_all(stream, format.offsets);
        put_all(stream, format.scales);
    }
    put(stream, static_cast<std::uint32_t>(format.trials.size()));
    put_all(stream, format.trials);
    put_all(stream, format.pre);
    put_all(stream, format.post);
}

unsigned int element_code(unsigned int dataType) {
    return dataType == 3 ? transioInt16 : dataType == 4 ? transioInt8 : transioFloat;
}

// What the checks before a long job find is cheaper than what the job itself runs into.
const fs::path& checked(const fs::path& file, const fs::path& input, std::uint64_t bytes, bool overwrite) {
    require_output_name(file, input, overwrite);
    std::error_code error;
    const fs::path folder = workbench::folder_of(file);
    const fs::space_info space = fs::space(folder, error);
    if (!error && space.available < bytes) {
        throw InputError(file.string() + ": needs " + std::to_string(bytes) + " bytes, and " + folder.string() +
                         " has room for " + std::to_string(space.available));
    }
    return file;
}

} // namespace

void require_output_name(const fs::path& file, const fs::path& input, bool overwrite) {
    std::error_code error;
    if (fs::equivalent(file, input, error)) {
        throw InputError(file.string() + ": is the recording itself, which is never changed; choose another name");
    }
    workbench::require_free_name(file, overwrite);
}

void require_unchanged(const workbench::RecordingReader& recording) {
    if (recording.changed()) {
        throw workbench::RunError(recording.path().string() +
                                      ": was changed meanwhile, so that the result is worthless",
                                  workbench::exitNotCompleted);
    }
}

OutputFormat format_of(const CTCStruct& header, const std::vector<std::uint32_t>& channels) {
    OutputFormat format;
    format.fileVersion = header.FileVersion;
    format.dataType = header.DataType;
    format.ordering = header.SampleOrdering;
    format.channels = static_cast<std::uint32_t>(channels.size());
    format.samples = header.NrOfSamples;
    format.rate = header.SamplingFrequency;
    if (header.DataType > 2) {
        for (const std::uint32_t channel : channels) {
            format.offsets.push_back(header.ChannelOffsets[channel]);
            format.scales.push_back(header.ChannelScales[channel]);
        }
    }
    for (std::uint32_t k = 0; k < header.NrOfConditions; ++k) {
        format.trials.push_back(header.NrOfTrials[k]);
        format.pre.push_back(header.PreTriggerSamples[k]);
        format.post.push_back(header.PostTriggerSamples[k]);
    }
    return format;
}

OutputRecording::OutputRecording(const fs::path& file, const fs::path& input, const OutputFormat& format,
                                 std::uint64_t elements, bool overwrite)
    : pending_(checked(file, input, elements * fileio::stored_size(format.dataType), overwrite), overwrite),
      elementSize_(fileio::stored_size(format.dataType)) {
    put_header(pending_.stream(), format);
    const std::streamoff dataPosition = pending_.stream().tellp();
    if (!pending_.stream().flush()) {
        fail();
    }
    const std::string path = pending_.temporary_path().string();
    if (path.size() >= sizeof view_.fileName) {
        throw InputError(file.string() + ": the path of the result is too long; change to its folder and give its bare "
                                         "name");
    }
    const auto count = static_cast<unsigned int>(elements);
    const unsigned int mode = element_code(format.dataType) | transioWriteMask;
    if (transio_open(&view_, path.c_str(), static_cast<unsigned long long>(dataPosition), 1, &count, mode) != 1) {
        fail();
    }
}

OutputRecording::~OutputRecording() {
    transio_close(&view_);
}

// The pending file finds out why.
void OutputRecording::fail() {
    try {
        pending_.stream().setstate(std::ios::badbit);
        pending_.check();
    } catch (const InputError& error) {
        throw workbench::RunError(error.what(), workbench::exitNotCompleted);
    }
    throw workbench::RunError(pending_.final_path().string() + ": could not be written", workbench::exitNotCompleted);
}

void OutputRecording::write(std::uint64_t first, std::uint64_t count, const char* elements) {
    const auto toWrite = static_cast<unsigned int>(count);
    if (transio_write_buffer(&view_, first, toWrite, elements) != toWrite) {
        fail();
    }
}

void OutputRecording::append(std::uint64_t count, const char* elements) {
    appended_.insert(appended_.end(), elements, elements + count * elementSize_);
    if (appended_.size() >= blockElements * elementSize_) {
        flush_appended();
    }
}

void OutputRecording::flush_appended() {
    const std::uint64_t count = appended_.size() / elementSize_;
    write(appendedTo_, count, appended_.data());
    appendedTo_ += count;
    appended_.clear();
}

void OutputRecording::commit() {
    flush_appended();
    if (!view_.stream->flush()) {
        fail();
    }
    transio_close(&view_);
    try {
        pending_.commit();
    } catch (const InputError& error) {
        throw workbench::RunError(error.what(), workbench::exitNotCompleted);
    }
}

} // namespace tools
