// Every way in which a run ends, through a host process: result, calls in their order, files left.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/run/recording_host.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using Lines = std::vector<std::string>;

using support::read_file;
using support::write_file;

// A float recording, channel by channel: a fixed pseudo-random background and a spike shape at every trigger.
std::string recording_bytes(std::uint32_t channels, std::uint32_t samples, float fs,
                            const std::vector<std::int32_t>& triggers) {
    support::Bytes bytes;
    bytes.u32(1).u32(0).u32(1).u32(1).u32(channels).u32(samples).f32(fs).u32(0);
    std::uint32_t state = 12345;
    for (std::uint32_t c = 0; c < channels; ++c) {
        std::vector<float> signal(samples);
        for (float& x : signal) {
            state = state * 1664525U + 1013904223U;
            x = static_cast<float>(static_cast<std::int32_t>(state >> 8) % 1000) / 100.0f;
        }
        for (const std::int32_t t : triggers) {
            for (std::int32_t j = 0; j < 20; ++j) {
                if (t + j >= 0 && t + j < static_cast<std::int32_t>(samples)) {
                    signal[static_cast<std::size_t>(t + j)] +=
                        static_cast<float>((j % 5 - 2) * 300 * static_cast<int>(c + 1));
                }
            }
        }
        for (const float x : signal) {
            bytes.f32(x);
        }
    }
    return bytes.str();
}

std::vector<std::int32_t> every(std::int32_t first, std::int32_t step, int count) {
    std::vector<std::int32_t> triggers;
    for (int i = 0; i < count; ++i) {
        triggers.push_back(first + i * step);
    }
    return triggers;
}

class Execute : public testing::Test {
protected:
    void SetUp() override {
        triggers = every(30, 50, 12);
        write_file("rec.ctc", recording_bytes(2, 1000, 1000.0f, triggers));
        script.dataFile = "rec.ctc";
        script.protocolFile = "triggers.prt";
        script.experiment = "Scanner";
        script.conditions = {{"rest", {1, 2, 3}}, {"slice", triggers}};
        script.answers = {2, 10, 20, 10, 2};
    }

    Lines expected(std::initializer_list<Lines> parts) const {
        Lines all;
        for (const Lines& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    const Lines opening{"tab", "log  ",
                        "log // OridanSuite> Running EEG/MEG plugin (Artifact template removal with OBS method) ..."};
    const Lines dataDialog{"open Please select the file with input data set:||*.ctc -> rec.ctc"};
    const Lines copying{"busy",  "log // OridanSuite> Creating the output file ...", "update",
                        "ready", "log // OridanSuite> Accessing data ...",           "busy"};
    const Lines header{"log // OridanSuite> Reading OK.",
                       "log // OridanSuite> FileVersion: 1",
                       "log // OridanSuite> CompressionType: 0",
                       "log // OridanSuite> NrOfCompressionParams: 0",
                       "log // OridanSuite> DataType: 1",
                       "log // OridanSuite> Number of channels : 2",
                       "log // OridanSuite> Sampling frequency [Hz] : 1000.000000",
                       "log // OridanSuite> Number of samples : 1000",
                       "log // OridanSuite> Total data segment duration [min] : 0.016667",
                       "log // OridanSuite> Total data segment duration [msec] : 1000",
                       "ready"};
    const Lines protocolDialog{
        "open Please select the protocol file with artifact timing information:||*.prt -> triggers.prt"};
    const Lines loading{"log // OridanSuite> Accessing protocol information ...", "busy", "clear", "load triggers.prt"};
    const Lines conditions{"log // OridanSuite> Experiment Name : Scanner",
                           "log // OridanSuite> Number of conditions : 2",
                           "log // OridanSuite>>> Condition n.1 : rest",
                           "log // OridanSuite>>>>> Nr. of trials : 3",
                           "log // OridanSuite>>> Condition n.2 : slice",
                           "log // OridanSuite>>>>> Nr. of trials : 12",
                           "ready",
                           "ask Please select the condition with the artifact triggers: [2 1..2] -> 2"};
    const Lines windowDialogs{
        "ask Temporal window definition:\nPlease enter pre-trigger time [ms]: [500 0..5000] -> 10",
        "ask Temporal window definition:\nPlease enter post-trigger time [ms]: [1200 0..5000] -> 20"};
    const Lines triggerFile{"busy", "ready"};
    const Lines obsDialogs{"ask OBS Settings (1).\nPlease enter number of artifacts per segment: [100 10..12] -> 10",
                           "ask OBS Settings (2).\nPlease enter number of desired PCs to keep in OBS: [3 1..10] -> 2"};

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
    std::vector<std::int32_t> triggers;
    HostScript script;
};

TEST_F(Execute, CompletedRunMakesEveryCallInOrder) {
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls, expected({opening,
                                   dataDialog,
                                   copying,
                                   header,
                                   protocolDialog,
                                   loading,
                                   conditions,
                                   windowDialogs,
                                   triggerFile,
                                   obsDialogs,
                                   {"busy",
                                    "log // OridanSuite> Resulting number of segments: 2",
                                    "update",
                                    "log ",
                                    "log ",
                                    "log // OridanSuite>>>>>> Processing segment 1/2 of channel 1 / 2  ...",
                                    "update",
                                    "log // OridanSuite>>>>>> Processing segment 2/2 of channel 1 / 2  ...",
                                    "update",
                                    "log ",
                                    "log ",
                                    "log // OridanSuite>>>>>> Processing segment 1/2 of channel 2 / 2  ...",
                                    "update",
                                    "log // OridanSuite>>>>>> Processing segment 2/2 of channel 2 / 2  ...",
                                    "update",
                                    "log ",
                                    "log ",
                                    "log // OridanSuite> Closing the output file ...",
                                    "update",
                                    "ready",
                                    "log // OridanSuite> Artifact template removal completed!",
                                    "log  "}}));
}

TEST_F(Execute, CompletedRunCleansTheWindowsAndNothingElse) {
    const std::string before = read_file("rec.ctc");
    ASSERT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("rec.ctc"), before) << "the input is never changed";
    const std::string after = read_file("rec_OBS.ctc");
    ASSERT_EQ(after.size(), before.size());
    const std::size_t headerBytes = before.size() - 2 * 1000 * sizeof(float);
    EXPECT_EQ(after.substr(0, headerBytes), before.substr(0, headerBytes));
    std::vector<float> x(2000), y(2000);
    std::memcpy(x.data(), before.data() + headerBytes, 8000);
    std::memcpy(y.data(), after.data() + headerBytes, 8000);
    double powerBefore = 0;
    double powerAfter = 0;
    for (int i = 0; i < 2000; ++i) {
        const int phase = (i % 1000 - 30 + 10 + 50) % 50; // windows reach from 10 before a trigger to 20 after it
        const bool inWindow = i % 1000 >= 20 && i % 1000 < 600 + 20 && phase <= 30;
        if (inWindow) {
            powerBefore += static_cast<double>(x[i]) * x[i];
            powerAfter += static_cast<double>(y[i]) * y[i];
        } else {
            EXPECT_EQ(x[i], y[i]) << "sample " << i;
        }
    }
    EXPECT_GT(powerBefore, 100 * powerAfter);
}

