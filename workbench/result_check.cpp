#include "workbench/result_check.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

#include "workbench/channel_list.h"
#include "workbench/copied_samples.h"
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

// Why a file's bytes did not reach the disk; empty when they did, or when the file system knows no such thing. Without
// this a power cut could leave a name that stands for less, and an error that comes late would go unseen.
std::string put_on_disk(const std::filesystem::path& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::strerror(errno);
    }
    const bool failed = fsync(descriptor) != 0 && errno != EINVAL && errno != ENOSYS;
    const std::string reason = failed ? std::strerror(errno) : "";
    close(descriptor);
    return reason;
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
                         const std::filesystem::path& trials, const std::vector<std::int64_t>& triggers,
                         const Window& window) {
    if (recording.changed()) {
        return {"the recording " + recording.path().string() + " changed during the run", {}};
    }
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(cleaned, error);
    if (error || size != recording.size_when_whole() ||
        first_bytes(cleaned, recording.data_position()) != first_bytes(recording.path(), recording.data_position())) {
        return {"the cleaned recording is not whole (is the disk full?)", {}};
    }
    if (complete_lines(trials) != triggers.size()) {
        return {"the trial file is not whole (is the disk full?)", {}};
    }
    if (!is_copy_outside_windows(recording, cleaned, triggers, window)) {
        return {"the cleaned recording does not hold the recording's samples outside the windows of the triggers (was "
                "it copied whole?)",
                {}};
    }
    for (const std::filesystem::path& result : {cleaned, trials}) {
        const std::string problem = put_on_disk(result);
        if (!problem.empty()) {
            return {"the results could not be put on the disk (" + problem + ")", {}};
        }
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
