#include "workbench/comparison.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"
#include "workbench/comparison_text.h"

namespace {

using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::TemporaryFolder;
using test::refusal;
using workbench::compare_recordings;
using workbench::Comparison;
using workbench::RecordingReader;
using workbench::Window;

using Channels = std::vector<std::vector<float>>;

const float notANumber = std::numeric_limits<float>::quiet_NaN();

class ComparisonTest : public testing::Test {
protected:
    std::string write(const std::string& name, const Channels& channels, float rate = 100.0f) {
        CtcHeader header;
        header.nrOfChannels = static_cast<std::uint32_t>(channels.size());
        header.nrOfSamples = static_cast<std::uint32_t>(channels[0].size());
        header.samplingFrequency = rate;
        Bytes bytes;
        bytes.raw(ctc_header_bytes(header));
        for (const std::vector<float>& channel : channels) {
            for (const float value : channel) {
                bytes.f32(value);
            }
        }
        return folder.write(name, bytes.str());
    }

    Comparison compare(const Channels& before, const Channels& after, const std::vector<std::int64_t>& triggers,
                       const Window& window) {
        RecordingReader first(write("before.ctc", before));
        RecordingReader second(write("after.ctc", after));
        return compare_recordings(first, second, nullptr, triggers, window);
    }

    Comparison compare(const Channels& before, const Channels& after, const Channels& truth,
                       const std::vector<std::int64_t>& triggers, const Window& window) {
        RecordingReader first(write("before.ctc", before));
        RecordingReader second(write("after.ctc", after));
        RecordingReader third(write("truth.ctc", truth));
        return compare_recordings(first, second, &third, triggers, window);
    }