TEST_F(Execute, TrialFileHoldsTheTimeOfTheSampleBeforeEachTrigger) {
    script.conditions = {{"slice", every(1, 1000, 10)}};
    script.answers = {1, 0, 1, 10, 1};
    execute_module(script);
    EXPECT_EQ(read_file("_slice.trl"), "0 slice\n1e+06 slice\n2e+06 slice\n3e+06 slice\n4e+06 slice\n5e+06 slice\n"
                                       "6e+06 slice\n7e+06 slice\n8e+06 slice\n9e+06 slice\n");
}

TEST_F(Execute, TrialTimesAreRoundedToFloatAndPrintedWithSixDigits) {
    script.conditions = {{"x", {124, 0, -1, 1235, 2, 3, 4, 5, 6, 7}}};
    script.answers = {1, 0, 1, 10, 1};
    write_file("rec.ctc", recording_bytes(1, 2000, 5000.0f, {}));
    execute_module(script);
    EXPECT_EQ(read_file("_x.trl"), "24600 x\n-200 x\n-400 x\n246800 x\n200 x\n400 x\n600 x\n800 x\n1000 x\n1200 x\n");
}

TEST_F(Execute, MicrosecondProtocolLogsItsValuesAndConvertsThemToSamples) {
    std::vector<std::int32_t> times;
    for (const std::int32_t t : triggers) {
        times.push_back(t * 1000); // at 1000 Hz
    }
    ASSERT_TRUE(execute_module(script).result);
    const std::string withSamples = read_file("rec_OBS.ctc");
    script.timeResolution = 2;
    script.conditions[1].intervals = times;
    ASSERT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("rec_OBS.ctc"), withSamples);
    EXPECT_EQ(read_file("_slice.trl").substr(0, 24), "30000 slice\n80000 slice\n");
}

TEST_F(Execute, ConditionNameIsAFormatTextInTheFileNameAndItselfInTheLines) {
    script.conditions = {{"R%d", triggers}};
    script.answers = {1, 10, 20, 10, 2};
    ASSERT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("_R0.trl").substr(0, 10), "29000 R%d\n");
    EXPECT_FALSE(std::filesystem::exists("_R%d.trl"));
}

TEST_F(Execute, ConditionNameThatFillsItsFieldIsCut) {
    script.conditions = {{std::string(256, 'n'), triggers}};
    script.answers = {1, 10, 20, 10, 2};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    const Lines listed = run.starting_with("log // OridanSuite>>> Condition n.1 : ");
    ASSERT_EQ(listed.size(), 1U);
    EXPECT_EQ(listed[0], "log // OridanSuite>>> Condition n.1 : " + std::string(256, 'n'));
}

TEST_F(Execute, LastFourCharactersOfTheInputAreCutWhateverTheyAre) {
    std::filesystem::rename("rec.ctc", "data.eeg");
    script.dataFile = "data.eeg";
    ASSERT_TRUE(execute_module(script).result);
    EXPECT_TRUE(std::filesystem::exists("data_OBS.ctc"));
    std::filesystem::rename("data.eeg", "12345");
    script.dataFile = "12345";
    ASSERT_TRUE(execute_module(script).result);
    EXPECT_TRUE(std::filesystem::exists("1_OBS.ctc"));
}

TEST_F(Execute, ShortWindowIsTruncatedTowardZero) {
    // 250 Hz: 3 ms are 0.75 samples, so none before the trigger; 39 ms are 9.75, so nine after it.
    write_file("rec.ctc", recording_bytes(1, 400, 250.0f, {}));
    script.conditions = {{"x", every(0, 20, 10)}};
    script.answers = {1, 3, 39, 10, 1};
    ASSERT_TRUE(execute_module(script).result);
    const std::string before = read_file("rec.ctc");
    const std::string after = read_file("rec_OBS.ctc");
    const std::size_t data = before.size() - 1600;
    for (std::size_t i = 0; i < 400; ++i) {
        const bool changed = before.substr(data + 4 * i, 4) != after.substr(data + 4 * i, 4);
        EXPECT_EQ(changed, i < 200 && i % 20 < 10) << "sample " << i;
    }
}

