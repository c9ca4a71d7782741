#include "workbench/recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include <sys/stat.h>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using support::append_stored;
using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::TemporaryFolder;
using test::refusal;
using workbench::RecordingFormat;
using workbench::RecordingReader;
using workbench::RecordingWriter;

// The stored element of a channel and sample in the recordings of these tests: fits 8 bits.
int stored_value(std::uint32_t channel, std::uint32_t sample) {
    return static_cast<int>((channel * 31 + sample * 7) % 251) - 125;
}

CtcHeader header_of(std::uint32_t dataType, std::uint32_t ordering, std::uint32_t channels, std::uint32_t samples) {
    CtcHeader header;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = channels;
    header.nrOfSamples = samples;
    header.samplingFrequency = 250.0f;
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        header.offsets.push_back(static_cast<float>(channel) - 1.0f);
        header.scales.push_back(0.5f * static_cast<float>(channel + 1));
    }
    return header;
}

std::string recording_bytes(const CtcHeader& header) {
    Bytes bytes;
    bytes.raw(ctc_header_bytes(header));
    const std::uint32_t total = header.nrOfChannels * header.nrOfSamples;
    for (std::uint32_t i = 0; i < total; ++i) {
        const bool byChannel = header.sampleOrdering == 1;
        const std::uint32_t channel = byChannel ? i / header.nrOfSamples : i % header.nrOfChannels;
        const std::uint32_t sample = byChannel ? i % header.nrOfSamples : i / header.nrOfChannels;
        append_stored(bytes, header.dataType, stored_value(channel, sample));
    }
    return bytes.str();
}

float physical(const CtcHeader& header, std::uint32_t channel, std::uint32_t sample) {
    const auto stored = static_cast<float>(stored_value(channel, sample));
    return header.dataType == 1 ? stored : stored * header.scales[channel] + header.offsets[channel];
}

struct Layout {
    std::uint32_t dataType;
    std::uint32_t ordering;
};

class EveryLayout : public testing::TestWithParam<Layout> {
protected:
    TemporaryFolder folder;
};

std::string layout_name(const testing::TestParamInfo<Layout>& info) {
    return "DataType" + std::to_string(info.param.dataType) + "Ordering" + std::to_string(info.param.ordering);
}

INSTANTIATE_TEST_SUITE_P(Recording, EveryLayout,
                         testing::Values(Layout{1, 1}, Layout{1, 2}, Layout{3, 1}, Layout{3, 2}, Layout{4, 1},
                                         Layout{4, 2}, Layout{5, 1}, Layout{5, 2}),
                         layout_name);

TEST_P(EveryLayout, IsReadInPhysicalValues) {
    const CtcHeader header = header_of(GetParam().dataType, GetParam().ordering, 3, 11);
    const std::string bytes = recording_bytes(header);
    const std::string file = folder.write("r.ctc", bytes);
    RecordingReader reader(file);
    EXPECT_TRUE(reader.continuous());
    EXPECT_EQ(reader.path(), file);
    EXPECT_EQ(std::string(reader.header().fileName), file);
    EXPECT_EQ(reader.header().FileVersion, 1U);
    EXPECT_EQ(reader.header().NrOfChannels, 3U);
    EXPECT_EQ(reader.header().NrOfSamples, 11U);
    EXPECT_EQ(reader.header().SamplingFrequency, 250.0f);
    EXPECT_EQ(reader.header().FileView, nullptr);
    EXPECT_EQ(reader.data_position(), ctc_header_bytes(header).size());
    EXPECT_EQ(reader.missing_elements(), 0U);

    std::vector<float> block(3 * 5, -1.0f);
    reader.read(4, 5, block.data());
    for (std::uint32_t channel = 0; channel < 3; ++channel) {
        for (std::uint32_t i = 0; i < 5; ++i) {
            EXPECT_EQ(block[channel * 5 + i], physical(header, channel, 4 + i)) << channel << " " << i;
        }
    }
    EXPECT_EQ(folder.read("r.ctc"), bytes);
}

