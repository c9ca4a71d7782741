// workbench export: the bytes that it writes, and that they come back.

#include <cmath>
#include <cstdlib>

#include "tests/support/bits.h"
#include "tests/workbench/exchange/exchange_program.h"

namespace {

using namespace test;

// Values of both signs, of another size in each channel, that no short decimal meets.
float some_value(std::uint32_t channel, std::uint32_t sample) {
    return std::sin(0.37f * static_cast<float>(sample)) * 41.7f * static_cast<float>(channel + 1) +
           static_cast<float>(sample % 7) / 3.0f - 900.0f * static_cast<float>(channel);
}

const char* const someProtocol = "FileVersion: 1\nExperiment: x\nTimeResolution: samples\n\nCondition: slice, one\n"
                                 "0\n123\n1009\n\nCondition: Größe\n123\n";

// An EDF or BDF file as its own description says it is read.
struct EdfContents {
    std::vector<std::string> labels, units;
    std::vector<double> low, high;
    double seconds = 0.0;
    int records = 0;
    std::vector<int> perRecord;
    std::string kind;
    std::vector<std::vector<double>> values; // physical
    std::string lists;                       // of all records
};

std::string field(const std::string& bytes, std::size_t at, std::size_t length) {
    const std::string text = bytes.substr(at, length);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

EdfContents edf_contents(const std::string& file) {
    const std::string bytes = read_file(file);
    EdfContents edf;
    const bool bdf = bytes[0] == '\xFF';
    const std::size_t size = bdf ? 3 : 2;
    edf.kind = field(bytes, 192, 44);
    edf.records = std::atoi(field(bytes, 236, 8).c_str());
    edf.seconds = std::atof(field(bytes, 244, 8).c_str());
    const auto signals = static_cast<std::size_t>(std::atoi(field(bytes, 252, 4).c_str()));
    EXPECT_EQ(field(bytes, 184, 8), std::to_string(256 * (signals + 1)));
    const auto column = [&](std::size_t offset, std::size_t width, std::size_t i) {
        return field(bytes, 256 + offset * signals + i * width, width);
    };
    for (std::size_t i = 0; i < signals; ++i) {
        edf.labels.push_back(column(0, 16, i));
        edf.units.push_back(column(96, 8, i));
        edf.low.push_back(std::atof(column(104, 8, i).c_str()));
        edf.high.push_back(std::atof(column(112, 8, i).c_str()));
        EXPECT_EQ(column(120, 8, i), bdf ? "-8388608" : "-32768");
        EXPECT_EQ(column(128, 8, i), bdf ? "8388607" : "32767");
        edf.perRecord.push_back(std::atoi(column(216, 8, i).c_str()));
    }
    edf.values.resize(signals);
    std::size_t at = 256 * (signals + 1);
    for (int record = 0; record < edf.records; ++record) {
        for (std::size_t i = 0; i < signals; ++i) {
            for (int k = 0; k < edf.perRecord[i]; ++k, at += size) {
                if (edf.labels[i].ends_with(" Annotations")) {
                    edf.lists += bytes.substr(at, size);
                    continue;
                }
                std::int32_t digital = static_cast<signed char>(bytes[at + size - 1]);
                for (std::size_t byte = size - 1; byte-- > 0;) {
                    digital = digital * 256 + static_cast<unsigned char>(bytes[at + byte]);
                }
                const double lowest = bdf ? -8388608.0 : -32768.0;
                const double steps = bdf ? 16777215.0 : 65535.0;
                edf.values[i].push_back(edf.low[i] + (digital - lowest) * (edf.high[i] - edf.low[i]) / steps);
            }
        }
    }
    EXPECT_EQ(at, bytes.size());
    return edf;
}

class Export : public ExchangeProgram {
protected:
    void SetUp() override {
        write_file("r.ctc", ctc_bytes(3, 1010, 250.0f, some_value));
        write_file("r.prt", someProtocol);
    }

    static void expect_same_recording(const std::string& file, std::uint32_t samples, float rate) {
        const CtcContents again = ctc_contents(file);
        EXPECT_EQ(again.channels, 3U);
        EXPECT_EQ(again.samples, samples);
        EXPECT_EQ(again.rate, rate);
    }
};

TEST_F(Export, EdfHoldsEveryValueWithinHalfAStep) {
    for (const std::string ending : {"edf", "bdf"}) {
        SCOPED_TRACE(ending);
        const std::string said = done({"export", "r.ctc", "-o", "out." + ending, "--protocol", "r.prt"});
        EXPECT_EQ(said.find("Wrote out." + ending + ": 3 channels of 1010 samples, 4 annotations; steps of at most "),
                  0U)
            << said;
        const EdfContents edf = edf_contents("out." + ending);
        EXPECT_EQ(edf.kind, ending == "edf" ? "EDF+C" : "BDF+C");
        ASSERT_EQ(edf.labels.size(), 4U);
        EXPECT_EQ(edf.labels[0], "Ch1");
        EXPECT_EQ(edf.labels[3], ending == "edf" ? "EDF Annotations" : "BDF Annotations");
        EXPECT_EQ(static_cast<float>(edf.perRecord[0] / edf.seconds), 250.0f);
        for (std::uint32_t channel = 0; channel < 3; ++channel) {
            EXPECT_EQ(edf.units[channel], "uV");
            ASSERT_EQ(edf.values[channel].size(), 1010U);
            const double step = (edf.high[channel] - edf.low[channel]) / (ending == "edf" ? 65535.0 : 16777215.0);
            EXPECT_LT(step, ending == "edf" ? 0.005 : 2e-5);
            for (std::uint32_t i = 0; i < 1010; ++i) {
                const auto value = static_cast<double>(some_value(channel, i));
                EXPECT_LE(std::abs(edf.values[channel][i] - value), 0.5 * step * (1.0 + 1e-6));
            }
        }
        const std::string zero(1, '\0');
        EXPECT_EQ(edf.lists.find("+0\x14\x14" + zero + "+0\x14slice, one\x14" + zero), 0U);
        EXPECT_NE(edf.lists.find("+0.492\x14slice, one\x14" + zero), std::string::npos);
        EXPECT_NE(edf.lists.find("+0.492\x14Größe\x14" + zero), std::string::npos);
        EXPECT_NE(edf.lists.find("+4.036\x14slice, one\x14" + zero), std::string::npos);
    }
}

TEST_F(Export, EveryFormatComesBackWithAllTriggers) {
    for (const std::string ending : {"edf", "bdf", "vhdr"}) {
        SCOPED_TRACE(ending);
        done({"export", "r.ctc", "-o", "out." + ending, "--protocol", "r.prt"});
        done({"import", "out." + ending, "-o", "again.ctc", "--overwrite"});
        expect_same_recording("again.ctc", 1010, 250.0f);
        EXPECT_EQ(read_file("again.prt"), "FileVersion: 1\nExperiment: out\nTimeResolution: samples\n\n"
                                          "Condition: slice, one\n0\n123\n1009\n\nCondition: Größe\n123\n");
    }
}

TEST_F(Export, LengthsThatNoRecordDividesComeBackToo) {
    for (const std::string ending : {"edf", "bdf"}) {
        write_file("prime.ctc", ctc_bytes(3, 1009, 256.0f * 3.7f, some_value));
        const std::string said = done({"export", "prime.ctc", "-o", "p." + ending, "--protocol", "r.prt"});
        EXPECT_NE(said.find("workbench: note: 1 triggers lie outside the recording and are left out\n"),
                  std::string::npos)
            << said;
        EXPECT_NE(said.find("the annotation \"Recording ends\" tells where it really ends\n"), std::string::npos)
            << said;
        done({"import", "p." + ending, "-o", "again.ctc", "--overwrite"});
        expect_same_recording("again.ctc", 1009, 256.0f * 3.7f);
        EXPECT_NE(read_file("again.prt").find("Condition: slice, one\n0\n123\n\nCondition: Größe\n123\n"),
                  std::string::npos);
    }
}

TEST_F(Export, BrainVisionKeepsEveryBit) {
    write_file("r.ctc", ctc_bytes(3, 1010, 250.0f, [](std::uint32_t channel, std::uint32_t sample) {
                   return sample == 5 ? INFINITY : sample == 6 ? std::nanf("") : some_value(channel, sample) * 1e-9f;
               }));
    EXPECT_EQ(
        done({"export", "r.ctc", "-o", "o.vhdr", "--protocol", "r.prt"}),
        "Wrote o.vhdr: 3 channels of 1010 samples, 4 markers; every value as it is\n"
        "workbench: note: the channels are called Ch1, Ch2 and so on; --channels names a table with their names\n");
    EXPECT_EQ(files(), "o.eeg o.vhdr o.vmrk r.ctc r.prt ");
    const CtcContents before = ctc_contents("r.ctc");
    const std::string data = read_file("o.eeg");
    ASSERT_EQ(data.size(), 4U * 3U * 1010U);
    for (std::size_t i = 0; i < 1010; ++i) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            float value = 0.0f;
            std::memcpy(&value, data.data() + 4 * (3 * i + channel), 4);
            EXPECT_TRUE(support::same_bits(before.at(channel, i), value));
        }
    }
    EXPECT_NE(read_file("o.vmrk").find("Mk2=Stimulus,slice\\1 one,1,1,0\r\nMk3=Stimulus,slice\\1 one,124,1,0\r\n"
                                       "Mk4=Stimulus,Größe,124,1,0\r\nMk5=Stimulus,slice\\1 one,1010,1,0\r\n"),
              std::string::npos);
    done({"import", "o.vhdr", "-o", "again.ctc"});
    const CtcContents again = ctc_contents("again.ctc");
    ASSERT_EQ(again.values.size(), before.values.size());
    EXPECT_TRUE(
        support::same_bits(before.values.data(), again.values.data(), 0, static_cast<int>(before.values.size()) - 1));
}

