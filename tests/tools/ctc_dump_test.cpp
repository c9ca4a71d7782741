#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/bits.h"
#include "tests/tools/ctc_program.h"

namespace {

using namespace test;

class CtcDump : public CtcProgram {};

// Small values of the recordings here are whole or halves, and printed as such.
std::string text_of(float value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

TEST_F(CtcDump, PrintsARowPerSampleAndAColumnPerChannel) {
    for (const std::uint32_t type : {1U, 3U, 4U, 5U}) {
        for (const std::uint32_t ordering : {1U, 2U}) {
            CtcHeader header = header_of(type, ordering, 3, 8);
            header.samplingFrequency = 4.0f;
            write_file("in.ctc", recording_bytes(header));
            std::string expected = "time_s,channel_1,channel_2,channel_3\n";
            std::string part = "time_s,channel_3,channel_1\n";
            const char* times[] = {"0", "0.25", "0.5", "0.75", "1", "1.25", "1.5", "1.75"};
            for (std::uint32_t s = 0; s < 8; ++s) {
                const auto value = [&](std::uint32_t c) {
                    return "," + text_of(physical_value(header, c, stored_value(c, s)));
                };
                expected += times[s] + value(0) + value(1) + value(2) + "\n";
                part += s >= 2 && s < 5 ? times[s] + value(2) + value(0) + "\n" : "";
            }
            EXPECT_EQ(quiet_ctc({"dump", "in.ctc"}), expected) << type << ordering;
            EXPECT_EQ(quiet_ctc({"dump", "in.ctc", "--from", "0.5", "--to", "1.25", "--channels", "3,1"}), part);
            EXPECT_EQ(files(), std::vector<std::string>{"in.ctc"});
        }
    }
}

TEST_F(CtcDump, EveryBitOfAFloatCanBeReadBack) {
    std::vector<float> values{0.1f, 1.0f / 3.0f, FLT_MAX, FLT_MIN, 1e-45f, -0.0f, 16777217.0f};
    support::Random random(11);
    for (int i = 0; i < 500; ++i) {
        values.push_back(support::float_of(static_cast<std::uint32_t>(random.next())));
    }
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header_of(1, 1, 1, static_cast<std::uint32_t>(values.size()))));
    for (const float value : values) {
        bytes.f32(value);
    }
    write_file("in.ctc", bytes.str());
    std::istringstream lines(quiet_ctc({"dump", "in.ctc"}));
    std::string line;
    std::getline(lines, line);
    std::size_t i = 0;
    for (; std::getline(lines, line); ++i) {
        ASSERT_LT(i, values.size());
        const float read = std::strtof(line.c_str() + line.find(',') + 1, nullptr);
        EXPECT_TRUE(support::same_bits(values[i], read)) << line;
    }
    EXPECT_EQ(i, values.size());
}

TEST_F(CtcDump, WhatIsNotFiniteHasAName) {
    const float infinity = std::numeric_limits<float>::infinity();
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header_of(1, 1, 3, 1))).f32(std::nanf("")).f32(infinity).f32(-infinity);
    write_file("in.ctc", bytes.str());
    EXPECT_EQ(quiet_ctc({"dump", "in.ctc"}), "time_s,channel_1,channel_2,channel_3\n0,nan,inf,-inf\n");
}

TEST_F(CtcDump, ConditionsHaveARowPerSampleOfEveryTrial) {
    for (const std::uint32_t ordering : {3U, 4U, 5U, 6U}) {
        const CtcHeader header = epoched_header(3, ordering); // 100 Hz
        write_file("in.ctc", recording_bytes(header));
        std::string expected = "condition,trial,time_s,channel_3,channel_1\n";
        const std::vector<std::vector<std::string>> times{{"-0.02", "-0.01", "0", "0.01", "0.02", "0.03", "0.04"},
                                                          {"-0.01", "0", "0.01", "0.02"}};
        for (std::uint32_t k = 0; k < 2; ++k) {
            for (std::uint32_t trial = 0; trial < (k == 0 ? 4U : 1U); ++trial) {
                for (std::uint32_t s = 0; s < times[k].size(); ++s) {
                    expected += std::to_string(k + 1) + "," + std::to_string(trial + 1) + "," + times[k][s];
                    for (const std::uint32_t c : {2U, 0U}) {
                        expected += "," + text_of(physical_value(header, c, stored_value(c, s, trial, k)));
                    }
                    expected += "\n";
                }
            }
        }
        EXPECT_EQ(quiet_ctc({"dump", "in.ctc", "--channels", "3,1"}), expected) << ordering;
    }
}

