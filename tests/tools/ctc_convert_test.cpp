#include <cfloat>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "tests/support/checkers.h"
#include "tests/tools/ctc_program.h"

namespace {

using namespace test;

constexpr float infinity = std::numeric_limits<float>::infinity();
const float notANumber = std::nanf("");

class CtcConvert : public CtcProgram {};

std::string option(std::uint32_t value) {
    return std::to_string(value);
}

// A float recording of these channels.
std::string float_recording(const std::vector<std::vector<float>>& channels, std::uint32_t ordering) {
    CtcHeader header = header_of(1, ordering, static_cast<std::uint32_t>(channels.size()),
                                 static_cast<std::uint32_t>(channels[0].size()));
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for_each_element(header, [&](std::uint32_t channel, std::uint32_t sample, std::uint32_t, std::uint32_t) {
        bytes.f32(channels[channel][sample]);
    });
    return bytes.str();
}

// The same channels as stored integers.
std::string integer_recording(const std::vector<std::vector<int>>& channels, std::uint32_t dataType,
                              std::uint32_t ordering, const std::vector<float>& offsets,
                              const std::vector<float>& scales) {
    CtcHeader header = header_of(dataType, ordering, static_cast<std::uint32_t>(channels.size()),
                                 static_cast<std::uint32_t>(channels[0].size()));
    header.offsets = offsets;
    header.scales = scales;
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for_each_element(header, [&](std::uint32_t channel, std::uint32_t sample, std::uint32_t, std::uint32_t) {
        support::append_stored(bytes, dataType, channels[channel][sample]);
    });
    return bytes.str();
}

// Offsets, scales and elements of a recording of data type 3 or 4 with one channel, read byte by byte.
struct OneChannel {
    float offset;
    float scale;
    std::vector<int> stored;

    OneChannel(const std::string& bytes, std::uint32_t dataType) {
        std::memcpy(&offset, &bytes[28], 4);
        std::memcpy(&scale, &bytes[32], 4);
        for (std::size_t at = 40; at < bytes.size(); at += dataType == 3 ? 2 : 1) {
            const auto low = static_cast<unsigned char>(bytes[at]);
            stored.push_back(dataType == 3 ? low + 256 * static_cast<signed char>(bytes[at + 1])
                                           : static_cast<signed char>(bytes[at]));
        }
    }
};

// The ends of the channels are chosen so that the scales are exact: 0.5 and 0.25 with offsets 0 and 10.
TEST_F(CtcConvert, ShortsFillTheirRangeAndRoundToTheNearest) {
    const std::vector<std::vector<float>> values{{0.0f, 16383.5f, -16384.0f, 0.2f, 0.25f, -0.25f, 100.1f},
                                                 {10.0f, 10.06f, 8201.75f, -8182.0f, 10.2f, 9.9f, -0.0f}};
    const std::vector<std::vector<int>> stored{{0, 32767, -32768, 0, 1, -1, 200}, {0, 0, 32767, -32768, 1, 0, -40}};
    for (const std::uint32_t from : {1U, 2U}) {
        for (const std::uint32_t to : {1U, 2U}) {
            write_file("in.ctc", float_recording(values, from));
            const std::string said =
                quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "3", "--ordering", option(to), "--overwrite"});
            EXPECT_EQ(read_file("out.ctc"), integer_recording(stored, 3, to, {0.0f, 10.0f}, {0.5f, 0.25f}));
            EXPECT_EQ(said, "Wrote out.ctc: 7 samples of 2 channels, data type 3 (16-bit integers, scaled), ordering " +
                                std::string(to == 1 ? "1 (channel, sample)" : "2 (sample, channel)") +
                                "\nQuantisation step: 0.25 to 0.5\nFlat:              none\nClipped:           0\n"
                                "Not a number:      0\n");
            EXPECT_EQ(read_file("in.ctc"), float_recording(values, from));
        }
    }
    EXPECT_EQ(files(), (std::vector<std::string>{"in.ctc", "out.ctc"}));
}

TEST_F(CtcConvert, BytesFillTheirRangeAndRoundToTheNearest) {
    write_file("in.ctc", float_recording({{254.0f, 1.0f, -256.0f, 0.9f, -3.0f, 7.2f}}, 1));
    quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "4"});
    EXPECT_EQ(read_file("out.ctc"), integer_recording({{127, 1, -128, 0, -2, 4}}, 4, 1, {0.0f}, {2.0f}));
}

