// The workbench's run command, as a person or a batch job uses it.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::CommandResult;
using support::read_file;
using support::write_file;

// Two channels of noise with a shape of 20 samples at 50, 100, ... 600; 1000 samples at 1000 Hz.
std::string recording_bytes(std::uint32_t dataType, std::uint32_t ordering, bool secondFlat = false) {
    support::CtcHeader header;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = 2;
    header.nrOfSamples = 1000;
    header.samplingFrequency = 1000.0f;
    header.offsets = {0.0f, 0.0f};
    header.scales = {1.0f, 1.0f};
    std::vector<int> signal;
    std::uint32_t state = 99;
    for (int i = 0; i < 1000; ++i) {
        state = state * 1664525U + 1013904223U;
        const bool inShape = i >= 50 && i < 620 && i % 50 < 20;
        signal.push_back(static_cast<int>(state >> 28) + (inShape ? (i % 5 - 2) * 40 : 0));
    }
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for (int i = 0; i < 2000; ++i) {
        const int channel = ordering == 1 ? i / 1000 : i % 2;
        const int sample = ordering == 1 ? i % 1000 : i / 2;
        support::append_stored(bytes, dataType,
                               channel == 1 && secondFlat ? 7 : signal[static_cast<std::size_t>(sample)]);
    }
    return bytes.str();
}

class WorkbenchRun : public testing::Test {
protected:
    void SetUp() override {
        write_file("rec.ctc", recording_bytes(1, 1));
        std::string protocol = "FileVersion: 1\nExperiment: Test\nTimeResolution: samples\nCondition: slice\n";
        for (int i = 1; i <= 12; ++i) {
            protocol += std::to_string(50 * i) + "\n";
        }
        write_file("rec.prt", protocol + "Condition: few\n1\n2\n3\n");
    }

    // The run command with all options, less those whose name is given in `without`, and more.
    static std::vector<std::string> command(const std::vector<std::string>& more = {},
                                            const std::string& without = "") {
        std::vector<std::string> arguments{WORKBENCH_PROGRAM, "run", ORIDAN_MODULE_PATH};
        const std::vector<std::vector<std::string>> options{
            {"--data", "rec.ctc"}, {"--protocol", "rec.prt"}, {"--condition", "slice"}, {"--pre", "10"},
            {"--post", "20"},      {"--segment", "10"},       {"--components", "2"}};
        for (const auto& option : options) {
            if (option[0] != without) {
                arguments.insert(arguments.end(), option.begin(), option.end());
            }
        }
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    static CommandResult run(const std::vector<std::string>& more = {}, const std::string& without = "") {
        return support::run_command(command(more, without));
    }

    // Files and folders in the current directory, hidden ones included.
    static std::vector<std::string> files() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    static void expect_refused(const CommandResult& result, const std::string& part) {
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err.rfind("workbench: ", 0), 0U) << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(files(), untouched);
    }

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
    inline static const std::vector<std::string> untouched{"rec.ctc", "rec.prt"};
};

class WorkbenchOnATerminal : public WorkbenchRun {
protected:
    void SetUp() override {
        if (!support::has_terminals()) {
            GTEST_SKIP() << "this system gives out no pseudo-terminals";
        }
        WorkbenchRun::SetUp();
    }
};

TEST_F(WorkbenchRun, CleansACopyAndLeavesNothingElse) {
    const std::string before = read_file("rec.ctc");
    const CommandResult result = run();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("// OridanSuite> Artifact template removal completed!\n"), std::string::npos);
    EXPECT_NE(result.out.find("Processing segment 2/2 of channel 2 / 2  ...\n"), std::string::npos);
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc", "rec_slice.trl"}));
    EXPECT_EQ(read_file("rec.ctc"), before);
    EXPECT_NE(read_file("rec_OBS.ctc"), before);
    EXPECT_EQ(read_file("rec_OBS.ctc").size(), before.size());
    EXPECT_EQ(read_file("rec_slice.trl").substr(0, 24), "49000 slice\n99000 slice\n");
}

TEST_F(WorkbenchRun, ConditionCanBeANumber) {
    EXPECT_EQ(run({"--condition", "1"}, "--condition").status, 0);
    EXPECT_TRUE(folder.has("rec_slice.trl"));
}