TEST_F(CtcDump, LongRecordingsArePrintedBlockByBlock) {
    for (const std::uint32_t ordering : {1U, 2U}) {
        const CtcHeader header = header_of(4, ordering, 2, 530001);
        write_file("in.ctc", recording_bytes(header));
        quiet_ctc({"dump", "in.ctc", "-o", "out.csv", "--channels", "2", "--overwrite"});
        std::istringstream lines(read_file("out.csv"));
        std::string line;
        std::getline(lines, line);
        std::uint32_t sample = 0;
        std::uint32_t wrong = 0;
        for (; std::getline(lines, line); ++sample) {
            wrong += line.substr(line.find(',') + 1) != text_of(physical_value(header, 1, stored_value(1, sample)));
        }
        EXPECT_EQ(sample, 530001U);
        EXPECT_EQ(wrong, 0U);
    }
}

// Two samples of a channel lie further apart than is read at once.
TEST_F(CtcDump, SamplesFarApartAreReadOneByOne) {
    CtcHeader header = header_of(4, 6, 2, 0);
    header.trials = {1100000};
    header.pre = {1};
    header.post = {1};
    write_file("in.ctc", recording_bytes(header));
    std::string expected = "condition,trial,time_s,channel_2,channel_1\n";
    for (std::uint32_t row = 0; row < 5; ++row) {
        const auto value = [&](std::uint32_t c) {
            return "," + text_of(physical_value(header, c, stored_value(c, row % 2, row / 2)));
        };
        expected += "1," + std::to_string(row / 2 + 1) + (row % 2 == 0 ? ",-0.01" : ",0") + value(1) + value(0) + "\n";
    }
    const CommandResult result =
        support::run_command({"bash", "-c", std::string(CTC_PROGRAM) + " dump in.ctc --channels 2,1 | head -6"});
    EXPECT_EQ(result.out, expected);
    quiet_ctc({"cut", "in.ctc", "out.ctc"});
    EXPECT_TRUE(read_file("out.ctc") == read_file("in.ctc"));
}

TEST_F(CtcDump, GoesToAFileWhenTold) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 2, 5)));
    const std::string printed = quiet_ctc({"dump", "in.ctc"});
    EXPECT_EQ(quiet_ctc({"dump", "in.ctc", "-o", "out.csv"}), "");
    EXPECT_EQ(read_file("out.csv"), printed);
    EXPECT_EQ(quiet_ctc({"dump", "in.ctc", "-o", "-"}), printed);
    write_file("out.csv", "precious");
    expect_refused({"dump", "in.ctc", "-o", "out.csv"}, "out.csv: exists already (--overwrite replaces it)");
    expect_refused({"dump", "in.ctc", "-o", "in.ctc", "--overwrite"},
                   "in.ctc: is the recording itself, which is never changed; choose another name");
    quiet_ctc({"dump", "in.ctc", "-o", "out.csv", "--overwrite"});
    EXPECT_EQ(read_file("out.csv"), printed);
    EXPECT_EQ(files(), (std::vector<std::string>{"in.ctc", "out.csv"}));
}

TEST_F(CtcDump, EndsQuietlyWhenNobodyReadsOn) {
    write_file("in.ctc", recording_bytes(header_of(4, 2, 2, 300000)));
    const CommandResult result =
        support::run_command({"bash", "-c", "set -o pipefail; " + std::string(CTC_PROGRAM) + " dump in.ctc | head -1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "time_s,channel_1,channel_2\n");
    EXPECT_EQ(result.err, "");
}

// The reader changes the recording while the program waits for it to read on.
TEST_F(CtcDump, RecordingThatChangesMeanwhileIsNoticed) {
    write_file("in.ctc", recording_bytes(header_of(4, 2, 2, 300000)));
    const CommandResult result =
        support::run_command({"bash", "-c",
                              "set -o pipefail; " + std::string(CTC_PROGRAM) +
                                  " dump in.ctc | (head -c 10 >/dev/null; printf more >>in.ctc; cat >/dev/null)"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "ctc: in.ctc: was changed meanwhile, so that the result is worthless\n");
}

TEST_F(CtcDump, FullStandardOutputIsTold) {
    write_file("in.ctc", recording_bytes(header_of(4, 2, 2, 3000)));
    const CommandResult result =
        support::run_command({"bash", "-c", std::string(CTC_PROGRAM) + " dump in.ctc >/dev/full"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "ctc: standard output could not be written\n");
}

TEST_F(CtcDump, WithoutARateThereIsNoTimeAxis) {
    CtcHeader header = header_of(3, 1, 4, 40);
    header.samplingFrequency = 0.0f;
    write_file("in.ctc", recording_bytes(header));
    expect_refused({"dump", "in.ctc"}, "in.ctc: has a sampling frequency of 0 Hz, which gives no time axis");
    write_file("in.ctc", recording_bytes(epoched_header(1, 4)));
    expect_refused({"dump", "in.ctc", "--to", "1"},
                   "in.ctc: is cut into conditions (sample ordering 4); --from and --to are for continuous recordings");
}

} // namespace