// Whatever the values are, no finite one is clipped and none is further off than half a step (and the rounding of the
// single-precision arithmetic with which it is read).
TEST_F(CtcConvert, NoValueIsFurtherOffThanHalfAStep) {
    const struct {
        float centre;
        float reach;
    } cases[] = {{0.0f, 1.0f},     {1e6f, 1.0f},      {-1e6f, 0.07f},   {16777216.0f, 2.0f}, {1e-40f, 1e-41f},
                 {3e38f, 4e37f},   {-7.3f, 1234.5f},  {0.0f, 1.2e-44f}, {0.3f, 3e38f},       {5000.1f, 0.013f},
                 {-1e-3f, 1e-10f}, {65535.0f, 32.0f}, {1e20f, 1e14f},   {-2.5e-5f, 2.5e-5f}, {1.0f, 1e-6f}};
    for (const auto& c : cases) {
        for (const std::uint32_t type : {3U, 4U}) {
            SCOPED_TRACE(std::to_string(c.centre) + " " + std::to_string(c.reach) + " type " + option(type));
            std::vector<float> values;
            for (int i = 0; i <= 1000; ++i) {
                values.push_back(c.centre + c.reach * (static_cast<float>((i * 7919) % 1001) / 500.0f - 1.0f));
            }
            write_file("in.ctc", float_recording({values}, 1));
            const std::string said =
                quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", option(type), "--overwrite"});
            EXPECT_NE(said.find("Clipped:           0\n"), std::string::npos) << said;
            const OneChannel out(read_file("out.ctc"), type);
            ASSERT_EQ(out.stored.size(), values.size());
            ASSERT_GT(out.scale, 0.0f);
            for (std::size_t i = 0; i < values.size(); ++i) {
                const float product = static_cast<float>(out.stored[i]) * out.scale;
                const float read = product + out.offset;
                const double rounding =
                    (std::abs(static_cast<double>(product)) + std::abs(static_cast<double>(read))) * 0x1p-24 + 0x1p-149;
                ASSERT_NEAR(read, values[i], 0.5 * static_cast<double>(out.scale) * (1 + 1e-9) + rounding) << i;
            }
        }
    }
}

TEST_F(CtcConvert, BothEndsOfTheStoredRangeAreUsed) {
    std::vector<float> values;
    for (int i = 0; i < 5000; ++i) {
        values.push_back(37.7f + 211.3f * std::sin(static_cast<float>(i) * 0.1f));
    }
    write_file("in.ctc", float_recording({values}, 1));
    for (const std::uint32_t type : {3U, 4U}) {
        quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", option(type), "--overwrite"});
        const OneChannel out(read_file("out.ctc"), type);
        EXPECT_EQ(*std::min_element(out.stored.begin(), out.stored.end()), type == 3 ? -32768 : -128);
        EXPECT_EQ(*std::max_element(out.stored.begin(), out.stored.end()), type == 3 ? 32767 : 127);
    }
}

TEST_F(CtcConvert, WidestFloatsStayFinite) {
    const std::vector<float> values{-FLT_MAX, FLT_MAX, 0.0f};
    write_file("in.ctc", float_recording({values}, 1));
    const support::CommandResult result = ctc({"convert", "in.ctc", "out.ctc", "--datatype", "3"});
    EXPECT_EQ(result.status, 0);
    const OneChannel out(read_file("out.ctc"), 3);
    for (std::size_t i = 0; i < 3; ++i) {
        const float read = static_cast<float>(out.stored[i]) * out.scale + out.offset;
        EXPECT_TRUE(std::isfinite(read));
        EXPECT_NEAR(static_cast<double>(read), static_cast<double>(values[i]), 1.1 * static_cast<double>(out.scale));
    }
}

TEST_F(CtcConvert, FlatChannelsKeepTheirValueExactly) {
    write_file("in.ctc", float_recording({{0.1f, 0.1f, 0.1f}, {254.0f, -256.0f, 0.0f}}, 1));
    const std::string said = quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "4"});
    EXPECT_NE(said.find("Quantisation step: 2\nFlat:              channel 1\n"), std::string::npos) << said;
    EXPECT_EQ(read_file("out.ctc"), integer_recording({{0, 0, 0}, {127, -128, 0}}, 4, 1, {0.1f, 0.0f}, {1.0f, 2.0f}));
    write_file("in.ctc", float_recording({{0.1f}}, 1));
    EXPECT_NE(quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "3", "--overwrite"})
                  .find("Quantisation step: none (every channel is flat)\nFlat:              channel 1\n"),
              std::string::npos);
}