TEST_P(EveryLayout, SamplesOutsideTheRecordingAreZero) {
    const CtcHeader header = header_of(GetParam().dataType, GetParam().ordering, 2, 6);
    RecordingReader reader(folder.write("r.ctc", recording_bytes(header)));
    std::vector<float> block(2 * 12, -1.0f);
    reader.read(-3, 12, block.data());
    for (std::uint32_t channel = 0; channel < 2; ++channel) {
        for (std::uint32_t i = 0; i < 12; ++i) {
            const bool inside = i >= 3 && i < 9;
            EXPECT_EQ(block[channel * 12 + i], inside ? physical(header, channel, i - 3) : 0.0f);
        }
    }
    for (const std::int64_t first : {std::int64_t{-12}, std::int64_t{6}, std::int64_t{1} << 40}) {
        std::fill(block.begin(), block.end(), -1.0f);
        reader.read(first, 12, block.data());
        EXPECT_EQ(block, std::vector<float>(24, 0.0f));
    }
    reader.read(2, 0, nullptr);
}

TEST_P(EveryLayout, LongRecordingsAreReadInBlocks) {
    const CtcHeader header = header_of(GetParam().dataType, GetParam().ordering, 3, 70000);
    RecordingReader reader(folder.write("r.ctc", recording_bytes(header)));
    std::vector<float> block(3 * 69998, -1.0f);
    reader.read(1, 69998, block.data());
    std::size_t wrong = 0;
    for (std::uint32_t channel = 0; channel < 3; ++channel) {
        for (std::uint32_t i = 0; i < 69998; ++i) {
            wrong += block[channel * std::size_t{69998} + i] != physical(header, channel, i + 1) ? 1U : 0U;
        }
    }
    EXPECT_EQ(wrong, 0U);
}

TEST_P(EveryLayout, MissingSamplesCountAsStoredZerosAndTheFileStaysShort) {
    const CtcHeader header = header_of(GetParam().dataType, GetParam().ordering, 2, 5);
    const std::string whole = recording_bytes(header);
    const std::size_t size = (whole.size() - ctc_header_bytes(header).size()) / 10;
    const std::string cut = whole.substr(0, whole.size() - 3 * size);
    RecordingReader reader(folder.write("r.ctc", cut));
    EXPECT_EQ(reader.missing_elements(), 3U);
    std::vector<float> block(10, -1.0f);
    reader.read(0, 5, block.data());
    for (std::uint32_t channel = 0; channel < 2; ++channel) {
        for (std::uint32_t i = 0; i < 5; ++i) {
            const std::uint32_t place = GetParam().ordering == 1 ? channel * 5 + i : i * 2 + channel;
            const float zero = GetParam().dataType == 1 ? 0.0f : header.offsets[channel];
            EXPECT_EQ(block[channel * 5 + i], place < 7 ? physical(header, channel, i) : zero) << channel << " " << i;
        }
    }
    EXPECT_EQ(folder.read("r.ctc"), cut);
}

TEST_P(EveryLayout, WhatIsWrittenHasTheFormatsBytes) {
    const CtcHeader header = header_of(GetParam().dataType, GetParam().ordering, 3, 10);
    RecordingFormat format{3, 10, 250.0f, GetParam().dataType, GetParam().ordering, header.offsets, header.scales};
    RecordingWriter writer(folder.path("w.ctc"), format, false);
    std::uint32_t written = 0;
    for (const std::uint32_t count : {1U, 4U, 0U, 5U}) {
        std::vector<float> block;
        for (std::uint32_t channel = 0; channel < 3; ++channel) {
            for (std::uint32_t i = 0; i < count; ++i) {
                block.push_back(physical(header, channel, written + i));
            }
        }
        writer.write(count, block.data());
        written += count;
    }
    EXPECT_FALSE(folder.has("w.ctc"));
    writer.commit();
    EXPECT_EQ(writer.clipped(), 0U);
    EXPECT_EQ(folder.read("w.ctc"), recording_bytes(header));
}

TEST(RecordingReader, ReadsTheLittleThereIsOfACutElementAsTheModuleDoes) {
    const TemporaryFolder folder;
    CtcHeader header = header_of(3, 1, 1, 3);
    header.offsets = {0.0f};
    header.scales = {1.0f};
    Bytes bytes;
    bytes.raw(ctc_header_bytes(header)).i16(300).u8(0x2C); // the second element lacks its high byte
    RecordingReader reader(folder.write("r.ctc", bytes.str()));
    EXPECT_EQ(reader.missing_elements(), 2U);
    float block[3];
    reader.read(0, 3, block);
    EXPECT_EQ(block[0], 300.0f);
    EXPECT_EQ(block[1], 44.0f);
    EXPECT_EQ(block[2], 0.0f);
}

