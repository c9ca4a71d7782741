#include "workbench/copied_samples.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <utility>

#include "fileio/ctc_header.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench {

namespace {

constexpr std::uint64_t blockBytes = 1 << 20;

// Ascending ranges of samples [first, last) that the windows of the triggers cover.
std::vector<std::pair<std::uint64_t, std::uint64_t>> covered_samples(std::vector<std::int64_t> triggers,
                                                                     const Window& window, std::uint64_t nSamples) {
    std::sort(triggers.begin(), triggers.end());
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    for (const std::int64_t trigger : triggers) {
        if (!window.fits(trigger, nSamples)) {
            continue;
        }
        const auto first = static_cast<std::uint64_t>(trigger - window.preS);
        const std::uint64_t last = first + static_cast<std::uint64_t>(window.length());
        if (!ranges.empty() && first <= ranges.back().second) {
            ranges.back().second = last;
        } else {
            ranges.emplace_back(first, last);
        }
    }
    return ranges;
}

// The bytes of the data section that the module may have written, one range after the other. They ascend, but may
// overlap at the end of a channel.
class WrittenBytes {
public:
    WrittenBytes(const CTCStruct& header, const std::vector<std::int64_t>& triggers, const Window& window)
        : ranges_(covered_samples(triggers, window, header.NrOfSamples)) {
        const bool byChannel = header.SampleOrdering == 1;
        // Scaled floats are addressed as single bytes; short samples stored by channel land one window later.
        const std::uint64_t size = header.DataType == 5 ? 1 : fileio::stored_size(header.DataType);
        const bool shifted = byChannel && (header.DataType == 3 || header.DataType == 4);
        groups_ = byChannel ? header.NrOfChannels : 1;
        bytesPerGroup_ = header.NrOfSamples * size;
        bytesPerSample_ = byChannel ? size : size * header.NrOfChannels;
        shift_ = shifted ? static_cast<std::uint64_t>(window.length()) * size : 0;
    }

    bool at_end() const { return ranges_.empty() || group_ == groups_; }
    std::uint64_t first() const { return start() + ranges_[range_].first * bytesPerSample_; }
    std::uint64_t last() const { return start() + ranges_[range_].second * bytesPerSample_; }
    void next() {
        if (++range_ == ranges_.size()) {
            range_ = 0;
            ++group_;
        }
    }

private:
    std::uint64_t start() const { return group_ * bytesPerGroup_ + shift_; }

    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges_;
    std::uint64_t groups_ = 0; // channels, where they are stored one after the other
    std::uint64_t bytesPerGroup_ = 0;
    std::uint64_t bytesPerSample_ = 0;
    std::uint64_t shift_ = 0;
    std::uint64_t group_ = 0;
    std::size_t range_ = 0;
};

// The next bytes of a file, and zeros after its end.
void read_next(std::ifstream& file, const std::filesystem::path& path, std::vector<char>& block) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    if (file.bad()) {
        throw InputError(path.string() + ": cannot be read");
    }
    std::fill(block.begin() + file.gcount(), block.end(), '\0');
}

} // namespace

bool is_copy_outside_windows(const RecordingReader& recording, const std::filesystem::path& cleaned,
                             const std::vector<std::int64_t>& triggers, const Window& window) {
    std::ifstream before = open_input_file(recording.path(), false);
    std::ifstream after = open_input_file(cleaned, false);
    before.seekg(static_cast<std::streamoff>(recording.data_position()));
    after.seekg(static_cast<std::streamoff>(recording.data_position()));
    const std::uint64_t total = recording.size_when_whole() - recording.data_position();
    WrittenBytes written(recording.header(), triggers, window);
    std::vector<char> blockBefore;
    std::vector<char> blockAfter;
    for (std::uint64_t start = 0; start < total; start += blockBytes) {
        const std::uint64_t end = std::min(start + blockBytes, total);
        blockBefore.resize(end - start);
        blockAfter.resize(end - start);
        read_next(before, recording.path(), blockBefore);
        read_next(after, cleaned, blockAfter);
        while (!written.at_end() && written.first() < end) {
            const std::uint64_t first = std::max(written.first(), start) - start;
            const std::uint64_t last = std::min(written.last(), end) - start;
            if (written.last() > start) {
                std::copy_n(&blockBefore[first], last - first, &blockAfter[first]);
            }
            if (written.last() > end) {
                break; // it goes on in the next block
            }
            written.next();
        }
        if (blockBefore != blockAfter) {
            return false;
        }
    }
    return true;
}

} // namespace workbench