TEST_F(CtcConvert, WhatIsNotFiniteIsLeftOutOfTheRangeClippedAndCounted) {
    write_file("in.ctc", float_recording({{254.0f, infinity, -256.0f, notANumber, -infinity, notANumber},
                                          {notANumber, notANumber, infinity, -infinity, notANumber, notANumber},
                                          {5.0f, 5.0f, 5.0f, infinity, 5.0f, 5.0f},
                                          {254.0f, -256.0f, 0.0f, 2.0f, 4.0f, 6.0f}},
                                         2));
    const support::CommandResult result = ctc({"convert", "in.ctc", "out.ctc", "--datatype", "4", "--ordering", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(
        read_file("out.ctc"),
        integer_recording(
            {{127, 127, -128, 0, -128, 0}, {0, 0, 127, -128, 0, 0}, {0, 0, 0, 127, 0, 0}, {127, -128, 0, 1, 2, 3}}, 4,
            1, {0.0f, 0.0f, 5.0f, 0.0f}, {2.0f, 1.0f, 1.0f, 2.0f}));
    EXPECT_NE(result.out.find("Flat:              channel 3\nClipped:           5\nNot a number:      6\n"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(result.err, "ctc: note: 5 values are infinite or too large and were clipped to the ends of the range: "
                          "channel 1, 2, 3\nctc: note: 6 values are not numbers and were stored as 0, which is read as "
                          "the offset: channel 1, 2\n");
}

TEST_F(CtcConvert, EveryTypeAndOrderingBecomesFloats) {
    for (const std::uint32_t type : {3U, 4U, 5U}) {
        for (const std::uint32_t from : {1U, 2U}) {
            for (const std::uint32_t to : {1U, 2U}) {
                const CtcHeader header = header_of(type, from, 3, 41);
                write_file("in.ctc", recording_bytes(header));
                const std::string said = quiet_ctc(
                    {"convert", "in.ctc", "out.ctc", "--datatype", "1", "--ordering", option(to), "--overwrite"});
                EXPECT_EQ(said, "Wrote out.ctc: 41 samples of 3 channels, data type 1 (floats), ordering " +
                                    std::string(to == 1 ? "1 (channel, sample)" : "2 (sample, channel)") +
                                    "\nEvery value is kept as a float.\n");
                CtcHeader expected = header_of(1, to, 3, 41);
                Bytes bytes;
                bytes.raw(support::ctc_header_bytes(expected));
                for_each_element(expected, [&](std::uint32_t c, std::uint32_t s, std::uint32_t, std::uint32_t) {
                    bytes.f32(physical_value(header, c, stored_value(c, s)));
                });
                EXPECT_EQ(read_file("out.ctc"), bytes.str()) << type << from << to;
            }
        }
    }
}

TEST_F(CtcConvert, ScaledFloatsGetTheValuesAsTheyAre) {
    const std::vector<float> values{0.1f, -FLT_MAX, 1e-45f, infinity, -0.0f, 12345.678f};
    write_file("in.ctc", float_recording({values}, 1));
    quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "5"});
    CtcHeader header = header_of(5, 1, 1, 6);
    header.offsets = {0.0f};
    header.scales = {1.0f};
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for (const float value : values) {
        bytes.f32(value);
    }
    EXPECT_EQ(read_file("out.ctc"), bytes.str());
}

TEST_F(CtcConvert, SameDataTypeKeepsElementsAndScalesBitForBit) {
    for (const std::uint32_t type : {1U, 3U, 4U, 5U}) {
        for (const std::uint32_t from : {1U, 2U}) {
            CtcHeader header = header_of(type, from, 3, 29);
            header.scales = {0.0f, notANumber, -2.0f};
            write_file("in.ctc", recording_bytes(header));
            header.sampleOrdering = 3 - from;
            EXPECT_NE(quiet_ctc({"convert", "in.ctc", "out.ctc", "--ordering", option(3 - from), "--overwrite"})
                          .find("\nThe stored elements are unchanged.\n"),
                      std::string::npos);
            EXPECT_EQ(read_file("out.ctc"), recording_bytes(header));
            quiet_ctc({"convert", "in.ctc", "same.ctc", "--datatype", option(type), "--overwrite"});
            EXPECT_EQ(read_file("same.ctc"), read_file("in.ctc"));
        }
    }
    Bytes payload; // not numbers with bits of their own
    payload.raw(support::ctc_header_bytes(header_of(1, 1, 2, 2))).u32(0x7FC12345U).u32(0xFF800001U).u32(1).u32(2);
    write_file("in.ctc", payload.str());
    quiet_ctc({"convert", "in.ctc", "out.ctc", "--ordering", "2", "--overwrite"});
    Bytes expected;
    expected.raw(support::ctc_header_bytes(header_of(1, 2, 2, 2))).u32(0x7FC12345U).u32(1).u32(0xFF800001U).u32(2);
    EXPECT_EQ(read_file("out.ctc"), expected.str());
}

TEST_F(CtcConvert, LongRecordingsAreConvertedBlockByBlock) {
    for (const std::uint32_t from : {1U, 2U}) {
        for (const std::uint32_t to : {1U, 2U}) {
            CtcHeader header = header_of(4, from, 3, 360001);
            write_file("in.ctc", recording_bytes(header));
            quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "1", "--ordering", option(to), "--overwrite"});
            CtcHeader expected = header_of(1, to, 3, 360001);
            Bytes bytes;
            bytes.raw(support::ctc_header_bytes(expected));
            for_each_element(expected, [&](std::uint32_t c, std::uint32_t s, std::uint32_t, std::uint32_t) {
                bytes.f32(physical_value(header, c, stored_value(c, s)));
            });
            EXPECT_TRUE(read_file("out.ctc") == bytes.str()) << from << to;
        }
    }
}