TEST_F(WorkbenchRun, OutputNameNamesBothResults) {
    std::filesystem::create_directory("results");
    EXPECT_EQ(run({"-o", "results/clean.ctc"}).status, 0);
    EXPECT_TRUE(folder.has("results/clean.ctc"));
    EXPECT_TRUE(folder.has("results/clean_slice.trl"));
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "results"}));
}

TEST_F(WorkbenchRun, BothProductsClean) {
    EXPECT_EQ(run({"--product", "fixed", "-o", "fixed.ctc"}).status, 0);
    EXPECT_EQ(run({"--product", "blas", "-o", "blas.ctc"}).status, 0);
    const std::string plain = read_file("fixed.ctc");
    const std::string blas = read_file("blas.ctc");
    ASSERT_EQ(plain.size(), blas.size());
    EXPECT_NE(plain, read_file("rec.ctc"));
    for (std::size_t at = plain.size() - 8000; at < plain.size(); at += 4) {
        float x = 0.0f;
        float y = 0.0f;
        std::memcpy(&x, &plain[at], 4);
        std::memcpy(&y, &blas[at], 4);
        EXPECT_NEAR(x, y, 0.05f);
    }
}

TEST_F(WorkbenchRun, TrialFileHasTheConditionsNameWhateverTheModuleMakesOfIt) {
    std::string protocol = read_file("rec.prt");
    protocol.replace(protocol.find("slice"), 5, "R%d");
    write_file("rec.prt", protocol);
    EXPECT_EQ(run({"--condition", "R%d"}, "--condition").status, 0);
    EXPECT_EQ(read_file("rec_R%d.trl").substr(0, 11), "49000 R%d\n9");
}

TEST_F(WorkbenchRun, HeaderThatClaimsWhatTheFileDoesNotHoldIsRefusedAtOnce) {
    support::CtcHeader header;
    header.nrOfChannels = 65000;
    header.nrOfSamples = 60000;
    write_file("rec.ctc", support::ctc_header_bytes(header) + std::string(4000, '\0'));
    expect_refused(run(), "less than one window");
}

TEST_F(WorkbenchRun, UnusableSamplingFrequenciesAreRefused) {
    for (const float rate : {0.0f, -100.0f, std::numeric_limits<float>::quiet_NaN()}) {
        std::string bytes = recording_bytes(1, 1);
        std::memcpy(&bytes[24], &rate, 4);
        write_file("rec.ctc", bytes);
        expect_refused(run(), "sampling frequency of");
    }
}

TEST_F(WorkbenchRun, WindowOfOneSampleIsAnnounced) {
    std::vector<std::string> arguments{WORKBENCH_PROGRAM,
                                       "run",
                                       ORIDAN_MODULE_PATH,
                                       "--data",
                                       "rec.ctc",
                                       "--protocol",
                                       "rec.prt",
                                       "--condition",
                                       "slice",
                                       "--pre",
                                       "0",
                                       "--post",
                                       "0",
                                       "--segment",
                                       "10",
                                       "--components",
                                       "2"};
    EXPECT_NE(support::run_command(arguments).err.find("one sample"), std::string::npos);
}

TEST_F(WorkbenchRun, ExistingResultsAreKeptUnlessTold) {
    write_file("rec_OBS.ctc", "precious");
    CommandResult result = run();
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("rec_OBS.ctc"), std::string::npos) << result.err;
    EXPECT_EQ(read_file("rec_OBS.ctc"), "precious");
    std::filesystem::remove("rec_OBS.ctc");
    write_file("rec_slice.trl", "precious");
    result = run();
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("rec_slice.trl"), std::string::npos) << result.err;
    EXPECT_EQ(read_file("rec_slice.trl"), "precious");
    EXPECT_EQ(run({"--overwrite"}).status, 0);
    EXPECT_EQ(read_file("rec_slice.trl").substr(0, 12), "49000 slice\n");
}

TEST_F(WorkbenchRun, InputIsNeverTheOutput) {
    expect_refused(run({"-o", "rec.ctc", "--overwrite"}), "never changed");
    expect_refused(run({"-o", "./rec.prt", "--overwrite"}), "never changed");
}

