// How file-backed samples move: in how many transfers, where the file was shortened, and where the structure's DataType
// is no longer that of the view.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "fileio/ctc_condition.h"
#include "tests/support/bits.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::append_stored;
using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::same_bits;
using support::TemporaryFolder;

constexpr float untouched = -12345.5f;

unsigned int element_size(unsigned int dataType) {
    return dataType == 3 ? 2 : dataType == 4 ? 1 : 4;
}

// Offset 1 and scale 2 for every channel.
CtcHeader header_of(unsigned int dataType, unsigned int ordering, unsigned int channels, unsigned int samples) {
    CtcHeader header;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = channels;
    header.nrOfSamples = samples;
    header.offsets.assign(channels, 1.0f);
    header.scales.assign(channels, 2.0f);
    return header;
}

// Element i is i + 1.
std::string numbered(unsigned int dataType, unsigned int elements) {
    Bytes bytes;
    for (unsigned int i = 0; i < elements; ++i) {
        append_stored(bytes, dataType, i + 1);
    }
    return bytes.str();
}

// A file-backed recording in a file of its own.
struct Recording {
    TemporaryFolder folder;
    std::string header;
    std::string path;
    CTCStruct ctc{};

    Recording(const CtcHeader& h, const std::string& data)
        : header(ctc_header_bytes(h)), path(folder.write("a.ctc", header + data)) {
        EXPECT_EQ(ReadEntireCTC(&ctc, path.c_str(), 1), 1);
    }
    ~Recording() { FreeCTCMemory(&ctc); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    void cut_to(std::size_t dataBytes) const { std::filesystem::resize_file(path, header.size() + dataBytes); }
    // The data section as it now is. Closes the recording.
    std::string data() {
        FreeCTCMemory(&ctc);
        return support::read_file(path).substr(header.size());
    }
};

// Stands behind a view's stream in the place of its buffer, and notes the transfers.
class NotingBuffer : public std::filebuf {
public:
    explicit NotingBuffer(const Recording& recording) {
        open(recording.path, std::ios::in | std::ios::out | std::ios::binary);
        recording.ctc.FileView->stream->std::ios::rdbuf(this);
    }

    std::vector<std::streamsize> reads;
    std::vector<std::streamsize> writes;

protected:
    std::streamsize xsgetn(char* dest, std::streamsize bytes) override {
        reads.push_back(bytes);
        return std::filebuf::xsgetn(dest, bytes);
    }
    std::streamsize xsputn(const char* src, std::streamsize bytes) override {
        writes.push_back(bytes);
        return std::filebuf::xsputn(src, bytes);
    }
};

using Sizes = std::vector<std::streamsize>;

} // namespace

TEST(Transfers, ARunOfConsecutiveSamplesIsOne) {
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        SCOPED_TRACE(dataType);
        const std::streamsize bytes = 5 * (dataType == 5 ? 1 : element_size(dataType));
        Recording recording(header_of(dataType, 1, 2, 20), numbered(dataType, 40));
        NotingBuffer buffer(recording);
        float values[5] = {};
        EXPECT_EQ(GetChannelSamples(values, &recording.ctc, 0, 3, 5), 5u);
        EXPECT_EQ(buffer.reads, Sizes{bytes});
        EXPECT_EQ(SetChannelSamples(values, &recording.ctc, 0, 3, 5), 5u);
        EXPECT_EQ(buffer.reads, Sizes{bytes}) << "nothing is read for a write";
        EXPECT_EQ(buffer.writes, Sizes{bytes});
    }
}

TEST(Transfers, ARunOfConsecutiveSamplesIsOneWhereTheFileWasShortenedToo) {
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        SCOPED_TRACE(dataType);
        const unsigned int size = dataType == 5 ? 1 : element_size(dataType);
        Recording recording(header_of(dataType, 1, 2, 20), numbered(dataType, 40));
        recording.cut_to(2 * size);
        NotingBuffer buffer(recording);
        const float values[5] = {3, 3, 3, 3, 3};
        EXPECT_EQ(SetChannelSamples(values, &recording.ctc, 0, 4, 5), 5u);
        EXPECT_EQ(buffer.reads, Sizes{});
        EXPECT_EQ(buffer.writes, Sizes{5 * size});
        buffer.close();
        // The file grows to the end of the run; 16- and 8-bit runs are stored five samples further on.
        const unsigned int place = dataType == 3 || dataType == 4 ? 9 : 4;
        Bytes stored;
        for (int i = 0; i < 5; ++i) {
            append_stored(stored, dataType, dataType == 1 ? 3 : 1);
        }
        EXPECT_EQ(recording.data(), numbered(dataType, 40).substr(0, 2 * size) + std::string((place - 2) * size, '\0') +
                                        stored.str().substr(0, 5 * size));
    }
}

TEST(Transfers, SamplesThatLieApartAreWrittenOneByOneWhereTheFileWasShortened) {
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        SCOPED_TRACE(dataType);
        const unsigned int size = dataType == 5 ? 1 : element_size(dataType);
        Recording recording(header_of(dataType, 2, 3, 10), numbered(dataType, 30));
        recording.cut_to(8 * size); // samples 0 and 1, and two channels of sample 2
        NotingBuffer buffer(recording);
        const float values[4] = {3, 5, 7, 9};
        EXPECT_EQ(SetChannelSamples(values, &recording.ctc, 1, 2, 4), 4u);
        EXPECT_EQ(buffer.writes, Sizes(4, size));
        buffer.close();
        std::string expected = numbered(dataType, 30).substr(0, 8 * size);
        expected.resize(17 * size); // the last is sample 5 of channel 1
        for (unsigned int i = 0; i < 4; ++i) {
            Bytes stored;
            append_stored(stored, dataType, static_cast<double>(dataType == 1 ? values[i] : (values[i] - 1) / 2));
            expected.replace((3 * (2 + i) + 1) * size, size, stored.str().substr(0, size));
        }
        EXPECT_EQ(recording.data(), expected);
    }
}