TEST_F(CtcConvert, ConditionsKeepTheirOrdering) {
    for (const std::uint32_t ordering : {3U, 4U, 5U, 6U}) {
        const CtcHeader shorts = epoched_header(3, ordering);
        const CtcHeader floats = epoched_header(1, ordering);
        write_file("in.ctc", recording_bytes(shorts));
        const std::string said = quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "1", "--overwrite"});
        EXPECT_EQ(said.substr(0, 42), "Wrote out.ctc: 3 conditions of 3 channels,");
        Bytes bytes;
        bytes.raw(support::ctc_header_bytes(floats));
        for_each_element(floats, [&](std::uint32_t c, std::uint32_t s, std::uint32_t t, std::uint32_t k) {
            bytes.f32(physical_value(shorts, c, stored_value(c, s, t, k)));
        });
        EXPECT_EQ(read_file("out.ctc"), bytes.str()) << ordering;
        expect_refused({"convert", "in.ctc", "new.ctc", "--datatype", "1", "--ordering", "1"},
                       "in.ctc: is cut into conditions (sample ordering " + option(ordering) +
                           "), which stay in their order; leave out --ordering");
    }
}

TEST_F(CtcConvert, ConditionsGetAScalePerChannel) {
    for (const std::uint32_t ordering : {3U, 4U, 5U, 6U}) {
        CtcHeader header = epoched_header(1, ordering);
        Bytes bytes;
        bytes.raw(support::ctc_header_bytes(header));
        CtcHeader expectedHeader = epoched_header(4, ordering);
        expectedHeader.offsets = {0.0f, 10.0f, -1.0f};
        expectedHeader.scales = {1.0f, 2.0f, 0.5f};
        Bytes expected;
        expected.raw(support::ctc_header_bytes(expectedHeader));
        int i = 0;
        for_each_element(header, [&](std::uint32_t c, std::uint32_t s, std::uint32_t t, std::uint32_t k) {
            ++i;
            const bool end = k == 0 && t == 0 && s < 2; // every channel reaches both ends
            const int stored = end ? (s == 0 ? -128 : 127) : i % 100 - 50;
            bytes.f32(static_cast<float>(stored) * expectedHeader.scales[c] + expectedHeader.offsets[c]);
            expected.i8(stored);
        });
        write_file("in.ctc", bytes.str());
        quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "4", "--overwrite"});
        EXPECT_EQ(read_file("out.ctc"), expected.str()) << ordering;
    }
}