TEST_F(Export, ChannelsHaveTheNamesOfTheTable) {
    write_file("r_channels.tsv", "name\ttype\tctc_channel\nFp1\tEEG\t1\nTemp\tMISC\tn/a\nA,B\tEEG\t2\n"
                                 "A name of more than 16 bytes \xC3\xB6\tECG\t3\n");
    done({"export", "r.ctc", "-o", "o.vhdr"});
    EXPECT_NE(read_file("o.vhdr").find("Ch1=Fp1,,1,µV\r\nCh2=A\\1B,,1,µV\r\n"), std::string::npos);
    const std::string said = done({"export", "r.ctc", "-o", "o.edf"});
    EXPECT_NE(said.find("workbench: note: channel A name of more than 16 bytes ö is called \"A name of more t\" in the "
                        "file, which holds 16 plain characters\n"),
              std::string::npos)
        << said;
    EXPECT_EQ(edf_contents("o.edf").labels,
              (std::vector<std::string>{"Fp1", "A,B", "A name of more t", "EDF Annotations"}));
}

TEST_F(Export, ACleanedRecordingHasTheNamesOfTheImportedOne) {
    write_file("r_OBS.ctc", read_file("r.ctc"));
    write_file("r_channels.tsv", "name\nFp1\nFp2\nCz\n");
    EXPECT_EQ(workbench({"export", "r_OBS.ctc", "-o", "o.vhdr"}).err, "");
    EXPECT_NE(read_file("o.vhdr").find("Ch3=Cz,,1,µV\r\n"), std::string::npos);
}