TEST_F(WorkbenchRun, MissingOptionsAreNamedWithoutATerminal) {
    for (const char* option : {"--data", "--protocol", "--condition", "--pre", "--post", "--segment", "--components"}) {
        expect_refused(run({}, option), option);
    }
}

TEST_F(WorkbenchRun, SettingsOutOfRangeAreRefused) {
    const struct {
        const char* option;
        const char* value;
        const char* part;
    } cases[] = {
        {"--pre", "-1", "0 to 5000"},        {"--pre", "5001", "0 to 5000"},    {"--post", "5001", "0 to 5000"},
        {"--post", "1000", "does not fit"},  {"--segment", "9", "10 to 12"},    {"--segment", "13", "10 to 12"},
        {"--components", "0", "1 to 10"},    {"--components", "11", "1 to 10"}, {"--pre", "ten", "--pre"},
        {"--pre", "010", "decimal"},         {"--pre", "0x10", "decimal"},      {"--segment", "+10", "decimal"},

        {"--condition", "nothing", "slice"}, {"--condition", "3", "slice"},     {"--condition", "few", "3 triggers"},
        {"--product", "mkl", "--product"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.option) + " " + c.value);
        expect_refused(run({c.option, c.value}, c.option), c.part);
    }
}

TEST_F(WorkbenchRun, FilesThatCannotBeUsedAreRefused) {
    expect_refused(run({"--data", "none.ctc"}, "--data"), "none.ctc");
    expect_refused(run({"--data", "."}, "--data"), ".");
    expect_refused(run({"--data", "rec.prt"}, "--data"), "rec.prt");
    expect_refused(run({"--protocol", "none.prt"}, "--protocol"), "none.prt");
    expect_refused(run({"--protocol", "rec.ctc"}, "--protocol"), "rec.ctc:1:");
    expect_refused(run({"-o", "none/out.ctc"}), "none");
}

TEST_F(WorkbenchRun, ModulesThatCannotBeUsedAreRefused) {
    expect_refused(support::run_command({WORKBENCH_PROGRAM, "info", "none.so"}), "none.so");
    expect_refused(support::run_command({WORKBENCH_PROGRAM, "info", "rec.ctc"}), "rec.ctc");
    expect_refused(support::run_command({WORKBENCH_PROGRAM, "info", "/lib/x86_64-linux-gnu/libm.so.6"}),
                   "getPluginName");
}

TEST_F(WorkbenchRun, InfoShowsWhatTheModuleSays) {
    const CommandResult result = support::run_command({WORKBENCH_PROGRAM, "info", ORIDAN_MODULE_PATH});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("EEG/MEG artifact removal with optimal basis set (OBS) approach ..."), std::string::npos);
    EXPECT_NE(result.out.find("0.0"), std::string::npos);
}

TEST_F(WorkbenchRun, EpochedRecordingsAreRefused) {
    support::CtcHeader header;
    header.dataType = 1;
    header.sampleOrdering = 3;
    header.nrOfChannels = 1;
    header.nrOfSamples = 10;
    header.trials = {1};
    header.pre = {5};
    header.post = {5};
    write_file("rec.ctc", support::ctc_header_bytes(header) + std::string(40, '\0'));
    expect_refused(run(), "continuous");
}

struct MisplacingLayout {
    std::uint32_t type;
    std::uint32_t ordering;
    const char* part;
};
const MisplacingLayout misplacingLayouts[] = {{3, 1, "one window length later"},
                                              {4, 1, "one window length later"},
                                              {5, 1, "single bytes"},
                                              {5, 2, "single bytes"}};

TEST_F(WorkbenchRun, MisplacingDataTypesAreRefusedWithTheCommandThatAvoidsIt) {
    for (const MisplacingLayout& c : misplacingLayouts) {
        write_file("rec.ctc", recording_bytes(c.type, c.ordering));
        expect_refused(run({"--quiet"}), c.part);
        const std::string here = std::filesystem::current_path().string() + "/rec";
        expect_refused(run(), "ctc convert " + here + ".ctc " + here + "_float.ctc --datatype 1 --ordering " +
                                  std::to_string(c.ordering));
        expect_refused(run(), "--as-is");
    }
}