TEST_F(Execute, SegmentsAreCountedUp) {
    const struct {
        int trials;
        int perSegment;
        const char* line;
    } cases[] = {{250, 100, "log // OridanSuite> Resulting number of segments: 3"},
                 {200, 100, "log // OridanSuite> Resulting number of segments: 2"},
                 {100, 100, "log // OridanSuite> Resulting number of segments: 1"}};
    write_file("rec.ctc", recording_bytes(1, 3000, 1000.0f, every(0, 10, 250)));
    for (const auto& c : cases) {
        script.conditions = {{"x", every(0, 10, c.trials)}};
        script.answers = {1, 0, 5, c.perSegment, 1};
        EXPECT_EQ(execute_module(script).starting_with("log // OridanSuite> Resulting").at(0), c.line);
    }
}

TEST_F(Execute, TooOldVersionEndsWithABox) {
    for (const std::vector<int>& version :
         std::vector<std::vector<int>>{{1, 8, 2}, {1, 7, 9}, {0, 99, 99}, {0, 9, 0}, {0, 8, 3}, {-1, 8, 3}}) {
        std::copy(version.begin(), version.end(), script.version);
        const HostRun run = execute_module(script);
        EXPECT_FALSE(run.result);
        EXPECT_EQ(run.calls, Lines{"box Can not execute this plugin - Nivora version 1.8.3 or higher required."});
    }
    EXPECT_FALSE(std::filesystem::exists("rec_OBS.ctc"));
}

TEST_F(Execute, NewerVersionsPass) {
    for (const std::vector<int>& version : std::vector<std::vector<int>>{{1, 8, 3}, {1, 9, 0}, {2, 0, 0}}) {
        std::copy(version.begin(), version.end(), script.version);
        EXPECT_TRUE(execute_module(script).result);
    }
}

TEST_F(Execute, NoVolumeDocumentEndsWithFalse) {
    script.hasVolume = false;
    const HostRun run = execute_module(script);
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.calls, expected({opening, {"log // OridanSuite>  Could not get VMR!"}}));
}

TEST_F(Execute, NoDataFileEndsWithFalse) {
    for (const char* chosen : {"", "abc"}) { // a path too short to cut four characters counts as none
        script.dataFile = chosen;
        const HostRun run = execute_module(script);
        EXPECT_FALSE(run.result);
        EXPECT_EQ(run.calls,
                  expected({opening,
                            {std::string("open Please select the file with input data set:||*.ctc -> ") + chosen,
                             "log // OridanSuite> Data file not selected correctly. Exiting plugin."}}));
    }
}

TEST_F(Execute, UnreadableRecordingEndsWithTrueAndTheCursorBusy) {
    const Lines ending{"log // OridanSuite> Error reading CTC file. Exiting plugin."};
    write_file("rec.ctc", "no recording");
    HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls, expected({opening, dataDialog, copying, ending}));
    EXPECT_EQ(read_file("rec_OBS.ctc"), "no recording");

    std::filesystem::remove("rec.ctc"); // nothing to copy: an empty output
    run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls, expected({opening, dataDialog, copying, ending}));
    EXPECT_EQ(read_file("rec_OBS.ctc"), "");
}

TEST_F(Execute, OutputThatCannotBeWrittenEndsLikeAnUnreadableRecording) {
    std::filesystem::create_directory("rec_OBS.ctc");
    const std::string before = read_file("rec.ctc");
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(
        run.calls,
        expected({opening, dataDialog, copying, {"log // OridanSuite> Error reading CTC file. Exiting plugin."}}));
    EXPECT_EQ(read_file("rec.ctc"), before);
}

TEST_F(Execute, OutputNameThatIsTheInputItselfLeavesItUntouched) {
    std::filesystem::create_symlink("rec.ctc", "rec_OBS.ctc");
    const std::string before = read_file("rec.ctc");
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls.back(), "log // OridanSuite> Error reading CTC file. Exiting plugin.");
    EXPECT_EQ(read_file("rec.ctc"), before);
}

TEST_F(Execute, OutputNameThatIsASecondNameOfTheInputLeavesItUntouched) {
    std::filesystem::create_hard_link("rec.ctc", "rec_OBS.ctc");
    const std::string before = read_file("rec.ctc");
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(
        run.calls,
        expected({opening, dataDialog, copying, {"log // OridanSuite> Error reading CTC file. Exiting plugin."}}));
    EXPECT_TRUE(read_file("rec.ctc") == before);
}

TEST_F(Execute, PipesAreNotWaitedFor) {
    std::filesystem::remove("rec.ctc");
    ASSERT_EQ(mkfifo("rec.ctc", 0600), 0);
    EXPECT_EQ(execute_module(script).calls.back(), "log // OridanSuite> Error reading CTC file. Exiting plugin.");
    std::filesystem::remove("rec.ctc");
    std::filesystem::remove("rec_OBS.ctc");
    write_file("rec.ctc", recording_bytes(2, 1000, 1000.0f, triggers));
    ASSERT_EQ(mkfifo("rec_OBS.ctc", 0600), 0);
    EXPECT_EQ(execute_module(script).calls.back(), "log // OridanSuite> Error reading CTC file. Exiting plugin.");
}

TEST_F(Execute, NoProtocolFileEndsWithFalseAndLeavesTheCopy) {
    script.protocolFile = "";
    const HostRun run = execute_module(script);
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.calls, expected({opening,
                                   dataDialog,
                                   copying,
                                   header,
                                   {"open Please select the protocol file with artifact timing information:||*.prt -> ",
                                    "log // OridanSuite> Protocol file not specified correctly. Exiting plugin."}}));
    EXPECT_EQ(read_file("rec_OBS.ctc"), read_file("rec.ctc"));
}