TEST(RecordingReader, OpensButDoesNotReadRecordingsCutIntoConditions) {
    const TemporaryFolder folder;
    CtcHeader header = header_of(1, 4, 2, 0);
    header.trials = {3};
    header.pre = {2};
    header.post = {5};
    RecordingReader reader(folder.write("r.ctc", ctc_header_bytes(header)));
    EXPECT_FALSE(reader.continuous());
    EXPECT_EQ(reader.missing_elements(), 42U);
    EXPECT_EQ(reader.header().NrOfConditions, 1U);
    float value = 0.0f;
    EXPECT_EQ(refusal([&] { reader.read(0, 1, &value); }),
              folder.path("r.ctc") + ": is cut into conditions (sample ordering 4); only continuous recordings can be "
                                     "read here");
}

class RecordingReaderRefusal : public testing::Test {
protected:
    std::string reason(const std::string& bytes) {
        const std::string file = folder.write("r.ctc", bytes);
        const std::string message = refusal([&] { RecordingReader reader(file); });
        EXPECT_EQ(message.substr(0, file.size() + 2), file + ": ");
        EXPECT_EQ(folder.read("r.ctc"), bytes);
        return message.substr(file.size() + 2);
    }

    TemporaryFolder folder;
};

TEST_F(RecordingReaderRefusal, HeaderCutAnywhere) {
    CtcHeader header = header_of(3, 1, 2, 4);
    header.compressionType = 1;
    header.compressionParams = {7, 8};
    header.trials = {1};
    header.pre = {1};
    header.post = {1};
    const std::string whole = ctc_header_bytes(header);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(reason(whole.substr(0, length)), "is not a CTC recording, or its header is cut short") << length;
    }
    RecordingReader(folder.write("r.ctc", whole));
}

TEST_F(RecordingReaderRefusal, NotARecording) {
    EXPECT_EQ(reason("condition,sample_number_0based\nslice,1\n"),
              "is not a CTC recording, or its header is cut short");
    EXPECT_EQ(refusal([&] { RecordingReader reader(folder.path("none.ctc")); }),
              folder.path("none.ctc") + ": no such file");
    EXPECT_EQ(refusal([&] { RecordingReader reader(folder.path()); }), folder.path() + ": is a folder, not a file");
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(refusal([&] { RecordingReader reader(pipe); }), pipe + ": is not a regular file");
}

TEST_F(RecordingReaderRefusal, UnsupportedTypesAndOrderings) {
    for (const std::uint32_t dataType : {0U, 2U, 6U, 99U}) {
        EXPECT_EQ(reason(recording_bytes(header_of(dataType, 1, 2, 4))),
                  "has data type " + std::to_string(dataType) + "; only 1, 3, 4 and 5 can be read");
    }
    for (const std::uint32_t ordering : {0U, 7U, 4000000000U}) {
        EXPECT_EQ(reason(recording_bytes(header_of(1, ordering, 2, 4))),
                  "has sample ordering " + std::to_string(ordering) + "; only 1 to 6 exist");
    }
}

TEST_F(RecordingReaderRefusal, AbsurdCounts) {
    CtcHeader header;
    header.nrOfChannels = 65536;
    header.nrOfSamples = 65536;
    EXPECT_EQ(reason(ctc_header_bytes(header)), "announces 2^32 or more sample values, which cannot be addressed");
    header.nrOfChannels = 4000000000U;
    header.nrOfSamples = 1;
    EXPECT_EQ(reason(ctc_header_bytes(header)), "announces 4000000000 channels, but its data section is cut short");
    header.nrOfChannels = 0;
    EXPECT_EQ(reason(ctc_header_bytes(header)), "holds no samples (0 channels, 1 samples, 0 conditions)");
    header.nrOfChannels = 3;
    header.nrOfSamples = 0;
    EXPECT_EQ(reason(ctc_header_bytes(header)), "holds no samples (3 channels, 0 samples, 0 conditions)");
    header.nrOfSamples = 1;
    header.fileVersion = 0;
    EXPECT_EQ(reason(ctc_header_bytes(header)), "has file version 0, which marks a recording that was never completed");
}

