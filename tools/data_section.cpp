#include "tools/data_section.h"

#include <cstring>
#include <numeric>
#include <string>
#include <system_error>

#include "fileio/ctc_header.h"
#include "workbench/input_error.h"
#include "workbench/run_error.h"

namespace tools {

using workbench::RecordingReader;

namespace {

unsigned int element_code(unsigned int dataType) {
    switch (dataType) {
    case 3:
        return transioInt16;
    case 4:
        return transioInt8;
    default:
        return transioFloat;
    }
}

[[noreturn]] void refuse_to_read(const RecordingReader& recording) {
    throw workbench::RunError(recording.path().string() + ": cannot be read (has it become shorter?)",
                              workbench::exitNotCompleted);
}

std::uint64_t trials_of(const CTCStruct& header, std::uint32_t condition) {
    return std::max<std::uint64_t>(1, header.NrOfTrials[condition]);
}

std::uint64_t epoch_length(const CTCStruct& header, std::uint32_t condition) {
    return std::uint64_t{header.PreTriggerSamples[condition]} + header.PostTriggerSamples[condition];
}

Block whole_block(std::uint64_t first, std::uint64_t frames, std::uint64_t run) {
    return {first, run, 0, frames, 0, run};
}

} // namespace

DataSection::DataSection(const RecordingReader& recording)
    : recording_(recording), elementSize_(fileio::stored_size(recording.header().DataType)) {
    const std::string path = recording.path().string();
    if (path.size() >= sizeof view_.fileName) {
        throw workbench::InputError(path + ": the path is longer than 511 bytes; change to the folder of the recording "
                                           "and give its bare name");
    }
    std::error_code error;
    const std::uint64_t fileBytes = std::filesystem::file_size(recording.path(), error);
    if (error || fileBytes < recording.data_position()) {
        refuse_to_read(recording);
    }
    open_views(fileBytes - recording.data_position());
}

// A view must not be longer than the file: only the elements that are there are viewed.
void DataSection::open_views(std::uint64_t presentBytes) {
    const std::string path = recording_.path().string();
    const std::uint64_t promised = fileio::total_samples(recording_.header());
    whole_ = std::min(promised, presentBytes / elementSize_);
    const auto viewed = static_cast<unsigned int>(whole_);
    if (whole_ > 0 && transio_open(&view_, path.c_str(), recording_.data_position(), 1, &viewed,
                                   element_code(recording_.header().DataType)) != 1) {
        refuse_to_read(recording_);
    }
    const auto rest = static_cast<unsigned int>(presentBytes % elementSize_);
    if (whole_ == promised || rest == 0) {
        return;
    }
    transio_struct bytes{};
    cutOff_.assign(elementSize_, '\0');
    const bool read = transio_open(&bytes, path.c_str(), recording_.data_position() + whole_ * elementSize_, 1, &rest,
                                   transioByte) == 1 &&
                      transio_read_buffer(&bytes, 0, rest, cutOff_.data()) == rest;
    transio_close(&bytes);
    if (!read) {
        refuse_to_read(recording_);
    }
}

DataSection::~DataSection() {
    transio_close(&view_);
}

void DataSection::read(std::uint64_t first, std::uint64_t count, char* dest) const {
    const std::uint64_t present = first < whole_ ? std::min(count, whole_ - first) : 0;
    const auto toRead = static_cast<unsigned int>(present);
    if (toRead > 0 && transio_read_buffer(&view_, first, toRead, dest) != toRead) {
        refuse_to_read(recording_);
    }
    std::memset(dest + present * elementSize_, 0, (count - present) * elementSize_);
    if (!cutOff_.empty() && first <= whole_ && whole_ - first < count) {
        std::memcpy(dest + (whole_ - first) * elementSize_, cutOff_.data(), elementSize_);
    }
}

std::vector<Block> blocks_of(const CTCStruct& header) {
    if (header.SampleOrdering == 1) {
        return {whole_block(0, 1, header.NrOfSamples)};
    }
    if (header.SampleOrdering == 2) {
        return {whole_block(0, header.NrOfSamples, 1)};
    }
    std::vector<Block> blocks;
    for (std::uint32_t k = 0; k < header.NrOfConditions; ++k) {
        const std::uint64_t trials = trials_of(header, k);
        const std::uint64_t length = epoch_length(header, k);
        const std::uint64_t first = header.ConditionStarts[k];
        if (length == 0) {
            continue;
        }
        switch (header.SampleOrdering) {
        case 3: // trial, channel, sample
            blocks.push_back(whole_block(first, trials, length));
            break;
        case 4: // trial, sample, channel
            blocks.push_back(whole_block(first, trials * length, 1));
            break;
        case 5: // channel, sample, trial
            blocks.push_back(whole_block(first, 1, length * trials));
            break;
        default: // sample, channel, trial
            blocks.push_back(whole_block(first, length, trials));
            break;
        }
    }
    return blocks;
}

std::vector<std::uint32_t> all_channels(const CTCStruct& header) {
    std::vector<std::uint32_t> channels(header.NrOfChannels);
    std::iota(channels.begin(), channels.end(), 0U);
    return channels;
}

Strides strides_of(const CTCStruct& header, std::uint32_t condition) {
    const std::uint64_t channels = header.NrOfChannels;
    if (header.SampleOrdering == 1) {
        return {header.NrOfSamples, 1, 0};
    }
    if (header.SampleOrdering == 2) {
        return {1, channels, 0};
    }
    const std::uint64_t trials = trials_of(header, condition);
    const std::uint64_t length = epoch_length(header, condition);
    switch (header.SampleOrdering) {
    case 3:
        return {length, 1, channels * length};
    case 4:
        return {1, channels, channels * length};
    case 5:
        return {length * trials, trials, 1};
    default:
        return {trials, channels * trials, 1};
    }
}

void gather(const DataSection& section, std::uint64_t first, const Strides& strides,
            const std::vector<std::uint32_t>& channels, std::uint64_t count, char* dest) {
    const std::size_t size = section.element_size();
    const std::uint64_t run = (count - 1) * strides.sample + 1;
    std::vector<char> buffer;
    const auto pick = [&](std::uint64_t at, std::size_t place) {
        for (std::uint64_t i = 0; i < count; ++i) {
            std::memcpy(dest + (place * count + i) * size, &buffer[(at + i * strides.sample) * size], size);
        }
    };
    // Where samples lie further apart than channels, the frames from the first sample to the last are read at once.
    const std::uint64_t frames = run + *std::max_element(channels.begin(), channels.end()) * strides.channel;
    if (strides.channel <= strides.sample && frames <= blockElements) {
        buffer.resize(frames * size);
        section.read(first, frames, buffer.data());
        for (std::size_t place = 0; place < channels.size(); ++place) {
            pick(channels[place] * strides.channel, place);
        }
        return;
    }
    buffer.resize(run * size);
    for (std::size_t place = 0; place < channels.size(); ++place) {
        const std::uint64_t start = first + channels[place] * strides.channel;
        if (strides.sample == 1) {
            section.read(start, count, dest + place * count * size);
            continue;
        }
        section.read(start, run, buffer.data());
        pick(0, place);
    }
}

std::uint64_t gather_length(const Strides& strides, std::size_t nChannels) {
    return std::max<std::uint64_t>(1, blockElements / std::max<std::uint64_t>(strides.sample, nChannels));
}

} // namespace tools