TEST_F(Execute, ProtocolThatDoesNotApplyEndsWithTrue) {
    script.protocolApplies = false;
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls, expected({opening,
                                   dataDialog,
                                   copying,
                                   header,
                                   protocolDialog,
                                   loading,
                                   {"log // OridanSuite> Protocol not applied to the current VMR/SRF. Exiting "
                                    "plugin.",
                                    "ready"}}));
}

TEST_F(Execute, ConditionThatIsNoneOfThemEndsWithTrue) {
    for (const int answer : {0, -1, 3}) {
        script.answers = {answer};
        const HostRun run = execute_module(script);
        EXPECT_TRUE(run.result);
        Lines listing = conditions;
        listing.back() =
            "ask Please select the condition with the artifact triggers: [2 1..2] -> " + std::to_string(answer);
        EXPECT_EQ(run.calls, expected({opening,
                                       dataDialog,
                                       copying,
                                       header,
                                       protocolDialog,
                                       loading,
                                       listing,
                                       {"log // OridanSuite> Protocol condition not selected. Exiting plugin."}}));
    }
    EXPECT_FALSE(std::filesystem::exists("_slice.trl"));
}

TEST_F(Execute, ProtocolWithoutConditionsEndsWithTrue) {
    script.conditions = {};
    script.answers = {0};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls.back(), "log // OridanSuite> Protocol condition not selected. Exiting plugin.");
}

TEST_F(Execute, WindowWithoutSamplesEndsWithTrue) {
    script.answers = {2, -1000, 20};
    HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls.back(), "log // OridanSuite> Temporal window not specified correctly. Exiting plugin.");
    EXPECT_EQ(run.starting_with("ask").size(), 3U) << "both window dialogs come first";
    EXPECT_FALSE(std::filesystem::exists("_slice.trl"));

    write_file("rec.ctc", recording_bytes(1, 100, 3e9f, {})); // 1 s would be 3e9 samples
    script.answers = {2, 0, 1000};
    run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls.back(), "log // OridanSuite> Temporal window not specified correctly. Exiting plugin.");
}

TEST_F(Execute, TooFewTriggersEndWithABoxAfterBothSettings) {
    script.answers = {2, 10, 20, 13, 2};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls,
              expected({opening,
                        dataDialog,
                        copying,
                        header,
                        protocolDialog,
                        loading,
                        conditions,
                        windowDialogs,
                        triggerFile,
                        {"ask OBS Settings (1).\nPlease enter number of artifacts per segment: [100 10..12] -> 13",
                         "ask OBS Settings (2).\nPlease enter number of desired PCs to keep in OBS: [3 1..13] -> 2",
                         "box Too few artifact examples to cover the OBS segment!\nYou may try with a smaller OBS "
                         "segment. Exiting plugin."}}));
    EXPECT_EQ(read_file("rec_OBS.ctc"), read_file("rec.ctc"));
    EXPECT_TRUE(std::filesystem::exists("_slice.trl"));
}

TEST_F(Execute, SettingsThatCannotBeUsedEndWithTrue) {
    for (const std::vector<int>& settings : std::vector<std::vector<int>>{{0, 1}, {-1, -1}, {10, 11}}) {
        script.answers = {2, 10, 20, settings[0], settings[1]};
        const HostRun run = execute_module(script);
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.calls.back(), "log // OridanSuite> OBS settings not specified correctly. Exiting plugin.");
        EXPECT_EQ(run.starting_with("log // OridanSuite> Resulting").size(), 0U);
    }
}

TEST_F(Execute, NoComponentsMeansNothingIsSubtracted) {
    const std::string before = read_file("rec.ctc");
    const std::size_t headerBytes = before.size() - 8000;
    for (const int components : {0, -1, std::numeric_limits<int>::min()}) {
        script.answers = {2, 10, 20, 10, components};
        const HostRun run = execute_module(script);
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
        const std::string after = read_file("rec_OBS.ctc");
        ASSERT_EQ(after.size(), before.size());
        for (std::size_t i = 0; i < 2000; ++i) { // only the rounding of mean removal and back
            float x = 0;
            float y = 0;
            std::memcpy(&x, &before[headerBytes + 4 * i], 4);
            std::memcpy(&y, &after[headerBytes + 4 * i], 4);
            EXPECT_NEAR(x, y, 1e-3f);
        }
    }
}

TEST_F(Execute, TrialFileThatCannotBeWrittenIsIgnored) {
    std::filesystem::create_directory("_slice.trl");
    EXPECT_TRUE(execute_module(script).result);
    script.conditions[1].name = "no/such/folder";
    EXPECT_TRUE(execute_module(script).result);
}

TEST_F(Execute, LongerTrialFileOfAnEarlierRunIsReplaced) {
    write_file("_x.trl", std::string(10000, 'o'));
    script.conditions = {{"x", every(1, 50, 10)}};
    script.answers = {1, 0, 1, 10, 1};
    execute_module(script);
    EXPECT_EQ(read_file("_x.trl"), "0 x\n50000 x\n100000 x\n150000 x\n200000 x\n250000 x\n300000 x\n350000 x\n"
                                   "400000 x\n450000 x\n");
}

TEST_F(Execute, TriggersOutsideTheRecordingAreSkipped) {
    script.conditions[1].intervals = {INT32_MIN, -1, 0, 9, 10, 500, 979, 980, 981, 1000, INT32_MAX, 200};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(read_file("rec_OBS.ctc").size(), read_file("rec.ctc").size());
}

