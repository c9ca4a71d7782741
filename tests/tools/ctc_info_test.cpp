#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/tools/ctc_program.h"

namespace {

using namespace test;

class CtcInfo : public CtcProgram {};

const float notANumber = std::nanf("");

TEST_F(CtcInfo, ShowsHeaderAndRanges) {
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header_of(1, 2, 3, 4)));
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float value :
         {1.5f, 7.0f, infinity, -2.25f, 7.0f, notANumber, 0.1f, 7.0f, infinity, 1e20f, 7.0f, -infinity}) {
        bytes.f32(value);
    }
    write_file("in.ctc", bytes.str());
    const std::string header = "File            in.ctc\n"
                               "File version    3\n"
                               "Compression     none\n"
                               "Data type       1 (floats)\n"
                               "Ordering        2 (sample, channel)\n"
                               "Channels        3\n"
                               "Samples         4 per channel\n"
                               "Rate            100 Hz\n"
                               "Duration        0.04 s\n"
                               "Conditions      none\n"
                               "Data section    48 bytes from byte 32 on\n";
    EXPECT_EQ(quiet_ctc({"info", "in.ctc", "--header"}), header);
    EXPECT_EQ(quiet_ctc({"info", "in.ctc"}), header + "\n"
                                                      "       channel          lowest         highest      not finite\n"
                                                      "             1           -2.25           1e+20               0\n"
                                                      "             2               7               7               0\n"
                                                      "             3               -               -               4\n"
                                                      "\n"
                                                      "Flat            channel 2\n"
                                                      "Not finite      channel 3\n");
    EXPECT_EQ(read_file("in.ctc"), bytes.str());
}

// The lowest and highest value of every channel by a plain pass over the elements.
TEST_F(CtcInfo, RangesOfEveryLayoutAreThoseOfItsValues) {
    for (const std::uint32_t type : {1U, 3U, 4U, 5U}) {
        for (const std::uint32_t ordering : {1U, 2U, 3U, 4U, 5U, 6U}) {
            CtcHeader header = ordering < 3 ? header_of(type, ordering, 3, 9) : epoched_header(type, ordering);
            write_file("in.ctc", recording_bytes(header));
            std::vector<float> lowest(3, 1e9f);
            std::vector<float> highest(3, -1e9f);
            for_each_element(header, [&](std::uint32_t c, std::uint32_t s, std::uint32_t t, std::uint32_t k) {
                const float value = physical_value(header, c, stored_value(c, s, t, k));
                lowest[c] = std::min(lowest[c], value);
                highest[c] = std::max(highest[c], value);
            });
            const std::string said = quiet_ctc({"info", "in.ctc"});
            for (std::size_t c = 0; c < 3; ++c) {
                char row[200];
                std::snprintf(row, sizeof row, "\n%14zu  %14g  %14g  %14d", c + 1, static_cast<double>(lowest[c]),
                              static_cast<double>(highest[c]), 0);
                std::string expected = row;
                if (type != 1) {
                    std::snprintf(row, sizeof row, "  %14g  %14g", static_cast<double>(header.scales[c]),
                                  static_cast<double>(header.offsets[c]));
                    expected += row;
                }
                EXPECT_NE(said.find(expected + "\n"), std::string::npos) << expected << "\n" << said;
            }
        }
    }
}

TEST_F(CtcInfo, ShowsConditions) {
    write_file("in.ctc", recording_bytes(epoched_header(3, 5)));
    const std::string said = quiet_ctc({"info", "in.ctc", "--header"});
    EXPECT_NE(said.find("Ordering        5 (conditions; channel, sample, trial)\n"), std::string::npos) << said;
    EXPECT_NE(said.find("Samples         77 (not used: the conditions tell)\n"), std::string::npos);
    EXPECT_EQ(said.find("Duration"), std::string::npos);
    EXPECT_NE(
        said.find("Conditions      3\nData section    192 bytes from byte 92 on\n\n"
                  "     condition          trials             pre            post           epoch       epoch [s]\n"
                  "             1               4               2               5               7            0.07\n"
                  "             2               0               1               3               4            0.04\n"
                  "             3               2               0               0               0               0\n"),
        std::string::npos)
        << said;
}

TEST_F(CtcInfo, TellsWhatTheFileLacksOrHasBesides) {
    const CtcHeader header = header_of(3, 1, 2, 4);
    const std::string whole = recording_bytes(header);
    write_file("in.ctc", whole.substr(0, whole.size() - 3));
    const CommandResult cut = ctc({"info", "in.ctc"});
    EXPECT_EQ(cut.status, 0);
    EXPECT_NE(cut.out.find("Data section    16 bytes from byte 48 on, of which the last 3 are missing\n"),
              std::string::npos)
        << cut.out;
    EXPECT_EQ(cut.err, "ctc: note: the data section is cut short: 2 of 8 sample values are missing and count as stored "
                       "zeros\n");
    EXPECT_EQ(read_file("in.ctc").size(), whole.size() - 3);
    write_file("in.ctc", whole + "behind");
    EXPECT_NE(quiet_ctc({"info", "in.ctc"}).find("Data section    16 bytes from byte 48 on, then 6 more\n"),
              std::string::npos);
    CtcHeader compressed = header;
    compressed.compressionType = 4;
    write_file("in.ctc", recording_bytes(compressed));
    const CommandResult result = ctc({"info", "in.ctc", "--header"});
    EXPECT_NE(result.out.find("Compression     type 4\n"), std::string::npos);
    EXPECT_NE(result.err.find("read as if they were not"), std::string::npos);
}

TEST_F(CtcInfo, ARateThatIsNoneGivesNoDuration) {
    CtcHeader header = header_of(3, 1, 2, 4);
    header.samplingFrequency = 0.0f;
    write_file("in.ctc", recording_bytes(header));
    EXPECT_NE(quiet_ctc({"info", "in.ctc"}).find("Rate            0 Hz\nDuration        unknown\n"), std::string::npos);
}

TEST_F(CtcInfo, FilesThatAreNoRecordingsAreRefused) {
    CtcHeader header = header_of(1, 1, 2, 4);
    const std::string whole = recording_bytes(header);
    for (std::size_t length = 0; length < 32; ++length) {
        write_file("in.ctc", whole.substr(0, length));
        expect_refused({"info", "in.ctc"}, "in.ctc: is not a CTC recording, or its header is cut short");
    }
    header.nrOfSamples = 0;
    write_file("in.ctc", support::ctc_header_bytes(header));
    expect_refused({"info", "in.ctc"}, "in.ctc: holds no samples (2 channels, 0 samples, 0 conditions)");
    header.nrOfSamples = 0xFFFFFFFFU;
    write_file("in.ctc", support::ctc_header_bytes(header));
    expect_refused({"info", "in.ctc"}, "in.ctc: announces 2^32 or more sample values, which cannot be addressed");
    expect_refused({"info", "none.ctc"}, "none.ctc: no such file");
    expect_refused({"info"}, "FILE is required; see ctc info --help");
}

} // namespace
