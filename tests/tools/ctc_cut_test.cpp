#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/tools/ctc_program.h"

namespace {

using namespace test;

class CtcCut : public CtcProgram {};

// A recording with these channels and samples of the ones from recording_bytes.
std::string cut_bytes(const CtcHeader& whole, const std::vector<std::uint32_t>& channels, std::uint32_t first,
                      std::uint32_t samples) {
    CtcHeader header = whole;
    header.nrOfChannels = static_cast<std::uint32_t>(channels.size());
    header.nrOfSamples = samples;
    header.offsets.clear();
    header.scales.clear();
    for (const std::uint32_t channel : channels) {
        header.offsets.push_back(whole.offsets[channel]);
        header.scales.push_back(whole.scales[channel]);
    }
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for_each_element(header, [&](std::uint32_t c, std::uint32_t s, std::uint32_t t, std::uint32_t k) {
        support::append_stored(bytes, header.dataType, stored_value(channels[c], first + s, t, k));
    });
    return bytes.str();
}

TEST_F(CtcCut, TakesSamplesAndChannelsOfEveryLayoutBitForBit) {
    for (const std::uint32_t type : {1U, 3U, 4U, 5U}) {
        for (const std::uint32_t ordering : {1U, 2U}) {
            CtcHeader header = header_of(type, ordering, 5, 40); // 100 Hz
            header.scales[3] = std::nanf("");
            const std::string bytes = recording_bytes(header);
            write_file("in.ctc", bytes);
            const std::string said = quiet_ctc(
                {"cut", "in.ctc", "out.ctc", "--from", "0.1", "--to", "0.25", "--channels", "4,1-2", "--overwrite"});
            EXPECT_EQ(said, "Wrote out.ctc: 15 samples of 3 channels\n");
            EXPECT_EQ(read_file("out.ctc"), cut_bytes(header, {3, 0, 1}, 10, 15)) << type << ordering;
            EXPECT_EQ(read_file("in.ctc"), bytes);
        }
    }
}

TEST_F(CtcCut, WhatIsNotGivenIsEverything) {
    const CtcHeader header = header_of(3, 2, 3, 40);
    write_file("in.ctc", recording_bytes(header));
    quiet_ctc({"cut", "in.ctc", "all.ctc"});
    EXPECT_EQ(read_file("all.ctc"), read_file("in.ctc"));
    quiet_ctc({"cut", "in.ctc", "end.ctc", "--from", "0.39"});
    EXPECT_EQ(read_file("end.ctc"), cut_bytes(header, {0, 1, 2}, 39, 1));
    quiet_ctc({"cut", "in.ctc", "start.ctc", "--to", "0.4", "--channels", "3, 2 , 1"});
    EXPECT_EQ(read_file("start.ctc"), cut_bytes(header, {2, 1, 0}, 0, 40));
}

TEST_F(CtcCut, TimesMeanTheNearestSample) {
    const CtcHeader header = header_of(4, 1, 2, 40);
    write_file("in.ctc", recording_bytes(header));
    const struct {
        const char* from;
        const char* to;
        std::uint32_t first;
        std::uint32_t end;
    } cases[] = {{"0.1149", "0.2", 11, 20}, {"0.1151", "0.2", 12, 20}, {"0", "0.0049", 0, 0},
                 {"0", "0.0051", 0, 1},     {"0", "0.404", 0, 40},     {"1e-1", ".2", 10, 20}};
    for (const auto& c : cases) {
        const CommandResult result = ctc({"cut", "in.ctc", "out.ctc", "--from", c.from, "--to", c.to, "--overwrite"});
        if (c.end > c.first) {
            EXPECT_EQ(read_file("out.ctc"), cut_bytes(header, {0, 1}, c.first, c.end - c.first)) << c.from << c.to;
        } else {
            EXPECT_EQ(result.err, "ctc: there is no sample from 0 s to 0.0049 s\n");
        }
    }
}

TEST_F(CtcCut, LongRecordingsAreCutBlockByBlock) {
    const struct {
        std::uint32_t ordering;
        std::uint32_t channels;
        std::uint32_t samples;
    } cases[] = {{1, 2, 1100001}, {1, 7, 160001}, {2, 2, 560001}};
    for (const auto& c : cases) {
        const CtcHeader header = header_of(4, c.ordering, c.channels, c.samples);
        write_file("in.ctc", recording_bytes(header));
        quiet_ctc({"cut", "in.ctc", "out.ctc", "--from", "0.02", "--channels", "2,1", "--overwrite"});
        EXPECT_TRUE(read_file("out.ctc") == cut_bytes(header, {1, 0}, 2, c.samples - 2)) << c.ordering;
    }
}

TEST_F(CtcCut, ConditionsKeepTheirEpochs) {
    for (const std::uint32_t ordering : {3U, 4U, 5U, 6U}) {
        const CtcHeader header = epoched_header(3, ordering);
        write_file("in.ctc", recording_bytes(header));
        EXPECT_EQ(quiet_ctc({"cut", "in.ctc", "out.ctc", "--channels", "3,1", "--overwrite"}),
                  "Wrote out.ctc: 3 conditions of 2 channels\n");
        EXPECT_EQ(read_file("out.ctc"), cut_bytes(header, {2, 0}, 0, 77)) << ordering;
        expect_refused({"cut", "in.ctc", "new.ctc", "--from", "1"},
                       "in.ctc: is cut into conditions (sample ordering " + std::to_string(ordering) +
                           "); --from and --to are for continuous recordings");
    }
}

TEST_F(CtcCut, WhatACutDataSectionLacksIsZero) {
    const CtcHeader header = header_of(5, 1, 2, 4);
    const std::string whole = recording_bytes(header);
    write_file("in.ctc", whole.substr(0, whole.size() - 8));
    const CommandResult result = ctc({"cut", "in.ctc", "out.ctc", "--channels", "2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "ctc: note: the data section is cut short: 2 of 8 sample values are missing and count as "
                          "stored zeros\n");
    const std::string expected = cut_bytes(header, {1}, 0, 4);
    EXPECT_EQ(read_file("out.ctc"), expected.substr(0, expected.size() - 8) + std::string(8, '\0'));
    EXPECT_EQ(read_file("in.ctc").size(), whole.size() - 8);
}

TEST_F(CtcCut, WhatIsMissingIsZeroInLaterBlocksToo) {
    const CtcHeader header = header_of(4, 2, 2, 1400000);
    const std::string whole = recording_bytes(header);
    write_file("in.ctc", whole.substr(0, whole.size() - 1000000));
    EXPECT_EQ(ctc({"cut", "in.ctc", "out.ctc"}).status, 0);
    EXPECT_TRUE(read_file("out.ctc") == whole.substr(0, whole.size() - 1000000) + std::string(1000000, '\0'));
}

TEST_F(CtcCut, WrongSelectionsAreRefused) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 4, 40)));
    for (const std::string list :
         {" ", "0", "1,,2", "1,", "3-1", "2-", "-2", "x", "1;2", "+1", "1.5", "0-2", "99999999999"}) {
        expect_refused({"cut", "in.ctc", "out.ctc", "--channels=" + list},
                       "--channels must be a list of numbers and ranges from 1, such as 1,3,5-8, not \"" + list + "\"");
    }
    expect_refused({"cut", "in.ctc", "out.ctc", "--channels", ""},
                   "--channels must be a list of numbers and ranges from 1, such as 1,3,5-8, not \"\"");
    expect_refused({"cut", "in.ctc", "out.ctc", "--channels", "5"}, "--channels names channel 5; in.ctc has 4");
    expect_refused({"cut", "in.ctc", "out.ctc", "--channels", "1-2000000000"},
                   "--channels names channel 2000000000; in.ctc has 4");
    expect_refused({"cut", "in.ctc", "out.ctc", "--channels", "1-3,2"}, "--channels names channel 2 twice");
    expect_refused({"cut", "in.ctc", "out.ctc", "--from=-0.01"},
                   "--from -0.01 is outside the recording, which has 0.4 seconds");
    expect_refused({"cut", "in.ctc", "out.ctc", "--to", "0.41"},
                   "--to 0.41 is outside the recording, which has 0.4 seconds");
    expect_refused({"cut", "in.ctc", "out.ctc", "--to", "nan"},
                   "--to nan is outside the recording, which has 0.4 seconds");
    expect_refused({"cut", "in.ctc", "out.ctc", "--from", "0.3", "--to", "0.2"},
                   "there is no sample from 0.3 s to 0.2 s");
    expect_refused({"cut", "in.ctc", "out.ctc", "--from", "0.4"}, "there is no sample from 0.4 s on");
    for (const float rate : {0.0f, -5.0f, std::numeric_limits<float>::infinity()}) {
        CtcHeader header = header_of(3, 1, 4, 40);
        header.samplingFrequency = rate;
        write_file("in.ctc", recording_bytes(header));
        const std::string text = rate == 0.0f ? "0" : rate < 0.0f ? "-5" : "inf";
        expect_refused({"cut", "in.ctc", "out.ctc", "--from", "0.1"},
                       "in.ctc: has a sampling frequency of " + text + " Hz; --from and --to mean nothing in it");
    }
    quiet_ctc({"cut", "in.ctc", "out.ctc", "--channels", "1"}); // needs no rate
}

TEST_F(CtcCut, NothingIsReplacedUnlessTold) {
    write_file("in.ctc", recording_bytes(header_of(3, 1, 4, 40)));
    write_file("out.ctc", "precious");
    expect_refused({"cut", "in.ctc", "out.ctc", "--channels", "1"},
                   "out.ctc: exists already (--overwrite replaces it)");
    expect_refused({"cut", "in.ctc", "./in.ctc", "--channels", "1", "--overwrite"},
                   "./in.ctc: is the recording itself, which is never changed; choose another name");
    quiet_ctc({"cut", "in.ctc", "out.ctc", "--overwrite"});
    EXPECT_EQ(read_file("out.ctc"), read_file("in.ctc"));
}

} // namespace