TEST_F(Execute, RecordingWhoseFirstByteIsABlankIsCopiedWhole) {
    const std::string whole = read_file("rec.ctc");
    for (const char first : {'\t', '\n', '\v', '\f', '\r', ' '}) {
        const std::string versioned = first + whole.substr(1);
        write_file("rec.ctc", versioned);
        const HostRun run = execute_module(script);
        EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
        const std::string after = read_file("rec_OBS.ctc");
        ASSERT_EQ(after.size(), versioned.size());
        EXPECT_EQ(after.substr(0, 50), versioned.substr(0, 50));
    }
    write_file("rec.ctc", "      " + whole);
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.starting_with("log // OridanSuite> Reading OK.").empty());
    EXPECT_EQ(read_file("rec_OBS.ctc"), "      " + whole);
}

TEST_F(Execute, RecordingCutShortIsLengthenedWithZerosAndCleaned) {
    const std::string whole = read_file("rec.ctc");
    write_file("rec.ctc", whole.substr(0, whole.size() - 2000));
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
    const std::string after = read_file("rec_OBS.ctc");
    ASSERT_EQ(after.size(), whole.size());
    EXPECT_EQ(after.substr(whole.size() - 400), std::string(400, '\0'));
}

TEST_F(Execute, EpochedRecordingIsCopiedAndNotChanged) {
    support::Bytes fields;
    fields.u32(1).u32(0).u32(1).u32(3).u32(1).u32(100).f32(1000.0f);
    fields.u32(1).u32(10).u32(5).u32(5); // one condition, 10 trials of 10 samples
    const std::string bytes = fields.str() + std::string(400, 'x');
    write_file("rec.ctc", bytes);
    script.conditions = {{"x", every(0, 5, 10)}};
    script.answers = {1, 0, 2, 10, 1};
    testing::internal::CaptureStderr();
    const HostRun run = execute_module(script);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(run.result);
    EXPECT_EQ(read_file("rec_OBS.ctc"), bytes);
    EXPECT_EQ(errors.substr(0, 51), "Unsupported SampleOrdering for this function.\nUnsup");
}

TEST_F(Execute, LongDurationWrapsInMilliseconds) {
    std::string bytes = recording_bytes(1, 0, 1000.0f, {});
    const std::uint32_t samples = 4294968; // times 1000 wraps to 704 at 32 bits
    std::memcpy(&bytes[20], &samples, 4);
    write_file("rec.ctc", bytes);
    script.answers = {0};
    const HostRun run = execute_module(script);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Total data segment duration [msec]").at(0),
              "log // OridanSuite> Total data segment duration [msec] : 0");
    EXPECT_EQ(run.starting_with("log // OridanSuite> Total data segment duration [min]").at(0),
              "log // OridanSuite> Total data segment duration [min] : 71.582802");
}

TEST_F(Execute, MinutesAreAQuotientByASinglePrecisionProduct) {
    support::CtcHeader fields;
    fields.dataType = 0; // one byte per sample, a sparse file
    fields.nrOfSamples = 36000001;
    fields.samplingFrequency = 1000.1f;
    write_file("rec.ctc", support::ctc_header_bytes(fields));
    script.answers = {0};
    const HostRun run = execute_module(script);
    // 599.940063 where 60 times the frequency keeps the digits of a double.
    EXPECT_EQ(run.starting_with("log // OridanSuite> Total data segment duration [min]").at(0),
              "log // OridanSuite> Total data segment duration [min] : 599.940002");
}

TEST_F(Execute, SamplingFrequencyOfZeroOrNaNIsLoggedAndSafe) {
    for (const float fs : {0.0f, std::numeric_limits<float>::quiet_NaN()}) {
        write_file("rec.ctc", recording_bytes(1, 400, fs, {}));
        const HostRun run = execute_module(script);
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.starting_with("log // OridanSuite> Total data segment duration [msec]").at(0),
                  "log // OridanSuite> Total data segment duration [msec] : -2147483648");
    }
}

TEST_F(Execute, RunsAreIndependent) {
    ASSERT_TRUE(execute_module(script).result);
    const std::string first = read_file("rec_OBS.ctc");
    ASSERT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("rec_OBS.ctc"), first);
}

// Whether this process holds the file open.
bool is_open(const std::string& path) {
    std::error_code error;
    const std::filesystem::path wanted = std::filesystem::canonical(path, error);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (!error && std::filesystem::read_symlink(entry.path(), error) == wanted) {
            return true;
        }
        error.clear();
    }
    return false;
}

TEST_F(Execute, EveryLineStandsBeforeTheWorkThatItAnnounces) {
    const std::string input = read_file("rec.ctc");
    const std::size_t headerBytes = input.size() - 8000;
    const auto window = [&](const std::string& bytes, std::size_t i) { // of trigger i in the first channel
        return bytes.substr(headerBytes + 4 * static_cast<std::size_t>(triggers[i] - 10), 4 * 31);
    };
    write_file("rec_OBS.ctc", "what an earlier run left");
    int seen = 0;
    script.onLog = [&](const std::string& line) {
        const std::string output = read_file("rec_OBS.ctc");
        if (line == "// OridanSuite> Creating the output file ...") {
            EXPECT_EQ(output, "what an earlier run left");
        } else if (line == "// OridanSuite> Accessing data ...") {
            EXPECT_TRUE(output == input) << "the copy is complete";
            EXPECT_FALSE(is_open("rec_OBS.ctc"));
            EXPECT_FALSE(is_open("rec.ctc"));
        } else if (line == "// OridanSuite>>>>>> Processing segment 1/2 of channel 1 / 2  ...") {
            EXPECT_TRUE(output == input);
        } else if (line == "// OridanSuite>>>>>> Processing segment 2/2 of channel 1 / 2  ...") {
            EXPECT_NE(window(output, 0), window(input, 0));
            EXPECT_EQ(window(output, 11), window(input, 11));
        } else if (line == "// OridanSuite> Closing the output file ...") {
            EXPECT_TRUE(is_open("rec_OBS.ctc"));
        } else if (line == "// OridanSuite> Artifact template removal completed!") {
            EXPECT_FALSE(is_open("rec_OBS.ctc"));
        } else {
            return;
        }
        ++seen;
    };
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_EQ(seen, 6);
}

