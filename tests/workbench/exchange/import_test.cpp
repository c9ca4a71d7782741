// workbench import, as people use it.

#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/workbench/exchange/exchange_program.h"
#include "tests/workbench/exchange/foreign_bytes.h"

namespace {

using namespace test;

class Import : public ExchangeProgram {
protected:
    static EdfTestFile annotated() {
        EdfTestFile file = small_edf();
        file.kind = "EDF+C";
        file.lists = {tal("+0", {""}) + tal("+0.5", {"left/right"}), tal("+1", {""}) + tal("+1.2", {"B"}),
                      tal("+2", {""}) + tal("+9", {"late"})};
        return file;
    }
};

TEST_F(Import, EdfBecomesRecordingProtocolAndTable) {
    write_file("r.edf", edf_bytes(annotated()));
    const CommandResult result = workbench({"import", "r.edf"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Wrote r.ctc (EDF+, 2 channels, 3 s at 10 Hz, microvolts) and\n  r_channels.tsv\n"
                          "  skipped channel Temp: unit degC is no voltage\n"
                          "Wrote r.prt:\n  left_right: 1 trigger\n  B: 1 trigger\n");
    EXPECT_EQ(result.err, "workbench: note: \"left/right\" is the condition \"left_right\"\n"
                          "workbench: note: 1 event outside the recording left out\n");
    EXPECT_EQ(files(), "r.ctc r.edf r.prt r_channels.tsv ");
    EXPECT_EQ(read_file("r.prt"),
              "FileVersion: 1\nExperiment: r\nTimeResolution: samples\n\nCondition: left_right\n5\n\n"
              "Condition: B\n12\n");
    const CtcContents contents = ctc_contents("r.ctc");
    EXPECT_EQ(contents.ordering, 1U);
    ASSERT_EQ(contents.channels, 2U);
    ASSERT_EQ(contents.samples, 30U);
    EXPECT_EQ(contents.rate, 10.0f);
    for (std::size_t i = 0; i < 30; ++i) {
        const auto sample = static_cast<double>(i);
        EXPECT_NEAR(contents.at(0, i), 0.1 * (-500.0 + 3.0 * sample), 1e-5);
        EXPECT_NEAR(contents.at(1, i), 1000.0 * (10.0 - 2.0 * sample + 32768.0) / 65535.0, 1e-4);
    }
}

TEST_F(Import, BrainVisionKeepsFloatsBitForBitAndScalesUnits) {
    write_file("in.eeg",
               eeg_bytes(true, 3, 40, [](Bytes& out, int value) { out.f32(static_cast<float>(value) / 3.0f); }));
    write_file("in.vmrk", vmrk_text("Mk1=New Segment,,1,1,0\r\nMk2=Stimulus,S  1,11,1,0\r\n"));
    write_file("in.vhdr", vhdr_text("VECTORIZED", "IEEE_FLOAT_32"));
    done({"import", "in.vhdr", "-o", "out.ctc"});
    EXPECT_EQ(files(), "in.eeg in.vhdr in.vmrk out.ctc out.prt out_channels.tsv ");
    EXPECT_EQ(read_file("out.prt"), "FileVersion: 1\nExperiment: in\nTimeResolution: samples\n\nCondition: S  1\n10\n");
    const CtcContents contents = ctc_contents("out.ctc");
    ASSERT_EQ(contents.channels, 3U);
    EXPECT_EQ(contents.rate, 250.0f);
    for (std::size_t i = 0; i < 40; ++i) {
        const auto sample = static_cast<float>(i);
        EXPECT_NEAR(contents.at(1, i), 2000.0f * (200.0f - 7.0f * sample) / 3.0f, 0.05f); // 2 mV steps
        EXPECT_EQ(contents.at(2, i), (300.0f - 7.0f * sample) / 3.0f);
    }
}

TEST_F(Import, GdfComesThroughLibbiosig) {
    write_file("r.gdf", gdf_bytes(9, {{51, 769}, {101, 770}}));
    EXPECT_EQ(done({"import", "r.gdf"}), "Wrote r.ctc (GDF, 2 channels, 4.5 s at 100 Hz, microvolts) and\n"
                                         "  r_channels.tsv\n  skipped channel Temp: unit °C is no voltage\n"
                                         "Wrote r.prt:\n  class1, Left hand: 1 trigger\n"
                                         "  class2, Right hand: 1 trigger\n");
    const CtcContents contents = ctc_contents("r.ctc");
    ASSERT_EQ(contents.samples, 450U);
    for (std::size_t i = 0; i < 450; ++i) {
        EXPECT_NEAR(contents.at(0, i), -0.1 * static_cast<double>(i), 1e-4);
        EXPECT_NEAR(contents.at(1, i), 100.0 - static_cast<double>(i), 1e-4);
    }
}

TEST_F(Import, RecordingsOfManyBlocksAreWhole) {
    constexpr int samples = 1200000;
    std::vector<int> values;
    for (int i = 0; i < samples; ++i) {
        values.push_back(i % 60013 - 30000);
    }
    EdfTestFile file;
    file.duration = "1";
    file.recordCount = 1200;
    file.signals = {{"A", "uV", "-32768", "32767", values, 1000}};
    write_file("r.edf", edf_bytes(file));
    done({"import", "r.edf"});
    const CtcContents contents = ctc_contents("r.ctc");
    ASSERT_EQ(contents.samples, static_cast<std::uint32_t>(samples));
    int wrong = 0;
    for (std::size_t i = 0; i < contents.samples; ++i) {
        wrong += contents.at(0, i) == static_cast<float>(values[i]) ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(Import, EventsComeFromATableInstead) {
    write_file("r.edf", edf_bytes(annotated()));
    write_file("r_events.tsv", "onset\tduration\ttrial_type\n0.31\t0\tgo\n1.0\t0\tgo\n2\t0\tstop\n");
    done({"import", "r.edf", "--events", "r_events.tsv"});
    EXPECT_EQ(read_file("r.prt"), "FileVersion: 1\nExperiment: r\nTimeResolution: samples\n\nCondition: go\n3\n10\n\n"
                                  "Condition: stop\n20\n");
    done({"import", "r.edf", "--events", "r_events.tsv", "--events", "file", "--events", "hot=channel:Temp",
          "--threshold", "25.0099", "--overwrite"});
    EXPECT_NE(read_file("r.prt").find("Condition: B\n12\n\nCondition: hot\n13\n"), std::string::npos)
        << read_file("r.prt");
}

TEST_F(Import, WithoutEventsThereIsNoProtocol) {
    write_file("r.edf", edf_bytes(small_edf()));
    const std::string said = done({"import", "r.edf"});
    EXPECT_NE(said.find("No events were found, so no protocol was written; --events says where they are."),
              std::string::npos);
    EXPECT_EQ(files(), "r.ctc r.edf r_channels.tsv ");
}

TEST_F(Import, BadInputIsToldInOneLineAndLeavesNothing) {
    const std::string edf = edf_bytes(annotated());
    write_file("good.edf", edf);
    write_file("cut.edf", edf.substr(0, edf.size() - 1));
    write_file("head.edf", edf.substr(0, 700));
    write_file("empty.edf", "");
    write_file("text.edf", "onset,duration\n1,2\n");
    write_file("text.txt", std::string(2000, 'x'));
    write_file("lonely.vhdr", vhdr_text("MULTIPLEXED", "INT_16"));
    write_file("lonely2.vhdr", vhdr_text("MULTIPLEXED", "INT_16"));
    write_file("lonely2.eeg", std::string(60, 'x'));
    EdfTestFile warm = small_edf();
    warm.signals.erase(warm.signals.begin(), warm.signals.begin() + 2);
    write_file("warm.edf", edf_bytes(warm));

    expect_refused({"import", "none.edf"}, "none.edf: no such file");
    expect_refused({"import", "."}, ".: is a folder, not a file");
    expect_refused({"import", "cut.edf"}, "cut.edf: is cut short: it holds 2 of the 3 data records that it announces; "
                                          "--incomplete imports those");
    expect_refused({"import", "head.edf"}, "head.edf: its EDF or BDF header is cut short (700 of 1280 bytes)");
    expect_refused({"import", "empty.edf"}, "empty.edf: is empty");
    expect_refused({"import", "text.edf"}, "text.edf: does not begin as EDF and BDF files do");
    expect_refused({"import", "text.txt"}, "text.txt: is in no format that the workbench or libbiosig knows");
    expect_refused({"import", "lonely.vhdr"}, "lonely.eeg: no such file, though lonely.vhdr names it; put it back, or "
                                              "correct the name in the header");
    expect_refused({"import", "lonely2.vhdr"}, "lonely2.vmrk: no such file, though lonely2.vhdr names it; put it back, "
                                               "or correct the name in the header");
    expect_refused({"import", "warm.edf"}, "warm.edf: no channel can be imported (Temp: unit degC is no voltage)");
    expect_refused({"import", "good.edf", "-o", "good.edf"}, "good.edf: the name of a recording must end in .ctc");
    expect_refused({"import", "good.edf", "-o", "no/r.ctc"}, "no/r.ctc: there is no folder no");
    expect_refused({"import", "good.edf", "--skip", "Cz"},
                   "good.edf: has no channel \"Cz\"; it has EEG Fp1, EEG Fp2, Temp");
    expect_refused({"import", "good.edf", "--events", "none.tsv"}, "none.tsv: no such file");
    expect_refused({"import", "good.edf", "--threshold", "3"},
                   "--threshold is for triggers in a channel; give --events channel:NAME too");
    write_file("taken.prt", "precious");
    expect_refused({"import", "good.edf", "-o", "taken.ctc"}, "taken.prt: exists already (--overwrite replaces it)");
    done({"import", "lonely2.vhdr", "--events", "none"});
}

TEST_F(Import, AnInputIsNeverReplaced) {
    write_file("r.ctc", edf_bytes(annotated()));
    expect_refused({"import", "r.ctc", "--overwrite"}, "r.ctc: is a CTC recording already; nothing has to be imported");
    write_file("r.edf", edf_bytes(annotated()));
    write_file("x_channels.tsv", "onset\ttrial_type\n1\ta\n");
    expect_refused({"import", "r.edf", "-o", "x.ctc", "--events", "x_channels.tsv", "--overwrite"},
                   "x_channels.tsv: is a file that is read; choose another name with -o");
}

TEST_F(Import, AFolderThatCannotBeWrittenIsNamed) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may write everywhere";
    }
    write_file("r.edf", edf_bytes(annotated()));
    std::filesystem::create_directory("locked");
    chmod("locked", 0500);
    expect_refused({"import", "r.edf", "-o", "locked/r.ctc"}, "locked/r.ctc: cannot be created (Permission denied)");
    chmod("locked", 0700);
}

TEST_F(Import, TooManyValuesForACtcRecordingAreRefusedBeforeAnythingIsWritten) {
    EdfTestFile file;
    file.recordCount = 0;
    file.records = "5000000";
    file.signals = {{"A", "uV", "-1", "1", {}, 1000}};
    const std::string header = edf_bytes(file);
    write_file("huge.edf", header);
    std::filesystem::resize_file("huge.edf", header.size() + 10000000000U); // a hole on the disk
    const CommandResult result = workbench({"import", "huge.edf"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "workbench: huge.edf: has 1 channels of 5000000000 samples, and a CTC recording holds less "
                          "than 2^32 in all; leave out channels with --skip\n");
    EXPECT_EQ(files(), "huge.edf ");
}

TEST_F(Import, AnInterruptLeavesNothing) {
    EdfTestFile file;
    file.recordCount = 0;
    file.records = "400000";
    file.signals = {{"A", "uV", "-1", "1", {}, 1000}};
    const std::string header = edf_bytes(file);
    write_file("long.edf", header);
    std::filesystem::resize_file("long.edf", header.size() + 800000000U);
    const CommandResult result = workbench({"import", "long.edf"}, [](pid_t child) {
        while (files() == "long.edf " && kill(child, 0) == 0) {
            usleep(1000);
        }
        kill(child, SIGINT);
    });
    EXPECT_EQ(result.status, 130);
    EXPECT_EQ(result.err, "workbench: interrupted; nothing was written\n");
    EXPECT_EQ(files(), "long.edf ");
}

} // namespace