TEST_F(Export, ATableThatDoesNotFitServesOnlyWhereItIsAskedFor) {
    write_file("r_channels.tsv", "name\nFp1\n");
    const std::string said = done({"export", "r.ctc", "-o", "o.vhdr"});
    EXPECT_NE(said.find("workbench: note: r_channels.tsv: names 1 channels, and the recording has 3; it is not used, "
                        "and they are called Ch1, Ch2 and so on\n"),
              std::string::npos)
        << said;
    expect_refused({"export", "r.ctc", "-o", "p.vhdr", "--channels", "r_channels.tsv"},
                   "r_channels.tsv: names 1 channels, and the recording has 3");
}

TEST_F(Export, SimulatedRecordingsComeBackInEveryFormat) {
    if (support::run_command({"/usr/bin/python3", "-c", "pass"}).status != 0) {
        GTEST_SKIP() << "there is no python3";
    }
    done({"simulate", "-o", "g.ctc", "--seconds", "20.123", "--channels", "3", "--rate", "499.907"});
    done({"simulate", "-o", "h.ctc", "--seconds", "61", "--channels", "2", "--rate", "256", "--artifact", "heartbeat",
          "--ordering", "2"});
    const CommandResult result =
        support::run_command({"/usr/bin/python3", ROUND_TRIP_SCRIPT, WORKBENCH_PROGRAM, "g.ctc", "h.ctc"});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 6);
}