TEST_F(Execute, CursorIsBusyWhereverTheRunWorksAndReadyAtEveryDialog) {
    Lines seen; // without texts
    script.onCall = [&](const std::string& call) {
        const std::string kind = call.substr(0, call.find(' '));
        if (kind != "log" && kind != "update" && kind != "tab") {
            seen.push_back(kind == "condition" ? call : kind);
        }
    };
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_EQ(seen, (Lines{"open",        "busy",        "ready",       "busy",  "ready", "open", "busy", "clear",
                           "load",        "condition 0", "condition 1", "ready", "ask",   "ask",  "ask",  "busy",
                           "condition 1", "ready",       "ask",         "ask",   "busy",  "ready"}));
}

TEST_F(Execute, FilesAreClosedBeforeTheCursorIsReady) {
    Lines before; // of each time that the cursor became ready
    std::string previous;
    std::string atTrialFile;
    script.onCall = [&](const std::string& call) {
        if (call == "condition 1") {
            EXPECT_FALSE(std::filesystem::exists("_slice.trl"));
        } else if (call == "ready") {
            EXPECT_FALSE(is_open("_slice.trl"));
            if (previous == "condition 1") {
                atTrialFile = read_file("_slice.trl");
            } else if (previous == "update") {
                EXPECT_FALSE(is_open("rec.ctc"));
                EXPECT_FALSE(is_open("rec_OBS.ctc"));
            }
            before.push_back(previous.substr(0, previous.find(' ')));
        }
        previous = call;
    };
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_EQ(before, (Lines{"update", "log", "log", "condition", "update"}));
    EXPECT_EQ(std::count(atTrialFile.begin(), atTrialFile.end(), '\n'), 12);
}

TEST_F(Execute, NothingStaysOpenAtAnyExit) {
    const auto expect_closed = [&](const char* exit) {
        execute_module(script);
        for (const char* file : {"rec.ctc", "rec_OBS.ctc", "_slice.trl"}) {
            EXPECT_FALSE(is_open(file)) << exit << ": " << file;
        }
    };
    expect_closed("completed");
    script.answers = {2, 10, 20, 10, 11};
    expect_closed("unusable settings");
    script.answers = {2, 10, 20, 13, 2};
    expect_closed("too few triggers");
    script.answers = {2, -1000, 20};
    expect_closed("no window");
    script.answers = {0};
    expect_closed("no condition");
    script.protocolApplies = false;
    expect_closed("no protocol");
    script.protocolFile = "";
    expect_closed("no protocol file");
    write_file("rec.ctc", read_file("rec.ctc").substr(0, 20));
    expect_closed("no recording");
}

TEST_F(Execute, TrialFileThatIsAPipeIsNotWaitedFor) {
    ASSERT_EQ(mkfifo("_slice.trl", 0600), 0);
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_TRUE(std::filesystem::is_fifo("_slice.trl"));
}

TEST_F(Execute, TrialTimesAreDoubleQuotientsRoundedToFloat) {
    // 5488935000 lies half-way between two texts of six digits, its float does not; 4938745000 is such a case whose
    // float and the quotient of floats differ. Taking off 1 does not wrap.
    script.conditions = {{"x", {5488936, 4938746, INT32_MIN, INT32_MAX, 1, 2, 3, 4, 5, 6}}};
    script.answers = {1, 0, 1, 10, 1};
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("_x.trl"), "5.48893e+09 x\n4.93874e+09 x\n-2.14748e+12 x\n2.14748e+12 x\n0 x\n1000 x\n2000 "
                                   "x\n3000 x\n4000 x\n5000 x\n");
}

TEST_F(Execute, HeaderFieldsAreLoggedAsTheyStand) {
    support::CtcHeader fields;
    fields.fileVersion = 0xFFFFFFFE; // %i
    fields.compressionType = 0x80000000;
    fields.compressionParams = {7, 8, 9};
    fields.dataType = 3;
    fields.sampleOrdering = 2;
    fields.nrOfChannels = 5;
    fields.nrOfSamples = 20012;
    fields.samplingFrequency = 1000.1f;
    fields.offsets = fields.scales = {1, 1, 1, 1, 1};
    write_file("rec.ctc", support::ctc_header_bytes(fields));
    script.protocolFile = "";
    const Lines calls = execute_module(script).calls;
    const auto reading = std::find(calls.begin(), calls.end(), "log // OridanSuite> Reading OK.");
    ASSERT_GE(calls.end() - reading, 10);
    EXPECT_EQ(Lines(reading + 1, reading + 10),
              (Lines{"log // OridanSuite> FileVersion: -2", "log // OridanSuite> CompressionType: -2147483648",
                     "log // OridanSuite> NrOfCompressionParams: 3", "log // OridanSuite> DataType: 3",
                     "log // OridanSuite> Number of channels : 5",
                     "log // OridanSuite> Sampling frequency [Hz] : 1000.099976",
                     "log // OridanSuite> Number of samples : 20012",
                     "log // OridanSuite> Total data segment duration [min] : 0.333500",
                     // 20009.9999...: cut, and a float quotient would be 20010
                     "log // OridanSuite> Total data segment duration [msec] : 20009"}));
}