TEST(Transfers, ConsecutiveFloatsOfAFileCutShortAreReadStraightIntoDest) {
    Recording recording(header_of(1, 1, 1, 10), numbered(1, 10));
    recording.cut_to(22); // five floats and half of the sixth
    float dest[8] = {untouched, untouched, untouched, untouched, untouched, untouched, untouched, untouched};
    EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 3, 7), 7u);
    EXPECT_EQ(dest[0], 4.0f);
    EXPECT_EQ(dest[1], 5.0f);
    float half = untouched;
    std::memcpy(&half, numbered(1, 6).data() + 20, 2);
    EXPECT_TRUE(same_bits(dest[2], half)) << dest[2];
    for (int i = 3; i < 8; ++i) {
        EXPECT_EQ(dest[i], untouched) << i;
    }
}

TEST(Transfers, ConsecutiveScaledFloatsOfAFileCutShortAreReadStraightIntoDestAndAllConverted) {
    const std::string data = numbered(5, 10);
    Recording recording(header_of(5, 1, 1, 10), data);
    recording.cut_to(7); // single bytes: those of 3 to 6 are there
    float dest[7] = {2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, untouched};
    float expected[7];
    std::memcpy(expected, dest, sizeof dest);
    std::memcpy(expected, data.data() + 3, 4);
    EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 3, 6), 6u);
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(same_bits(dest[i], 2.0f * expected[i] + 1.0f)) << i << ": " << dest[i];
    }
    EXPECT_EQ(dest[6], untouched);
}

// A view of 4-byte elements would overrun what is made for a run of 16- or 8-bit samples.
TEST(Transfers, ADataTypeOfSmallerElementsThanTheViewsMovesNothing) {
    struct Case {
        unsigned int opened;
        unsigned int changed;
    };
    for (const Case c : {Case{1, 3}, Case{1, 4}, Case{3, 4}}) {
        for (unsigned int ordering = 1; ordering <= 6; ++ordering) {
            SCOPED_TRACE(std::to_string(c.opened) + " to " + std::to_string(c.changed) + ", ordering " +
                         std::to_string(ordering));
            CtcHeader header = header_of(c.opened, ordering, 2, 500);
            header.trials = {1};
            header.pre = {0};
            header.post = {500};
            const std::string data = numbered(1, 1000).substr(0, 1000 * element_size(c.opened));
            Recording recording(header, data);
            CTCStruct& ctc = recording.ctc;
            float ones[2] = {1.0f, 1.0f};
            float* const offsets = ctc.ChannelOffsets;
            float* const scales = ctc.ChannelScales;
            ctc.ChannelOffsets = ctc.ChannelScales = ones;
            ctc.DataType = c.changed;
            std::vector<float> values(400, untouched);
            if (ordering <= 2) {
                EXPECT_EQ(GetChannelSamples(values.data(), &ctc, 0, 3, 400), 0u);
                EXPECT_EQ(SetChannelSamples(values.data(), &ctc, 0, 3, 400), 0u);
            } else {
                EXPECT_EQ(GetConditionChannelSamples(values.data(), &ctc, 0, 0, 0, 3, 400), 0u);
                EXPECT_EQ(SetConditionChannelSamples(values.data(), &ctc, 0, 0, 0, 3, 400), 0u);
            }
            EXPECT_EQ(values, std::vector<float>(400, untouched));
            ctc.ChannelOffsets = offsets;
            ctc.ChannelScales = scales;
            EXPECT_EQ(recording.data(), data);
        }
    }
}

// Of larger elements only the view's bytes move, also where the last sample ends a block.
TEST(Transfers, ADataTypeOfLargerElementsThanTheViewsMovesTheViewsBytes) {
    constexpr unsigned int samples = 5000; // 7 channels of 2 bytes: sample 4681 of channel 0 ends a block of 65536
    std::string expected = numbered(3, 7 * samples);
    Recording recording(header_of(3, 2, 7, samples), expected);
    recording.ctc.DataType = 1;
    std::vector<float> values(samples, untouched);
    EXPECT_EQ(GetChannelSamples(values.data(), &recording.ctc, 0, 0, samples), samples);
    for (unsigned int s = 0; s < samples; ++s) {
        const std::uint32_t bits = (7 * s + 1) & 0xFFFFU;
        float stored = 0.0f;
        std::memcpy(&stored, &bits, sizeof stored);
        ASSERT_TRUE(same_bits(values[s], stored)) << s;
    }
    for (unsigned int s = 0; s < samples; ++s) {
        const std::uint32_t bits = 0xABCD0000U | s;
        std::memcpy(&values[s], &bits, sizeof bits);
        expected.replace(14 * std::size_t{s}, 2, Bytes().u16(s).str());
    }
    EXPECT_EQ(SetChannelSamples(values.data(), &recording.ctc, 0, 0, samples), samples);
    EXPECT_TRUE(recording.data() == expected);
}