TEST(RecordingWriter, RoundsToTheNearestStoredValueAndClips) {
    const TemporaryFolder folder;
    struct Case {
        float value;
        int stored16;
        int stored8;
    };
    const float infinity = std::numeric_limits<float>::infinity();
    const Case cases[] = {{0.5f, 1, 1},           {-0.5f, -1, -1},        {1.4f, 1, 1},          {126.6f, 127, 127},
                          {127.4f, 127, 127},     {127.6f, 128, 127},     {-128.4f, -128, -128}, {-200.0f, -200, -128},
                          {32767.4f, 32767, 127}, {40000.0f, 32767, 127}, {-1e9f, -32768, -128}, {infinity, 32767, 127},
                          {std::nanf(""), 0, 0}};
    const std::uint32_t count = sizeof cases / sizeof *cases;
    std::vector<float> values;
    Bytes expected16;
    Bytes expected8;
    for (const Case& one : cases) {
        values.push_back(one.value * 0.25f + 3.0f);
        expected16.i16(one.stored16);
        expected8.i8(one.stored8);
    }
    RecordingFormat format{1, count, 100.0f, 3, 1, {3.0f}, {0.25f}};
    RecordingWriter writer16(folder.path("16.ctc"), format, false);
    writer16.write(count, values.data());
    writer16.commit();
    EXPECT_EQ(writer16.clipped(), 4U);
    EXPECT_EQ(folder.read("16.ctc").substr(40), expected16.str());
    format.dataType = 4;
    RecordingWriter writer8(folder.path("8.ctc"), format, false);
    writer8.write(count, values.data());
    writer8.commit();
    EXPECT_EQ(writer8.clipped(), 7U);
    EXPECT_EQ(folder.read("8.ctc").substr(40), expected8.str());
}

TEST(RecordingWriter, WantsExactlyTheSamplesAnnounced) {
    const TemporaryFolder folder;
    const std::vector<float> block(8, 1.0f);
    {
        RecordingWriter writer(folder.path("w.ctc"), {2, 5, 100.0f, 1, 1, {}, {}}, false);
        writer.write(4, block.data());
        EXPECT_EQ(refusal([&] { writer.commit(); }),
                  folder.path("w.ctc") + ": fewer samples than its header announces");
        EXPECT_EQ(refusal([&] { writer.write(2, block.data()); }),
                  folder.path("w.ctc") + ": more samples than its header announces");
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(RecordingWriter, RefusesFormatsThatCannotBeWritten) {
    const TemporaryFolder folder;
    const auto reason = [&](const RecordingFormat& format) {
        return refusal([&] { RecordingWriter(folder.path("w.ctc"), format, false); });
    };
    EXPECT_EQ(reason({1, 1, 1.0f, 2, 1, {0.0f}, {1.0f}}),
              "a recording with data type 2 and sample ordering 1 cannot be written");
    EXPECT_EQ(reason({1, 1, 1.0f, 1, 3, {}, {}}),
              "a recording with data type 1 and sample ordering 3 cannot be written");
    EXPECT_EQ(reason({0, 1, 1.0f, 1, 1, {}, {}}), "a recording without channels or samples cannot be written");
    EXPECT_EQ(reason({1, 0, 1.0f, 1, 1, {}, {}}), "a recording without channels or samples cannot be written");
    EXPECT_EQ(reason({65536, 65536, 1.0f, 1, 1, {}, {}}),
              "a recording of 2^32 or more sample values cannot be written; choose fewer channels or a shorter time");
    const std::string scales =
        "a recording with data type 3 needs an offset and a scale other than 0 for every channel";
    EXPECT_EQ(reason({1, 1, 1.0f, 3, 1, {0.0f}, {0.0f}}), scales);
    EXPECT_EQ(reason({2, 1, 1.0f, 3, 1, {0.0f, 0.0f}, {1.0f}}), scales);
    EXPECT_EQ(reason({1, 1, 1.0f, 3, 1, {std::nanf("")}, {1.0f}}), scales);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

} // namespace
