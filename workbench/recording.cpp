#include "workbench/recording.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <sys/stat.h>

#include "fileio/ctc_header.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/stored_element.h"

namespace workbench {

namespace {

using fileio::HeaderStatus;

constexpr std::uint64_t blockElements = 1 << 16;
// A header that announces more channels than this must have samples to show for it.
constexpr std::uint32_t plausibleChannels = 1 << 16;

std::string reason_of(HeaderStatus status, const CTCStruct& header) {
    switch (status) {
    case HeaderStatus::cutShort:
        return "is not a CTC recording, or its header is cut short";
    case HeaderStatus::unsupportedDataType:
        return "has data type " + std::to_string(header.DataType) + "; only 1, 3, 4 and 5 can be read";
    case HeaderStatus::unsupportedOrdering:
        return "has sample ordering " + std::to_string(header.SampleOrdering) + "; only 1 to 6 exist";
    case HeaderStatus::tooLarge:
        return "announces 2^32 or more sample values, which cannot be addressed";
    case HeaderStatus::noMemory:
        return "announces more channels or conditions than fit into memory";
    case HeaderStatus::ok:
        break;
    }
    return "";
}

float value_of_stored(const CTCStruct& header, std::uint32_t channel, const char* element) {
    const bool scaled = header.DataType != 1;
    return element_value(header.DataType, element, scaled ? header.ChannelScales[channel] : 1.0f,
                         scaled ? header.ChannelOffsets[channel] : 0.0f);
}

// The file itself, whatever it is called.
std::pair<std::uint64_t, std::uint64_t> identity_of(const std::filesystem::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? std::pair<std::uint64_t, std::uint64_t>{status.st_dev, status.st_ino}
                                              : std::pair<std::uint64_t, std::uint64_t>{};
}

} // namespace

RecordingReader::RecordingReader(const std::filesystem::path& file)
    : path_(file), input_(open_input_file(file, false)) {
    std::error_code gone;
    sizeWhenOpened_ = std::filesystem::file_size(file, gone);
    timeWhenOpened_ = std::filesystem::last_write_time(file, gone);
    identityWhenOpened_ = identity_of(file);
    try {
        open_header();
    } catch (...) {
        FreeCTCMemory(&header_);
        throw;
    }
}

RecordingReader::~RecordingReader() {
    FreeCTCMemory(&header_);
}

void RecordingReader::open_header() {
    const auto refuse = [&](const std::string& reason) { throw InputError(path_.string() + ": " + reason); };
    unsigned int version = 0;
    const HeaderStatus status = fileio::read_ctc_header(input_, &header_, &version);
    if (status != HeaderStatus::ok) {
        refuse(reason_of(status, header_));
    }
    header_.FileVersion = version;
    const std::string name = path_.string();
    std::copy_n(name.c_str(), std::min(name.size(), sizeof header_.fileName - 1), header_.fileName);
    if (version == 0) {
        refuse("has file version 0, which marks a recording that was never completed");
    }
    if (fileio::stored_size(header_.DataType) == 0) {
        refuse(reason_of(HeaderStatus::unsupportedDataType, header_));
    }
    if (fileio::total_samples(header_) == 0) {
        refuse("holds no samples (" + std::to_string(header_.NrOfChannels) + " channels, " +
               std::to_string(header_.NrOfSamples) + " samples, " + std::to_string(header_.NrOfConditions) +
               " conditions)");
    }
    const std::streamoff start = input_.tellg();
    const std::streamoff end = input_.seekg(0, std::ios::end).tellg();
    if (start < 0 || end < start) {
        refuse("cannot be read");
    }
    dataPosition_ = static_cast<std::uint64_t>(start);
    dataBytes_ = static_cast<std::uint64_t>(end - start);
    if (header_.NrOfChannels > plausibleChannels && missing_elements() > 0) {
        refuse("announces " + std::to_string(header_.NrOfChannels) + " channels, but its data section is cut short");
    }
}

std::uint64_t RecordingReader::missing_elements() const {
    const std::uint64_t promised = fileio::total_samples(header_);
    return promised - std::min(promised, dataBytes_ / fileio::stored_size(header_.DataType));
}

bool RecordingReader::changed() const {
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(path_, error);
    return error || size != sizeWhenOpened_ || std::filesystem::last_write_time(path_, error) != timeWhenOpened_ ||
           error || identity_of(path_) != identityWhenOpened_;
}

std::uint64_t RecordingReader::size_when_whole() const {
    const std::uint64_t elementSize = header_.DataType == 5 ? 1 : fileio::stored_size(header_.DataType);
    return std::max<std::uint64_t>(sizeWhenOpened_, dataPosition_ + fileio::total_samples(header_) * elementSize);
}

void RecordingReader::read_stored(std::uint64_t element, std::uint64_t count) {
    const std::uint64_t size = fileio::stored_size(header_.DataType);
    const std::uint64_t first = std::min(dataBytes_, element * size);
    const std::uint64_t present = std::min(dataBytes_ - first, count * size);
    block_.assign(count * size, '\0');
    if (present == 0) {
        return;
    }
    input_.clear();
    input_.seekg(static_cast<std::streamoff>(dataPosition_ + first));
    if (!input_.read(block_.data(), static_cast<std::streamsize>(present))) {
        throw InputError(path_.string() + ": cannot be read (has it become shorter?)");
    }
}

void RecordingReader::read_run(std::uint32_t channel, std::uint64_t firstSample, std::uint64_t count, float* dest) {
    const std::size_t size = fileio::stored_size(header_.DataType);
    for (std::uint64_t done = 0; done < count; done += blockElements) {
        const std::uint64_t part = std::min(blockElements, count - done);
        read_stored(std::uint64_t{channel} * header_.NrOfSamples + firstSample + done, part);
        for (std::uint64_t i = 0; i < part; ++i) {
            dest[done + i] = value_of_stored(header_, channel, &block_[i * size]);
        }
    }
}

void RecordingReader::read_interleaved(std::uint64_t firstSample, std::uint64_t count, float* dest,
                                       std::size_t destStride) {
    const std::size_t size = fileio::stored_size(header_.DataType);
    const std::uint64_t first = firstSample * header_.NrOfChannels;
    const std::uint64_t total = count * header_.NrOfChannels;
    std::uint32_t channel = 0;
    std::size_t sample = 0;
    for (std::uint64_t done = 0; done < total; done += blockElements) {
        const std::uint64_t part = std::min(blockElements, total - done);
        read_stored(first + done, part);
        for (std::uint64_t i = 0; i < part; ++i) {
            dest[channel * destStride + sample] = value_of_stored(header_, channel, &block_[i * size]);
            if (++channel == header_.NrOfChannels) {
                channel = 0;
                ++sample;
            }
        }
    }
}

void RecordingReader::read(std::int64_t firstSample, std::uint32_t count, float* dest) {
    if (!continuous()) {
        throw InputError(path_.string() + ": is cut into conditions (sample ordering " +
                         std::to_string(header_.SampleOrdering) + "); only continuous recordings can be read here");
    }
    const std::int64_t last = std::int64_t{header_.NrOfSamples};
    const std::int64_t begin = std::clamp(firstSample, std::int64_t{0}, last);
    const std::int64_t end = std::clamp(firstSample + std::int64_t{count}, begin, last);
    const auto inside = static_cast<std::uint64_t>(end - begin);
    std::fill_n(dest, std::size_t{header_.NrOfChannels} * count, 0.0f);
    if (inside == 0) {
        return;
    }
    float* start = dest + (begin - firstSample);
    if (header_.SampleOrdering == 2) {
        read_interleaved(static_cast<std::uint64_t>(begin), inside, start, count);
        return;
    }
    for (std::uint32_t channel = 0; channel < header_.NrOfChannels; ++channel) {
        read_run(channel, static_cast<std::uint64_t>(begin), inside, start + std::size_t{channel} * count);
    }
}

namespace {

void require_writable(const RecordingFormat& format) {
    const bool types = format.dataType == 1 || (format.dataType >= 3 && format.dataType <= 5);
    if (!types || (format.ordering != 1 && format.ordering != 2)) {
        throw InputError("a recording with data type " + std::to_string(format.dataType) + " and sample ordering " +
                         std::to_string(format.ordering) + " cannot be written");
    }
    if (format.channels == 0 || format.samples == 0) {
        throw InputError("a recording without channels or samples cannot be written");
    }
    if (std::uint64_t{format.channels} * format.samples > std::numeric_limits<std::uint32_t>::max()) {
        throw InputError("a recording of 2^32 or more sample values cannot be written; choose fewer channels or a "
                         "shorter time");
    }
    const auto usable = [](float scale) { return std::isfinite(scale) && scale != 0.0f; };
    if (format.dataType != 1 &&
        (format.offsets.size() != format.channels || format.scales.size() != format.channels ||
         !std::all_of(format.scales.begin(), format.scales.end(), usable) ||
         !std::all_of(format.offsets.begin(), format.offsets.end(), [](float o) { return std::isfinite(o); }))) {
        throw InputError("a recording with data type " + std::to_string(format.dataType) +
                         " needs an offset and a scale other than 0 for every channel");
    }
}

template <class T>
void put(std::ostream& stream, T value) {
    static_assert(sizeof value == 4);
    stream.write(reinterpret_cast<const char*>(&value), sizeof value);
}

} // namespace

RecordingWriter::RecordingWriter(const std::filesystem::path& file, RecordingFormat format, bool overwrite)
    : format_((require_writable(format), std::move(format))), pending_(file, overwrite) {
    std::ofstream& stream = pending_.stream();
    put(stream, std::uint32_t{1}); // file version
    put(stream, std::uint32_t{0}); // not compressed
    put(stream, format_.dataType);
    put(stream, format_.ordering);
    put(stream, format_.channels);
    put(stream, format_.samples);
    put(stream, format_.rate);
    if (format_.dataType > 2) {
        for (const float offset : format_.offsets) {
            put(stream, offset);
        }
        for (const float scale : format_.scales) {
            put(stream, scale);
        }
    }
    put(stream, std::uint32_t{0}); // no conditions
    const std::uint64_t headerArrays = format_.dataType > 2 ? 8ULL * format_.channels : 0;
    dataPosition_ = 32 + headerArrays;
}

// One channel's values into stored elements that lie `stride` elements apart.
void RecordingWriter::convert(std::uint32_t channel, std::uint32_t count, const float* src, char* stored,
                              std::size_t stride) {
    const std::size_t size = fileio::stored_size(format_.dataType);
    for (std::size_t i = 0; i < count; ++i) {
        char* element = stored + i * stride * size;
        if (format_.dataType == 1) {
            std::memcpy(element, &src[i], size);
            continue;
        }
        const double unscaled = (static_cast<double>(src[i]) - static_cast<double>(format_.offsets[channel])) /
                                static_cast<double>(format_.scales[channel]);
        clipped_ += put_element(format_.dataType, unscaled, element) == Fit::fits ? 0U : 1U;
    }
}

void RecordingWriter::write(std::uint32_t count, const float* src) {
    if (count > format_.samples - written_) {
        throw InputError(pending_.final_path().string() + ": more samples than its header announces");
    }
    const std::size_t size = fileio::stored_size(format_.dataType);
    std::ofstream& stream = pending_.stream();
    if (format_.ordering == 2) {
        block_.resize(std::size_t{count} * format_.channels * size);
        for (std::uint32_t channel = 0; channel < format_.channels; ++channel) {
            convert(channel, count, src + std::size_t{channel} * count, block_.data() + channel * size,
                    format_.channels);
        }
        stream.write(block_.data(), static_cast<std::streamsize>(block_.size()));
    } else {
        block_.resize(count * size);
        for (std::uint32_t channel = 0; channel < format_.channels; ++channel) {
            convert(channel, count, src + std::size_t{channel} * count, block_.data(), 1);
            const std::uint64_t element = std::uint64_t{channel} * format_.samples + written_;
            stream.seekp(static_cast<std::streamoff>(dataPosition_ + element * size));
            stream.write(block_.data(), static_cast<std::streamsize>(block_.size()));
        }
    }
    written_ += count;
    pending_.check();
}

void RecordingWriter::commit() {
    if (written_ != format_.samples) {
        throw InputError(pending_.final_path().string() + ": fewer samples than its header announces");
    }
    pending_.commit();
}

} // namespace workbench