TEST_F(Export, WhatIsNotANumberIsWrittenAsZeroAndSaid) {
    write_file("r.ctc", ctc_bytes(3, 1010, 250.0f, [](std::uint32_t channel, std::uint32_t sample) {
                   return channel == 1 && sample < 2 ? std::nanf("") : some_value(channel, sample);
               }));
    const std::string said = done({"export", "r.ctc", "-o", "o.edf"});
    EXPECT_NE(said.find("workbench: note: 2 values in channels 2 are not numbers; the file cannot hold them, they are "
                        "written as 0 uV\n"),
              std::string::npos)
        << said;
    const EdfContents edf = edf_contents("o.edf");
    EXPECT_NEAR(edf.values[1][0], 0.0, 0.02);
    EXPECT_NEAR(edf.values[1][2], static_cast<double>(some_value(1, 2)), 0.02);
}

TEST_F(Export, BadInputIsToldInOneLineAndLeavesNothing) {
    expect_refused({"export", "r.ctc", "-o", "out.txt"},
                   "out.txt: the name must end in .edf, .bdf or .vhdr, which chooses the format");
    expect_refused({"export", "none.ctc", "-o", "o.edf"}, "none.ctc: no such file");
    expect_refused({"export", "r.prt", "-o", "o.edf"}, "r.prt: is not a CTC recording, or its header is cut short");
    write_file("not.prt", "slice,3\n");
    expect_refused({"export", "r.ctc", "-o", "o.edf", "--protocol", "not.prt"},
                   "not.prt:1: expected \"FileVersion: 1\", found \"slice,3\"");
    expect_refused({"export", "r.ctc", "-o", "no/o.vhdr"}, "no/o.vhdr: there is no folder no");
    write_file("o.eeg", "precious");
    expect_refused({"export", "r.ctc", "-o", "o.vhdr"}, "o.eeg: exists already (--overwrite replaces it)");
    write_file("two.tsv", "name\na\nb\n");
    expect_refused({"export", "r.ctc", "-o", "o.edf", "--channels", "two.tsv"},
                   "two.tsv: names 2 channels, and the recording has 3");
    write_file("large.ctc",
               ctc_bytes(1, 10, 250.0f, [](std::uint32_t, std::uint32_t i) { return i == 3 ? 1e30f : 0.0f; }));
    const CommandResult result = workbench({"export", "large.ctc", "-o", "o.edf"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("do not fit the format; export to BrainVision (.vhdr) instead\n"), std::string::npos);
    EXPECT_EQ(files(), "large.ctc not.prt o.eeg r.ctc r.prt two.tsv ");
}

} // namespace