TEST_F(WorkbenchRun, NameOfAMisplacingRecordingIsQuotedForAShell) {
    std::filesystem::create_directory("it's my data");
    write_file("it's my data/a b.dat", recording_bytes(3, 1));
    const CommandResult result = run({"--data", "it's my data/a b.dat"}, "--data");
    const std::string here = "'" + std::filesystem::current_path().string() + "/it'\\''s my data/a b";
    EXPECT_NE(result.err.find("ctc convert " + here + ".dat' " + here + "_float.ctc' --datatype 1 --ordering 1"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(result.status, 2);
}

TEST_F(WorkbenchRun, MisplacingDataTypesRunAsTheyAreWhenTold) {
    for (const MisplacingLayout& c : misplacingLayouts) {
        write_file("rec.ctc", recording_bytes(c.type, c.ordering));
        const CommandResult result = run({"--as-is", "--overwrite"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err.rfind("workbench: note: this recording holds ", 0), 0U) << result.err;
        EXPECT_NE(result.err.find(c.part), std::string::npos) << result.err;
        EXPECT_NE(result.err.find("ctc convert "), std::string::npos) << result.err;
        EXPECT_TRUE(folder.has("rec_OBS.ctc"));
    }
}

TEST_F(WorkbenchRun, OtherDataTypesRunWithoutANote) {
    for (const std::uint32_t type : {1U, 3U, 4U}) {
        write_file("rec.ctc", recording_bytes(type, 2));
        EXPECT_EQ(run({"--overwrite"}).err, "") << "type " << type;
        EXPECT_EQ(run({"--overwrite", "--as-is"}).err, "") << "type " << type;
    }
}

TEST_F(WorkbenchRun, CleanedEpochsOfShortsLandOneWindowLater) {
    write_file("rec.ctc", recording_bytes(3, 1));
    EXPECT_EQ(run({"--as-is"}).status, 0);
    const std::string before = read_file("rec.ctc");
    const std::string after = read_file("rec_OBS.ctc");
    ASSERT_EQ(after.size(), before.size());
    // The first window is 40..70 of channel 0: untouched. Its cleaned samples are 71..101, then overwritten from 121
    // on by the next window's (90..120, stored at 121..151).
    const std::size_t data = before.size() - 4000;
    EXPECT_EQ(after.substr(data, 2 * 71), before.substr(data, 2 * 71));
    EXPECT_NE(after.substr(data + 2 * 71, 2 * 31), before.substr(data + 2 * 71, 2 * 31));
}

TEST_F(WorkbenchRun, FlatChannelsAreNamedBeforeAndNonNumbersAfter) {
    write_file("rec.ctc", recording_bytes(1, 1, true));
    const CommandResult result = run();
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.err.find("flat in the windows of a whole segment"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("channel 2\n"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("has values that are not numbers in channel 2\n"), std::string::npos) << result.err;
}

TEST_F(WorkbenchRun, RecordingCutShortIsAnnouncedAndCleaned) {
    const std::string whole = read_file("rec.ctc");
    write_file("rec.ctc", whole.substr(0, whole.size() - 2));
    const CommandResult result = run();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("cut short"), std::string::npos);
    EXPECT_EQ(read_file("rec.ctc").size(), whole.size() - 2);
    EXPECT_EQ(read_file("rec_OBS.ctc").size(), whole.size());
}

TEST_F(WorkbenchRun, TriggersOutsideTheRecordingAreCounted) {
    EXPECT_NE(run({"--pre", "100"}, "--pre").err.find("1 of 12 triggers"), std::string::npos);
}

TEST_F(WorkbenchRun, PathsLongerThanTheModuleTakesWork) {
    std::string path = ".";
    for (int i = 0; i < 3; ++i) {
        path += "/" + std::string(120, static_cast<char>('a' + i));
        std::filesystem::create_directory(path);
    }
    std::filesystem::rename("rec.ctc", path + "/rec.ctc");
    std::filesystem::rename("rec.prt", path + "/rec.prt");
    EXPECT_EQ(support::run_command({WORKBENCH_PROGRAM, "run", ORIDAN_MODULE_PATH, "--data", path + "/rec.ctc",
                                    "--protocol", path + "/rec.prt", "--condition", "slice", "--pre", "10", "--post",
                                    "20", "--segment", "10", "--components", "2"})
                  .status,
              0);
    EXPECT_TRUE(std::filesystem::exists(path + "/rec_OBS.ctc"));
    EXPECT_TRUE(std::filesystem::exists(path + "/rec_slice.trl"));
}

TEST_F(WorkbenchRun, QuietPrintsNothingAndVerboseTheDialogs) {
    const CommandResult quiet = run({"--quiet"});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.out, "");
    const CommandResult result = run({"--verbose", "--overwrite"});
    EXPECT_NE(result.out.find("Please enter pre-trigger time [ms]: 10\n"), std::string::npos);
    EXPECT_NE(result.out.find("[busy]\n"), std::string::npos);
}

TEST_F(WorkbenchOnATerminal, MissingOptionsAreAsked) {
    std::vector<std::string> arguments{WORKBENCH_PROGRAM, "run", ORIDAN_MODULE_PATH};
    const CommandResult result = support::run_on_terminal(arguments, "rec.ctc\nrec.prt\n1\n10\n20\nfour\n99\n10\n\n");
    EXPECT_EQ(result.status, 0) << result.out;
    for (const char* shown :
         {"[1 to 2, Enter for 2, q to cancel]", "[0 to 5000, Enter for 500, q to cancel]", "[10 to 12, q to cancel]",
          "[1 to 10, Enter for 3, q to cancel]", "Please enter a whole number from 10 to 12."}) {
        EXPECT_NE(result.out.find(shown), std::string::npos) << shown << "\n" << result.out;
    }
    EXPECT_TRUE(folder.has("rec_OBS.ctc"));
}

TEST_F(WorkbenchOnATerminal, CancelledDialogLeavesNothing) {
    for (const char* without : {"--condition", "--pre", "--post", "--segment", "--components"}) {
        for (const char* typed : {"q\n", "\004"}) {
            const CommandResult result = support::run_on_terminal(command({}, without), typed);
            EXPECT_EQ(result.status, 1) << without << result.out;
            EXPECT_EQ(files(), untouched) << without;
        }
    }
}

TEST_F(WorkbenchOnATerminal, WhatIsAskedIsCheckedBeforeTheRun) {
    write_file("rec_slice.trl", "precious");
    CommandResult result = support::run_on_terminal(command({}, "--condition"), "1\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.out.find("exists already"), std::string::npos) << result.out;
    EXPECT_EQ(result.out.find("OridanSuite"), std::string::npos) << "the module was not run";
    std::filesystem::remove("rec_slice.trl");
    result = support::run_on_terminal(command({}, "--condition"), "2\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.out.find("has 3 triggers"), std::string::npos) << result.out;
    result = support::run_on_terminal(command({}, "--pre"), "100\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("1 of 12 triggers"), std::string::npos) << result.out;
}

TEST_F(WorkbenchOnATerminal, SegmentsAreOneLiveLine) {
    const CommandResult result = support::run_on_terminal(command(), "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.find("Processing segment"), std::string::npos);
    EXPECT_NE(result.out.find("0 %  channel 1 of 2, segment 1 of 2"), std::string::npos) << result.out;
}

class WorkbenchWithABadModule : public WorkbenchRun {
protected:
    static CommandResult run(const std::string& how, const std::vector<std::string>& more = {},
                             const std::function<void(pid_t)>& whileRunning = {},
                             const std::function<void()>& inChild = {}) {
        std::vector<std::string> arguments = command(more);
        arguments[2] = MISBEHAVING_MODULE_PATH;
        return support::run_command(arguments, whileRunning, [&] {
            setenv("MISBEHAVE", how.c_str(), 1);
            if (inChild) {
                inChild();
            }
        });
    }

    // Runs a module that waits, does something to the workbench meanwhile, and lets the module end if it still can.
    static CommandResult run_and(const std::function<void(pid_t)>& doMeanwhile,
                                 const std::function<void()>& inChild = {}) {
        const support::TemporaryFolder outside;
        return run(
            "wait", {},
            [&](pid_t workbench) {
                for (int i = 0; i < 12000 && !outside.has("started"); ++i) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
                doMeanwhile(workbench);
                outside.write("release", "");
            },
            [&] {
                setenv("STARTED", outside.path("started").c_str(), 1);
                setenv("RELEASE", outside.path("release").c_str(), 1);
                if (inChild) {
                    inChild();
                }
            });
    }
};

TEST_F(WorkbenchWithABadModule, ThatEndsTheProcessNothingIsLeft) {
    for (const char* how : {"crash", "exit", "throw", "return"}) {
        const CommandResult result = run(how);
        EXPECT_EQ(result.status, 1) << how << result.err;
        EXPECT_NE(result.err.find("nothing was written"), std::string::npos) << result.err;
        EXPECT_EQ(files(), untouched) << how;
    }
}

TEST_F(WorkbenchWithABadModule, ThatCutsItsTrialFileNothingIsLeft) {
    const CommandResult result = run("cut the trial file");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("the trial file is not whole"), std::string::npos) << result.err;
    EXPECT_EQ(files(), untouched);
}

TEST_F(WorkbenchWithABadModule, RecordingThatChangesDuringTheRunIsNoticed) {
    const CommandResult result = run("change the recording");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("changed during the run"), std::string::npos) << result.err;
    EXPECT_EQ(files(), untouched);
}

TEST_F(WorkbenchWithABadModule, ReplacedTrialFileComesBackWhenTheRecordingCannotBeMoved) {
    write_file("rec_slice.trl", "old");
    const std::string result = folder.path("rec_OBS.ctc");
    const CommandResult moved =
        run("take the result's name", {"--overwrite"}, {}, [&] { setenv("RESULT", result.c_str(), 1); });
    EXPECT_EQ(moved.status, 1);
    EXPECT_EQ(read_file("rec_slice.trl"), "old");
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc", "rec_slice.trl"}));
    EXPECT_TRUE(std::filesystem::is_empty("rec_OBS.ctc"));
}

TEST_F(WorkbenchWithABadModule, InterruptLeavesNothing) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const CommandResult result = run_and([&](pid_t workbench) { kill(workbench, signal); });
        EXPECT_EQ(result.status, 130);
        EXPECT_EQ(result.err, "workbench: interrupted; nothing was written\n");
        EXPECT_EQ(files(), untouched);
    }
}

TEST_F(WorkbenchWithABadModule, SignalsThatWereIgnoredStayIgnored) {
    EXPECT_EQ(run_and([](pid_t workbench) { kill(workbench, SIGHUP); }, [] { std::signal(SIGHUP, SIG_IGN); }).status,
              0);
}

TEST_F(WorkbenchWithABadModule, StoppingAndContinuingIsNoInterrupt) {
    EXPECT_EQ(run_and([](pid_t workbench) {
                  kill(workbench, SIGSTOP);
                  kill(workbench, SIGCONT);
              }).status,
              0);
}

TEST_F(WorkbenchWithABadModule, EndOfTheChildIsSeenWhereItsSignalWasIgnored) {
    EXPECT_EQ(run_and([](pid_t) {}, [] { std::signal(SIGCHLD, SIG_IGN); }).status, 0);
}

TEST_F(WorkbenchRun, FullDiskIsToldAndLeavesNothing) {
    const std::string before = read_file("rec.ctc");
    const CommandResult result = support::run_command(command(), {}, [] {
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("nothing was written"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("is the disk full?"), std::string::npos) << result.err;
    EXPECT_EQ(files(), untouched);
    EXPECT_EQ(read_file("rec.ctc"), before);
}

TEST_F(WorkbenchRun, HelpWorks) {
    EXPECT_EQ(support::run_command({WORKBENCH_PROGRAM, "--help"}).status, 0);
    EXPECT_EQ(support::run_command({WORKBENCH_PROGRAM, "run", "--help"}).status, 0);
    EXPECT_EQ(support::run_command({WORKBENCH_PROGRAM}).status, 2);
    const CommandResult unknown = support::run_command({WORKBENCH_PROGRAM, "dance"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "workbench: there is no command dance; see workbench --help\n");
}

} // namespace