TEST_F(CtcConvert, ContinuousRecordingsKeepTheirTableOfConditions) {
    CtcHeader header = header_of(3, 1, 2, 5);
    header.trials = {7, 0};
    header.pre = {1, 2};
    header.post = {3, 4};
    write_file("in.ctc", recording_bytes(header));
    quiet_ctc({"convert", "in.ctc", "out.ctc", "--ordering", "2"});
    header.sampleOrdering = 2;
    EXPECT_EQ(read_file("out.ctc"), recording_bytes(header));
}

TEST_F(CtcConvert, WhatACutDataSectionLacksIsZeroAndTheRecordingStaysShort) {
    const CtcHeader header = header_of(3, 1, 2, 4);
    Bytes cut;
    cut.raw(support::ctc_header_bytes(header)).i16(300).i16(-5).i16(7).i16(8).i16(9).u8(0x2C); // 300 less its high byte
    write_file("in.ctc", cut.str());
    const support::CommandResult result = ctc({"convert", "in.ctc", "out.ctc", "--ordering", "2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "ctc: note: the data section is cut short: 3 of 8 sample values are missing and count as "
                          "stored zeros\n");
    EXPECT_EQ(read_file("in.ctc"), cut.str());
    Bytes expected;
    expected.raw(support::ctc_header_bytes(header_of(3, 2, 2, 4)));
    expected.i16(300).i16(9).i16(-5).i16(0x2C).i16(7).i16(0).i16(8).i16(0);
    EXPECT_EQ(read_file("out.ctc"), expected.str());
    write_file("in.ctc", support::ctc_header_bytes(header)); // nothing at all
    EXPECT_EQ(ctc({"convert", "in.ctc", "out.ctc", "--ordering", "2", "--overwrite"}).status, 0);
    EXPECT_EQ(read_file("out.ctc"), support::ctc_header_bytes(header_of(3, 2, 2, 4)) + std::string(16, '\0'));
    EXPECT_EQ(read_file("in.ctc"), support::ctc_header_bytes(header));
}

TEST_F(CtcConvert, CompressionIsNotedAndBytesAfterTheDataAreLeftOut) {
    CtcHeader header = header_of(4, 1, 2, 3);
    const std::string plain = recording_bytes(header);
    header.compressionType = 9;
    header.compressionParams = {1, 2};
    write_file("in.ctc", recording_bytes(header) + "more");
    const support::CommandResult result = ctc({"convert", "in.ctc", "out.ctc", "--ordering", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "ctc: note: the header calls the data compressed (type 9): they are read as if they were "
                          "not\n");
    EXPECT_EQ(read_file("out.ctc"), plain);
}

TEST_F(CtcConvert, ExistingFilesAreKeptUnlessTold) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5)));
    write_file("out.ctc", "precious");
    expect_refused({"convert", "in.ctc", "out.ctc", "--datatype", "1"},
                   "out.ctc: exists already (--overwrite replaces it)");
    quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "1", "--overwrite"});
    EXPECT_NE(read_file("out.ctc"), "precious");
}

TEST_F(CtcConvert, TheRecordingIsNeverTheOutput) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5)));
    std::filesystem::create_symlink("in.ctc", "link.ctc");
    std::filesystem::create_hard_link("in.ctc", "hard.ctc");
    for (const std::string out : {"in.ctc", "./in.ctc", "link.ctc", "hard.ctc"}) {
        expect_refused({"convert", "in.ctc", out, "--datatype", "1", "--overwrite"},
                       out + ": is the recording itself, which is never changed; choose another name");
    }
    EXPECT_TRUE(std::filesystem::is_symlink("link.ctc"));
}

TEST_F(CtcConvert, BadInputIsRefusedInOneLine) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5)));
    write_file("text.ctc", "this is no recording");
    std::filesystem::create_directory("folder");
    expect_refused({"convert", "in.ctc", "out.ctc"}, "nothing to convert: give --datatype, --ordering or both");
    expect_refused({"convert", "none.ctc", "out.ctc", "--datatype", "1"}, "none.ctc: no such file");
    expect_refused({"convert", "folder", "out.ctc", "--datatype", "1"}, "folder: is a folder, not a file");
    expect_refused({"convert", "text.ctc", "out.ctc", "--datatype", "1"},
                   "text.ctc: is not a CTC recording, or its header is cut short");
    expect_refused({"convert", "in.ctc", "none/out.ctc", "--datatype", "1"}, "none/out.ctc: there is no folder none");
    expect_refused({"convert", "in.ctc", "folder", "--datatype", "1"}, "folder: is a folder, not a file");
    expect_refused({"convert", "in.ctc", "out.ctc", "--datatype", "2"},
                   "--datatype: 2 not in {1,3,4,5}; see ctc convert --help");
    expect_refused({"convert", "in.ctc", "out.ctc", "--ordering", "3"},
                   "--ordering: 3 not in {1,2}; see ctc convert --help");
    expect_refused({"convert", "in.ctc"}, "OUT is required; see ctc convert --help");
    expect_refused({"dance"}, "there is no command dance; see ctc --help");
    expect_refused({}, "no command given; see ctc --help");
}