TEST_F(Execute, SampleCountsAreUnsignedInTheDurationsAndSignedInTheirLine) {
    support::CtcHeader fields;
    fields.dataType = 0;              // one byte per sample, a sparse file
    fields.nrOfSamples = 3000034657U; // times 1000 is 2147484392 at 32 bits: beyond a signed number
    write_file("rec.ctc", support::ctc_header_bytes(fields));
    script.answers = {0};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Number of samples").at(0),
              "log // OridanSuite> Number of samples : -1294932639");
    EXPECT_EQ(run.starting_with("log // OridanSuite> Total data segment duration [min]").at(0),
              "log // OridanSuite> Total data segment duration [min] : 50000.578125");
    EXPECT_EQ(run.starting_with("log // OridanSuite> Total data segment duration [msec]").at(0),
              "log // OridanSuite> Total data segment duration [msec] : 2147484");
}

TEST_F(Execute, LongConditionNameIsCutInTheFileNameOnly) {
    const std::string folderName(100, 'd'); // a file's own name could not be as long as the buffers
    const std::string name = folderName + "/" + std::string(155, 'n');
    std::filesystem::create_directory("_" + folderName);
    script.conditions = {{name, triggers}};
    script.answers = {1, 10, 20, 10, 2};
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("_" + folderName + "/" + std::string(154, 'n') + ".trl").substr(0, 263),
              "29000 " + name + "\n");
}

TEST_F(Execute, PathThatFillsTheBufferIsCutTo255Bytes) {
    std::string path;
    for (int i = 0; i < 124; ++i) {
        path += "./";
    }
    path += "rec.ctc";
    ASSERT_EQ(path.size(), 255U);
    script.dataFile = path + "x";
    const HostRun run = execute_module(script);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
    EXPECT_TRUE(std::filesystem::exists("rec_OBS.ctc"));
}

TEST_F(Execute, PathOfFourCharactersIsNothingButAnExtension) {
    std::filesystem::rename("rec.ctc", ".ctc");
    script.dataFile = ".ctc";
    const HostRun run = execute_module(script);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
    EXPECT_TRUE(std::filesystem::exists("_OBS.ctc"));
}

TEST_F(Execute, AsManyComponentsAsArtifactsLeaveTheMeans) {
    script.answers = {2, 10, 20, 10, 10};
    const HostRun run = execute_module(script);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
    const std::string before = read_file("rec.ctc");
    const std::string after = read_file("rec_OBS.ctc");
    const std::size_t headerBytes = before.size() - 8000;
    for (std::size_t i = 0; i < 10; ++i) { // the triggers of the first segment
        const std::size_t first = headerBytes + 4 * static_cast<std::size_t>(triggers[i] - 10);
        float epoch[31];
        std::memcpy(epoch, &before[first], sizeof epoch);
        double mean = 0;
        for (const float x : epoch) {
            mean += static_cast<double>(x) / 31;
        }
        std::memcpy(epoch, &after[first], sizeof epoch);
        for (const float x : epoch) {
            EXPECT_NEAR(x, mean, 0.1);
        }
    }
}

TEST_F(Execute, WindowOfOneSampleIsAllowed) {
    script.answers = {2, 0, 0, 10, 1};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
}

TEST_F(Execute, ExtremeAnswersEndTheRunCleanly) {
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    const std::string condition = "log // OridanSuite> Protocol condition not selected. Exiting plugin.";
    const std::string window = "log // OridanSuite> Temporal window not specified correctly. Exiting plugin.";
    const std::string settings = "log // OridanSuite> OBS settings not specified correctly. Exiting plugin.";
    const std::string tooFew = "box Too few artifact examples to cover the OBS segment!\nYou may try with a smaller "
                               "OBS segment. Exiting plugin.";
    const struct {
        std::vector<int> answers;
        std::string ending;
    } cases[] = {{{least}, condition},
                 {{most}, condition},
                 {{2, least, 20}, window},
                 {{2, most, 20}, window}, // 2^31 samples: no int
                 {{2, 10, least}, window},
                 {{2, 10, most}, window},
                 {{2, least, least}, window},
                 {{2, most, most}, window},
                 {{2, 10, 20, least, least}, settings},
                 {{2, 10, 20, 0, 0}, settings},
                 {{2, 10, 20, -5, -6}, settings},
                 {{2, 10, 20, 10, most}, settings},
                 {{2, 10, 20, most, 1}, tooFew},
                 {{2, 10, 20, most, most}, tooFew},
                 {{2, 10, 20, 13, 14}, tooFew}}; // both are wrong: the triggers are looked at first
    for (const auto& c : cases) {
        script.answers = c.answers;
        const HostRun run = execute_module(script);
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.calls.back(), c.ending) << testing::PrintToString(c.answers);
        EXPECT_EQ(run.starting_with("ask").size(), c.answers.size() == 1 ? 1U : c.answers.size() == 3 ? 3U : 5U);
        EXPECT_TRUE(read_file("rec_OBS.ctc") == read_file("rec.ctc"));
    }
}

TEST_F(Execute, FrequencyOfZeroGivesInfiniteTrialTimes) {
    write_file("rec.ctc", recording_bytes(1, 400, 0.0f, {}));
    script.conditions = {{"x", {2, 0, 5}}};
    script.answers = {1, 10, 20, 10, 1};
    EXPECT_TRUE(execute_module(script).result);
    EXPECT_EQ(read_file("_x.trl"), "inf x\n-inf x\ninf x\n");
}