    TemporaryFolder folder;
};

// Windows of four samples at 2 and 8: {1 1 -1 -1} + 10 and {3 3 -3 -3} + 20.
const Channels before{{0, 0, 11, 11, 9, 9, 0, 0, 23, 23, 17, 17, 99}};
// {1 -1 1 -1} and {-1 1 -1 1}: what is locked cancels.
const Channels after{{0, 0, 1, -1, 1, -1, 0, 0, -1, 1, -1, 1, 99}};
const std::vector<std::int64_t> twoTriggers{3, 9};
const Window fourSamples{1, 2};

TEST_F(ComparisonTest, RmsIsAboutEachWindowsMean) {
    const Comparison result = compare(before, after, twoTriggers, fourSamples);
    EXPECT_FALSE(result.hasTruth);
    EXPECT_EQ(result.windows, 2U);
    EXPECT_EQ(result.windowsOutside, 0U);
    ASSERT_EQ(result.channels.size(), 1U);
    EXPECT_DOUBLE_EQ(result.channels[0].rmsBefore, std::sqrt((4 * 1.0 + 4 * 9.0) / 8.0));
    EXPECT_DOUBLE_EQ(result.channels[0].rmsAfter, 1.0);
}

TEST_F(ComparisonTest, LockedPowerIsThatOfTheAverageWindow) {
    const Comparison result = compare(before, after, twoTriggers, fourSamples);
    EXPECT_DOUBLE_EQ(result.channels[0].lockedPowerBefore, 4.0); // the average is {2 2 -2 -2}
    EXPECT_EQ(result.channels[0].lockedPowerAfter, 0.0);
    EXPECT_EQ(result.channels[0].lockedDbRemoved, std::numeric_limits<double>::infinity());
    const Comparison half = compare(before, {{0, 0, 1, 1, -1, -1, 0, 0, 1, 1, -1, -1, 0}}, twoTriggers, fourSamples);
    EXPECT_DOUBLE_EQ(half.channels[0].lockedPowerAfter, 1.0);
    EXPECT_DOUBLE_EQ(half.channels[0].lockedDbRemoved, 10.0 * std::log10(4.0));
}

TEST_F(ComparisonTest, OnlyWindowsWhollyInsideCount) {
    // Recordings of 13 samples: the window at 0 begins too early, the one at 11 ends one sample too late.
    const Comparison result = compare(before, after, {0, 3, 9, 11, 400}, fourSamples);
    EXPECT_EQ(result.windows, 2U);
    EXPECT_EQ(result.windowsOutside, 3U);
    EXPECT_DOUBLE_EQ(result.channels[0].lockedPowerBefore, 4.0);
    EXPECT_EQ(compare(before, after, {1, 10}, fourSamples).windows, 2U);
}

TEST_F(ComparisonTest, TruthTellsWhatWasAddedIncludingAConstant) {
    const Channels truth{{2, -2, 2, -2}};
    const Comparison result = compare({{12, 8, 2, -2}}, {{3, -1, 3, -1}}, truth, {0}, {0, 3});
    ASSERT_TRUE(result.hasTruth);
    const workbench::ChannelComparison& channel = result.channels[0];
    EXPECT_DOUBLE_EQ(channel.artifactRmsBefore, std::sqrt(200.0 / 4.0));
    EXPECT_DOUBLE_EQ(channel.artifactRmsAfter, 1.0);
    EXPECT_DOUBLE_EQ(channel.artifactDbRemoved, 10.0 * std::log10(50.0));
    // About its mean, before is {7 3 -3 -7} and the truth {2 -2 2 -2}: 16 over the root of 116 times 16.
    EXPECT_DOUBLE_EQ(channel.correlationBefore, 16.0 / std::sqrt(116.0 * 16.0));
    EXPECT_DOUBLE_EQ(channel.correlationAfter, 1.0);
}

TEST_F(ComparisonTest, AllCombinesTheChannels) {
    const Channels truth{{1, -1, 1, -1}, {1, -1, 1, -1}};
    const Comparison result =
        compare({{4, -4, 4, -4}, {0, 0, 0, 0}}, {{1, -1, 1, -1}, {-1, 1, -1, 1}}, truth, {0}, {0, 3});
    EXPECT_DOUBLE_EQ(result.all.rmsBefore, std::sqrt(8.0));
    EXPECT_DOUBLE_EQ(result.all.rmsAfter, 1.0);
    EXPECT_DOUBLE_EQ(result.all.lockedPowerBefore, 8.0);
    EXPECT_DOUBLE_EQ(result.all.lockedPowerAfter, 1.0);
    EXPECT_DOUBLE_EQ(result.all.lockedDbRemoved, 10.0 * std::log10(8.0));
    EXPECT_DOUBLE_EQ(result.all.artifactRmsBefore, std::sqrt((9.0 + 1.0) / 2.0));
    EXPECT_DOUBLE_EQ(result.all.artifactRmsAfter, std::sqrt((0.0 + 4.0) / 2.0));
    EXPECT_DOUBLE_EQ(result.all.artifactDbRemoved, 10.0 * std::log10(5.0 / 2.0));
    EXPECT_DOUBLE_EQ(result.all.correlationAfter, 0.0);
    EXPECT_DOUBLE_EQ(result.channels[1].correlationAfter, -1.0);
    EXPECT_TRUE(std::isnan(result.channels[1].correlationBefore)); // a flat channel correlates with nothing
}

TEST_F(ComparisonTest, OverlappingWindowsEachCount) {
    const Comparison result = compare({{1, -1, 1, -1, 1}}, {{0, 0, 0, 0, 0}}, {0, 1, 2, 2}, {0, 1});
    EXPECT_EQ(result.windows, 4U);
    EXPECT_DOUBLE_EQ(result.channels[0].rmsBefore, 1.0);
    EXPECT_DOUBLE_EQ(result.channels[0].lockedPowerBefore, 0.25); // {1 -1} three times and {-1 1} once: {0.5 -0.5}
}

TEST_F(ComparisonTest, NotFiniteSamplesAreCountedAndShowInTheResults) {
    const Channels spoilt{{1, notANumber, 1, -1}, {1, -1, 1, -1}};
    const Channels sound{{1, -1, 1, -1}, {1, -1, 1, -1}};
    const Comparison result = compare(sound, spoilt, {0, 2}, {0, 1});
    EXPECT_EQ(result.channels[0].notFiniteBefore, 0U);
    EXPECT_EQ(result.channels[0].notFiniteAfter, 1U);
    EXPECT_EQ(result.channels[1].notFiniteAfter, 0U);
    EXPECT_EQ(result.all.notFiniteAfter, 1U);
    EXPECT_TRUE(std::isnan(result.channels[0].rmsAfter));
    EXPECT_TRUE(std::isnan(result.channels[0].lockedDbRemoved));
    EXPECT_TRUE(std::isnan(result.all.rmsAfter));
    EXPECT_DOUBLE_EQ(result.channels[1].rmsAfter, 1.0);
}

TEST_F(ComparisonTest, RecordingsThatDoNotMatchAreRefused) {
    const std::string base = write("base.ctc", {{1, 2, 3}, {4, 5, 6}}, 250.0f);
    RecordingReader first(base);
    const auto reason = [&](const Channels& channels, float rate) {
        RecordingReader other(write("other.ctc", channels, rate));
        const std::string text = refusal([&] { compare_recordings(first, other, nullptr, {0}, {0, 0}); });
        EXPECT_EQ(refusal([&] { compare_recordings(first, first, &other, {0}, {0, 0}); }), text);
        return text;
    };
    const std::string start = "the recordings do not match: " + base + " has ";
    const std::string other = folder.path("other.ctc");
    EXPECT_EQ(reason({{1, 2, 3}}, 250.0f), start + "2 channels, " + other + " has 1");
    EXPECT_EQ(reason({{1, 2}, {3, 4}}, 250.0f), start + "3 samples, " + other + " has 2");
    EXPECT_EQ(reason({{1, 2, 3}, {4, 5, 6}}, 256.0f),
              start + "250.000000 samples per second, " + other + " has 256.000000");
}

TEST_F(ComparisonTest, WhatCannotBeComparedIsRefused) {
    const std::string file = write("r.ctc", {{1, 2, 3, 4}});
    RecordingReader reader(file);
    const auto reason = [&](const std::vector<std::int64_t>& triggers, const Window& window) {
        return refusal([&] { compare_recordings(reader, reader, nullptr, triggers, window); });
    };
    EXPECT_EQ(reason({3, 9}, {0, 1}), "none of the 2 windows lies inside the recording; nothing can be compared");
    EXPECT_EQ(reason({}, {0, 1}), "none of the 0 windows lies inside the recording; nothing can be compared");
    EXPECT_EQ(reason({0}, {0, 4}),
              "a window of 5 samples does not fit into the 4 samples of the recordings; choose a shorter one");
    EXPECT_EQ(reason({0}, {-5, 2}),
              "a window of -2 samples does not fit into the 4 samples of the recordings; choose a shorter one");

    const std::string still = write("still.ctc", {{1, 2}}, 0.0f);
    RecordingReader noRate(still);
    EXPECT_EQ(refusal([&] {
                  compare_recordings(noRate, noRate, nullptr, {0}, {0, 0});
              }),
              still + ": has a sampling frequency of 0.000000 Hz; no window can be taken from it");

    CtcHeader header;
    header.nrOfChannels = 2;
    header.nrOfSamples = 1000000000;
    RecordingReader hollow(folder.write("hollow.ctc", ctc_header_bytes(header) + std::string(80, '\0')));
    EXPECT_EQ(refusal([&] {
                  compare_recordings(hollow, hollow, nullptr, {0}, {0, 900000000});
              }),
              folder.path("hollow.ctc") + ": its data section is cut short; it holds less than one window");

    header.sampleOrdering = 3;
    header.trials = {1};
    header.pre = {1};
    header.post = {1};
    header.nrOfSamples = 0;
    RecordingReader cut(folder.write("cut.ctc", ctc_header_bytes(header)));
    EXPECT_EQ(refusal([&] {
                  compare_recordings(cut, cut, nullptr, {0}, {0, 0});
              }),
              folder.path("cut.ctc") + ": is cut into conditions (sample ordering 3); only continuous recordings can "
                                       "be compared");
}

// A comparison with results that are easy to recognise.
Comparison made_up() {
    Comparison comparison;
    comparison.window = {1, 2};
    comparison.windows = 7;
    comparison.channels.resize(2);
    comparison.channels[0].rmsBefore = 123.456;
    comparison.channels[0].rmsAfter = 1.0;
    comparison.channels[0].lockedPowerBefore = 1234567.0;
    comparison.channels[0].lockedPowerAfter = 0.0000125;
    comparison.channels[0].lockedDbRemoved = std::numeric_limits<double>::infinity();
    comparison.channels[1].lockedDbRemoved = -std::numeric_limits<double>::infinity();
    comparison.channels[1].rmsAfter = -std::numeric_limits<double>::quiet_NaN();
    comparison.channels[1].notFiniteAfter = 3;
    comparison.all.notFiniteAfter = 3;
    return comparison;
}

TEST(ComparisonTable, IsAlignedAndNamesWhatIsNotFinite) {
    EXPECT_EQ(workbench::comparison_table(made_up(), "slice"),
              "Condition \"slice\": 7 windows of 4 samples (1 before the trigger, 2 after)\n"
              "\n"
              "            RMS    RMS      locked    locked   locked\n"
              "channel  before  after      before     after  removed\n"
              "             uV     uV        uV^2      uV^2       dB\n"
              "      1  123.46   1.00  1.2346e+06  1.25e-05      inf\n"
              "      2    0.00    nan           0         0     -inf\n"
              "    all    0.00   0.00           0         0     0.00\n"
              "\n"
              "Not finite numbers in \"after\": 3 samples in the windows of channel 2\n");
}

TEST(ComparisonTable, SaysHowManyWindowsReachOutside) {
    Comparison comparison = made_up();
    comparison.windowsOutside = 2;
    comparison.hasTruth = true;
    const std::string table = workbench::comparison_table(comparison, "x");
    EXPECT_EQ(table.substr(0, table.find('\n')), "Condition \"x\": 7 windows of 4 samples (1 before the trigger, 2 "
                                                 "after), 2 more reach outside the recording");
    EXPECT_NE(table.find("artifact  artifact  artifact   corr.  corr."), std::string::npos) << table;
}

TEST(ComparisonCsv, HasOneLinePerChannelAndOneForAll) {
    Comparison comparison = made_up();
    EXPECT_EQ(workbench::comparison_csv(comparison),
              "channel,rms_before,rms_after,locked_power_before,locked_power_after,locked_db_removed,"
              "not_finite_before,not_finite_after\n"
              "1,123.456,1,1234567,1.25e-05,inf,0,0\n"
              "2,0,nan,0,0,-inf,0,3\n"
              "all,0,0,0,0,0,0,3\n");
    comparison.hasTruth = true;
    comparison.channels.resize(1);
    comparison.channels[0].artifactRmsBefore = 600.5;
    comparison.channels[0].artifactRmsAfter = 6.0;
    comparison.channels[0].artifactDbRemoved = 40.0072;
    comparison.channels[0].correlationBefore = 0.1;
    comparison.channels[0].correlationAfter = -0.25;
    comparison.channels[0].notFiniteTruth = 8;
    const std::string csv = workbench::comparison_csv(comparison);
    EXPECT_EQ(csv.substr(0, csv.find("\nall")),
              "channel,rms_before,rms_after,locked_power_before,locked_power_after,locked_db_removed,"
              "artifact_rms_before,artifact_rms_after,artifact_db_removed,correlation_before,correlation_after,"
              "not_finite_before,not_finite_after,not_finite_truth\n"
              "1,123.456,1,1234567,1.25e-05,inf,600.5,6,40.0072,0.1,-0.25,0,0,8");
}

TEST(ComparisonJson, CarriesTheWindowsAndNamesWhatIsNotFinite) {
    const std::string text = workbench::comparison_json(made_up(), "two \"words\"");
    EXPECT_EQ(text.back(), '\n');
    const nlohmann::json json = nlohmann::json::parse(text);
    EXPECT_EQ(json["condition"], "two \"words\"");
    EXPECT_EQ(json["windows"], 7);
    EXPECT_EQ(json["windows_outside"], 0);
    EXPECT_EQ(json["samples_before_trigger"], 1);
    EXPECT_EQ(json["samples_after_trigger"], 2);
    EXPECT_EQ(json["samples_per_window"], 4);
    ASSERT_EQ(json["channels"].size(), 2U);
    EXPECT_EQ(json["channels"][0]["channel"], 1);
    EXPECT_EQ(json["channels"][0]["rms_before"], 123.456);
    EXPECT_EQ(json["channels"][0]["locked_db_removed"], "inf");
    EXPECT_EQ(json["channels"][1]["locked_db_removed"], "-inf");
    EXPECT_EQ(json["channels"][1]["rms_after"], "nan");
    EXPECT_EQ(json["channels"][1]["not_finite_after"], 3);
    EXPECT_EQ(json["all"]["not_finite_after"], 3);
    EXPECT_FALSE(json["all"].contains("artifact_rms_before"));
    Comparison withTruth = made_up();
    withTruth.hasTruth = true;
    EXPECT_TRUE(
        nlohmann::json::parse(workbench::comparison_json(withTruth, "x"))["all"].contains("artifact_rms_before"));
}

} // namespace