TEST_F(CtcConvert, AnyPathWorksWhereTheFileNameAloneDoes) {
    std::string deep = ".";
    for (int i = 0; i < 5; ++i) {
        deep += "/" + std::string(120, static_cast<char>('a' + i));
        std::filesystem::create_directory(deep);
    }
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5)));
    expect_refused({"convert", "in.ctc", deep + "/out.ctc", "--datatype", "1"},
                   deep + "/out.ctc: the path of the result is too long; change to its folder and give its bare name");
    EXPECT_TRUE(std::filesystem::is_empty(deep));
    std::filesystem::rename("in.ctc", deep + "/in.ctc");
    expect_refused({"convert", deep + "/in.ctc", "out.ctc", "--datatype", "1"},
                   deep + "/in.ctc: the path is longer than 511 bytes; change to the folder of the recording and give "
                          "its bare name");
    std::filesystem::current_path(deep);
    quiet_ctc({"convert", "in.ctc", "out.ctc", "--datatype", "1"});
}

TEST_F(CtcConvert, FullDiskIsToldAndLeavesNothing) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5000)));
    const std::vector<std::string> before = contents();
    const support::CommandResult result = ctc({"convert", "in.ctc", "out.ctc", "--datatype", "1"}, [] {
        const rlimit limit{8192, 8192};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "ctc: out.ctc: could not be written completely (File too large)\n");
    EXPECT_EQ(contents(), before);
}

// The interrupt is on its way when the program starts and arrives as soon as it looks for one.
TEST_F(CtcConvert, InterruptLeavesNothing) {
    if (support::under_valgrind()) {
        GTEST_SKIP() << "valgrind does not hand a pending signal on to the program that is started";
    }
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5000)));
    write_file("out.ctc", "precious");
    const std::vector<std::string> before = contents();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
                 {"convert", "in.ctc", "out.ctc", "--datatype", "1", "--overwrite"},
                 {"convert", "in.ctc", "new.ctc", "--datatype", "1", "--ordering", "2"},
                 {"convert", "in.ctc", "new.ctc", "--datatype", "4"},
                 {"cut", "in.ctc", "new.ctc", "--channels", "2"},
                 {"dump", "in.ctc", "-o", "new.csv"}}) {
            const support::CommandResult result = ctc(arguments, [&] {
                sigset_t set;
                sigemptyset(&set);
                sigaddset(&set, signal);
                sigprocmask(SIG_BLOCK, &set, nullptr);
                raise(signal);
            });
            EXPECT_EQ(result.status, 130);
            EXPECT_EQ(result.err, "ctc: interrupted; nothing was written\n");
            EXPECT_TRUE(contents() == before); // not printed: it is long
        }
    }
}

TEST_F(CtcConvert, ProgressIsShownOnATerminalOnly) {
    if (!support::has_terminals()) {
        GTEST_SKIP() << "this system gives out no pseudo-terminals";
    }
    write_file("in.ctc", recording_bytes(header_of(1, 1, 2, 50)));
    const support::CommandResult result =
        support::run_on_terminal({CTC_PROGRAM, "convert", "in.ctc", "out.ctc", "--datatype", "3"}, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("  0 %  looking for the range of every channel"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("  0 %  converting"), std::string::npos) << result.out;
}

TEST_F(CtcConvert, HelpShowsAnExample) {
    EXPECT_NE(quiet_ctc({"--help"}).find("convert"), std::string::npos);
    for (const char* command : {"info", "convert", "cut", "dump"}) {
        EXPECT_NE(quiet_ctc({command, "--help"}).find("demo.ctc:\n  ctc " + std::string(command) + " demo.ctc"),
                  std::string::npos);
    }
}

} // namespace
