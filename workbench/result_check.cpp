#include "workbench/result_check.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>

#include "workbench/channel_list.h"
#include "workbench/input_error.h"

namespace workbench {

namespace {

std::string first_bytes(const std::filesystem::path& path, std::uint64_t count) {
    std::string bytes(count, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

// Lines of a text file; more than any file has where the last one is cut.
std::size_t complete_lines(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    return text.empty() || text.back() == '\n' ? lines : SIZE_MAX;
}

// Channels of a float recording that hold a value that is no number.
std::vector<std::uint32_t> channels_with_non_numbers(RecordingReader& recording) {
    const std::uint32_t nChannels = recording.header().NrOfChannels;
    const std::uint64_t nSamples = recording.header().NrOfSamples;
    const auto blockLength = static_cast<std::uint32_t>(
        std::clamp<std::uint64_t>((std::uint64_t{1} << 22) / std::max(1U, nChannels), 1, 65536));
    std::vector<float> block(static_cast<std::size_t>(nChannels) * blockLength);
    std::vector<bool> found(nChannels, false);
    for (std::uint64_t first = 0; first < nSamples; first += blockLength) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(blockLength, nSamples - first));
        recording.read(static_cast<std::int64_t>(first), count, block.data());
        for (std::size_t c = 0; c < nChannels; ++c) {
            const float* samples = &block[c * count];
            found[c] = found[c] || !std::all_of(samples, samples + count, [](float x) { return std::isfinite(x); });
        }
    }
    std::vector<std::uint32_t> channels;
    for (std::uint32_t c = 0; c < nChannels; ++c) {
        if (found[c]) {
            channels.push_back(c);
        }
    }
    return channels;
}

} // namespace

ResultCheck check_result(RecordingReader& recording, const std::filesystem::path& cleaned,
                         const std::filesystem::path& trials, std::size_t nTrials) {
    if (recording.changed()) {
        return {"the recording " + recording.path().string() + " changed during the run", {}};
    }
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(cleaned, error);
    if (error || size != recording.size_when_whole() ||
        first_bytes(cleaned, recording.data_position()) != first_bytes(recording.path(), recording.data_position())) {
        return {"the cleaned recording is not whole (is the disk full?)", {}};
    }
    if (complete_lines(trials) != nTrials) {
        return {"the trial file is not whole (is the disk full?)", {}};
    }
    ResultCheck check;
    if (recording.header().DataType == 1) {
        RecordingReader result(cleaned);
        const std::vector<std::uint32_t> channels = channels_with_non_numbers(result);
        if (!channels.empty()) {
            check.notes.push_back("the cleaned recording has values that are not numbers in channel " +
                                  channel_list(channels));
        }
    }
    return check;
}

} // namespace workbench