// One waveform of changing height over a level of each channel: one component takes all of it, and what is stored is
// each epoch's mean. The means end in one half, so that the rounding of the fit cannot show in a stored integer.
TEST_F(Execute, IntegerRecordingsHoldTheMeansAtExactlyThesePlaces) {
    constexpr int shape[8] = {0, 1, 4, 2, -3, -6, 2, 4}; // sums to 4; windows from 2 before the trigger to 5 after it
    constexpr std::size_t samples = 1000;
    // Before the start; ending at the length, valid and not readable; close to the end of the channel.
    const std::vector<std::int32_t> positions = {30,  70,  1,   110, 995, 150, 190, 230,
                                                 270, 310, 350, 390, 990, 430, 470, 995};
    const auto height = [](std::size_t i) { return 1 + 2 * static_cast<int>(i % 5); };
    for (const std::uint32_t dataType : {3U, 4U}) {
        for (const std::uint32_t ordering : {1U, 2U}) {
            SCOPED_TRACE(testing::Message() << "type " << dataType << ", ordering " << ordering);
            const auto element = [&](std::size_t channel, std::size_t sample) {
                return ordering == 1 ? channel * samples + sample : sample * 2 + channel;
            };
            std::vector<int> stored(2 * samples);
            for (std::size_t channel = 0; channel < 2; ++channel) {
                const int sign = channel == 0 ? 1 : -1;
                for (std::size_t sample = 0; sample < samples; ++sample) {
                    stored[element(channel, sample)] = channel == 0 ? 3 : -20;
                }
                for (std::size_t i = 0; i < positions.size(); ++i) {
                    for (std::size_t j = 0; j < 8 && positions[i] >= 2 && positions[i] < 995; ++j) {
                        stored[element(channel, static_cast<std::size_t>(positions[i]) - 2 + j)] +=
                            sign * height(i) * shape[j];
                    }
                }
            }
            std::vector<int> expected = stored;
            for (std::size_t channel = 0; channel < 2; ++channel) {
                for (std::size_t i = 0; i < positions.size(); ++i) {
                    if (positions[i] < 2 || positions[i] >= 995) {
                        continue;
                    }
                    const std::size_t first = static_cast<std::size_t>(positions[i]) - 2;
                    if (ordering == 1 && element(channel, first) + 16 > stored.size()) {
                        continue; // stored one epoch further on, that would be behind the last sample
                    }
                    const int mean = channel == 0 ? 3 + height(i) / 2 : -20 - height(i) / 2; // cut toward zero
                    for (std::size_t j = 0; j < 8; ++j) {
                        expected[ordering == 1 ? element(channel, first) + 8 + j : element(channel, first + j)] = mean;
                    }
                }
            }
            support::CtcHeader fields;
            fields.dataType = dataType;
            fields.sampleOrdering = ordering;
            fields.nrOfChannels = 2;
            fields.nrOfSamples = samples;
            fields.offsets = {3.0f, -1.0f};
            fields.scales = {0.5f, 2.0f};
            support::Bytes before;
            support::Bytes after;
            before.raw(support::ctc_header_bytes(fields));
            after.raw(support::ctc_header_bytes(fields));
            for (std::size_t e = 0; e < stored.size(); ++e) {
                support::append_stored(before, dataType, stored[e]);
                support::append_stored(after, dataType, expected[e]);
            }
            write_file("rec.ctc", before.str());
            script.conditions = {{"x", positions}}; // 16: the second segment borrows four
            script.answers = {1, 2, 5, 10, 1};
            const HostRun run = execute_module(script);
            EXPECT_TRUE(run.result);
            EXPECT_TRUE(read_file("rec_OBS.ctc") == after.str());
        }
    }
}

// Scaled floats are addressed byte by byte. An offset beside which every sample is lost makes each value that is
// written back a zero: the bytes whose numbers are those of the windows' samples, and no others, become 0.
TEST_F(Execute, ScaledFloatsMoveSingleBytes) {
    for (const std::uint32_t ordering : {1U, 2U}) {
        support::CtcHeader fields;
        fields.dataType = 5;
        fields.sampleOrdering = ordering;
        fields.nrOfChannels = 2;
        fields.nrOfSamples = 400;
        fields.offsets = {0x1p50f, 0x1p50f};
        fields.scales = {1.0f, 1.0f};
        support::Bytes bytes;
        bytes.raw(support::ctc_header_bytes(fields));
        const std::size_t data = bytes.size();
        for (std::uint32_t i = 0; i < 800; ++i) {
            bytes.u32(0x3F010101U + (i % 255) * 0x100U); // about one half, and no byte of it 0
        }
        write_file("rec.ctc", bytes.str());
        script.conditions = {{"x", every(8, 32, 12)}}; // windows of 8 from multiples of 4: whole floats in ordering 1
        script.answers = {1, 4, 3, 10, 0};
        EXPECT_TRUE(execute_module(script).result);
        std::string expected = bytes.str();
        for (const std::int32_t t : script.conditions[0].intervals) {
            for (std::size_t sample = static_cast<std::size_t>(t) - 4; sample <= static_cast<std::size_t>(t) + 3;
                 ++sample) {
                for (std::size_t channel = 0; channel < 2; ++channel) {
                    expected[data + (ordering == 1 ? channel * 400 + sample : sample * 2 + channel)] = '\0';
                }
            }
        }
        EXPECT_TRUE(read_file("rec_OBS.ctc") == expected) << "ordering " << ordering;
    }
}

} // namespace
