#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fileio/transio.h"
#include "tools/job.h"
#include "workbench/recording.h"

namespace tools {

/// Elements that are held in memory at a time.
constexpr std::uint64_t blockElements = 1 << 20;

/// The stored elements of a recording, through a view of its own that has the true element size of every data type
/// (the library's own view of scaled floats moves single bytes). It is opened for reading only: a data section that is
/// cut short stays so, and what is missing is read as zeros.
class DataSection {
public:
    /// Throws InputError for a path that is too long for a view. The recording must outlive it.
    explicit DataSection(const workbench::RecordingReader& recording);
    ~DataSection();
    DataSection(const DataSection&) = delete;
    DataSection& operator=(const DataSection&) = delete;

    const workbench::RecordingReader& recording() const { return recording_; }
    std::size_t element_size() const { return elementSize_; }

    /// Elements first .. first + count - 1 into dest. Throws RunError when they cannot be read.
    void read(std::uint64_t first, std::uint64_t count, char* dest) const;

private:
    void open_views(std::uint64_t presentBytes);

    const workbench::RecordingReader& recording_;
    std::size_t elementSize_;
    transio_struct view_{};    // of the elements that the file holds whole
    std::uint64_t whole_ = 0;  // how many
    std::vector<char> cutOff_; // the element that the file's end cuts off, filled up with zeros; or empty
};

/// A stretch of a data section in which every frame holds one run of consecutive elements per channel: frame after
/// frame, in it channel after channel.
struct Block {
    std::uint64_t first;      ///< element of frame 0, channel 0
    std::uint64_t run;        ///< elements of a channel in a frame
    std::uint64_t firstFrame; ///< the part of the block that is wanted: frames ...
    std::uint64_t frames;
    std::uint64_t skip; ///< ... and elements of each run
    std::uint64_t take;
};

/// The blocks of a recording, whole: one for a continuous recording, one per condition that has samples for others.
std::vector<Block> blocks_of(const CTCStruct& header);

/// All channels of a recording, from 0.
std::vector<std::uint32_t> all_channels(const CTCStruct& header);

/// Reads blocks in the order of their elements, and gives them away as pieces: use(place, elements, count) with
/// consecutive elements of the channel channels[place]. The pieces, one after the other, are a data section of the same
/// ordering with these channels and parts of blocks.
template <class Use>
void for_each_piece(const DataSection& section, const std::vector<Block>& blocks,
                    const std::vector<std::uint32_t>& channels, Job& job, const Use& use) {
    const std::size_t size = section.element_size();
    const std::uint64_t nChannels = section.recording().header().NrOfChannels;
    std::vector<char> buffer;
    const auto read = [&](std::uint64_t first, std::uint64_t count) {
        buffer.resize(static_cast<std::size_t>(count) * size);
        section.read(first, count, buffer.data());
    };
    for (const Block& block : blocks) {
        const std::uint64_t frameLength = block.run * nChannels;
        const std::uint64_t framesAtOnce = blockElements / frameLength;
        const std::uint64_t start = block.first + block.firstFrame * frameLength;
        if (framesAtOnce > 0) {
            for (std::uint64_t frame = 0; frame < block.frames; frame += framesAtOnce) {
                const std::uint64_t count = std::min(framesAtOnce, block.frames - frame);
                read(start + frame * frameLength, count * frameLength);
                for (std::uint64_t f = 0; f < count; ++f) {
                    for (std::size_t place = 0; place < channels.size(); ++place) {
                        const std::uint64_t at = f * frameLength + channels[place] * block.run + block.skip;
                        use(place, &buffer[at * size], block.take);
                    }
                }
                job.advance(count * channels.size() * block.take);
            }
            continue;
        }
        for (std::uint64_t frame = 0; frame < block.frames; ++frame) { // too long to be held whole
            for (std::size_t place = 0; place < channels.size(); ++place) {
                const std::uint64_t run = start + frame * frameLength + channels[place] * block.run + block.skip;
                for (std::uint64_t done = 0; done < block.take; done += blockElements) {
                    const std::uint64_t count = std::min(blockElements, block.take - done);
                    read(run + done, count);
                    use(place, buffer.data(), count);
                    job.advance(count);
                }
            }
        }
    }
}

/// How far apart neighbours lie in a block of samples, in elements.
struct Strides {
    std::uint64_t channel;
    std::uint64_t sample;
    std::uint64_t trial;
};

/// @param condition  from 0; not used for continuous recordings, which have one trial.
Strides strides_of(const CTCStruct& header, std::uint32_t condition);

/// Samples one channel after the other: dest[(place * count + i) * size] becomes the stored element of channel
/// channels[place] that lies `i` samples after that of channel 0 at `first`.
void gather(const DataSection& section, std::uint64_t first, const Strides& strides,
            const std::vector<std::uint32_t>& channels, std::uint64_t count, char* dest);

/// How many samples gather can take at a time without a large buffer; at least 1.
std::uint64_t gather_length(const Strides& strides, std::size_t nChannels);

} // namespace tools
